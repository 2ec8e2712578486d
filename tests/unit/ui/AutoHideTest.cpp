#include <gtest/gtest.h>

#include "StatusTestEnv.h"

using namespace mavo;
using namespace mavo::test;

namespace {

// Primary 1920 x 1080 with a 25-point bar: the band starts at y = 1053.
constexpr Point inBand{500, 1060};
constexpr Point away{500, 400};

struct AutoHideEnv : StatusTestEnv {
    StatusItemController& startWith(bool autoHide, double delay, Point at = away) {
        defaults.set("autoHideIcon", autoHide);
        defaults.set("unhideDelay", delay);
        pointer.location = at;
        return start();
    }
};

TEST(AutoHide, TheOptionHidesAndShowsAtOnceAndOnlyThenWatchesThePointer) {
    AutoHideEnv env;
    env.item.visible = false;
    auto& c = env.startWith(false, 0);
    EXPECT_TRUE(env.item.visible);
    EXPECT_EQ(env.pointer.monitorCount(), 0u);
    env.timers.advance(5);
    EXPECT_TRUE(env.item.visible);

    c.perform(MenuItem::command("Hide Icon Until Hover", MenuAction::toggleAutoHide));
    EXPECT_FALSE(env.item.visible);
    EXPECT_EQ(env.pointer.monitorCount(), 1u);
    // Off again while a show is pending: the countdown is dropped and the icon shows now.
    env.defaults.set("unhideDelay", 3.0);
    env.pointer.moveTo(inBand);
    EXPECT_TRUE(c.hasPendingShow());
    c.toggleAutoHide();
    EXPECT_TRUE(env.item.visible);
    EXPECT_FALSE(c.hasPendingShow());
    EXPECT_EQ(env.pointer.monitorCount(), 0u);
}

TEST(AutoHide, EachScreenHasABandBelowItsBarAndStrayPointersUseTheMainOne) {
    AutoHideEnv env;
    env.startWith(true, 0);
    EXPECT_FALSE(env.item.visible);
    ScreenInfo main = primary1080();
    struct Move {
        double x, y;
        bool shown;
    };
    struct Case {
        const char* name;
        std::vector<ScreenInfo> screens;
        std::vector<Move> moves;
    };
    for (const auto& tc : std::vector<Case>{
             {"two points below the bar", {main}, {{10, 1053, true}, {10, 1052.5, false}}},
             // No bar, or a one-point strip, gives a band of 24 points.
             {"no bar",
              {makeScreen({0, 0, 1920, 1080}, "A", 0)},
              {{10, 1054, true}, {10, 1053.5, false}}},
             {"one-point bar", {makeScreen({0, 0, 1920, 1080}, "A", 1)}, {{10, 1054, true}}},
             // The top of the lower screen is no band of the upper one's; pointers off every
             // screen use the main screen's band.
             {"stacked",
              {main, above(main, 1920, 1200, "UP", 40)},
              {{10, 400, false},
               {10, 1079, true},
               {10, 2280 - 41, true},
               {10, 2280 - 43, false},
               {5000, 1060, true},
               {5000, 100, false},
               {5000, 1060, true}}}}) {
        SCOPED_TRACE(tc.name);
        env.displays.setScreens(tc.screens);
        for (const auto& [x, y, shown] : tc.moves) {
            env.pointer.moveTo(Point{x, y});
            EXPECT_EQ(env.item.visible, shown) << x << "," << y;
        }
    }
    env.pointer.moveTo(std::nullopt);
    EXPECT_FALSE(env.item.visible);
}

TEST(AutoHide, ShowDelayIsCancelledByLeavingEarlyAndNotRestartedByMoves) {
    AutoHideEnv env;
    auto& c = env.startWith(true, 3);
    EXPECT_TRUE(env.item.visible);  // shown at start: hiding waits for the delay as well
    env.timers.advance(3.0);
    EXPECT_FALSE(env.item.visible);

    env.pointer.moveTo(inBand);
    env.timers.advance(1.0);
    env.pointer.moveTo(away);
    EXPECT_FALSE(c.hasPendingShow());
    env.timers.advance(10.0);
    EXPECT_FALSE(env.item.visible);
    EXPECT_EQ(env.item.visibilityWrites, 1);

    // 3 s after entering the band, not after the last move in it.
    env.pointer.moveTo(inBand);
    env.timers.advance(2.0);
    env.pointer.moveTo(Point{700, 1070});
    env.timers.advance(0.9);
    EXPECT_FALSE(env.item.visible);
    env.timers.advance(0.2);
    EXPECT_TRUE(env.item.visible);
}

TEST(AutoHide, HideDelayIsCancelledWhenThePointerReturns) {
    AutoHideEnv env;
    auto& c = env.startWith(true, 3, inBand);
    env.pointer.moveTo(away);
    EXPECT_TRUE(c.hasPendingHide());
    env.timers.advance(2.0);
    env.pointer.moveTo(inBand);
    EXPECT_FALSE(c.hasPendingHide());
    env.timers.advance(5.0);
    EXPECT_TRUE(env.item.visible);

    env.pointer.moveTo(away);
    env.timers.advance(2.9);
    EXPECT_TRUE(env.item.visible);
    env.timers.advance(0.2);
    EXPECT_FALSE(env.item.visible);
    EXPECT_FALSE(c.hasPendingHide());
}

TEST(AutoHide, HousekeepingTimerCatchesMovesThatSentNoEvent) {
    AutoHideEnv env;
    env.startWith(true, 0);
    env.pointer.location = inBand;  // no moved event
    env.timers.advance(0.5);
    EXPECT_FALSE(env.item.visible);
    env.timers.advance(0.6);
    EXPECT_TRUE(env.item.visible);
}

TEST(AutoHide, OpenMenuKeepsTheIconAndClosingAppliesTheRuleAndRefreshesTheIcon) {
    AutoHideEnv env;
    auto& c = env.startWith(true, 3, inBand);
    c.menuWillOpen();
    env.pointer.moveTo(away);
    EXPECT_FALSE(c.hasPendingHide());
    env.timers.advance(10);
    EXPECT_TRUE(env.item.visible);
    env.engine.isPaused = true;
    // With a delay, closing schedules the hide rather than doing it.
    c.menuDidClose();
    EXPECT_EQ(c.lastIconName(), "paused");
    EXPECT_TRUE(c.hasPendingHide());
    env.timers.advance(3.1);
    EXPECT_FALSE(env.item.visible);

    // Opening while hidden with a show pending shows now and drops the countdown.
    env.pointer.moveTo(inBand);
    EXPECT_TRUE(c.hasPendingShow());
    c.menuWillOpen();
    EXPECT_TRUE(env.item.visible);
    EXPECT_FALSE(c.hasPendingShow());
    c.menuDidClose();
    EXPECT_TRUE(env.item.visible);
}

TEST(AutoHide, DestroyingTheControllerStopsItsTimersAndMonitors) {
    AutoHideEnv env;
    env.startWith(true, 3);
    EXPECT_GT(env.timers.pending(), 0u);
    env.controller.reset();
    EXPECT_EQ(env.timers.pending(), 0u);
    EXPECT_EQ(env.pointer.monitorCount(), 0u);
    env.pointer.moveTo(inBand);
    env.timers.advance(5);
}

}  // namespace

#include <gtest/gtest.h>

#include "StatusTestEnv.h"

using namespace mavo;
using namespace mavo::test;

namespace {

// Primary 1920 x 1080 with a 25-point bar: the band starts at y = 1053.
constexpr Point inBand{500, 1060};
constexpr Point away{500, 400};

class AutoHideTest : public ::testing::Test {
  protected:
    StatusItemController& startWith(bool autoHide, double delay) {
        env.defaults.set("autoHideIcon", autoHide);
        env.defaults.set("unhideDelay", delay);
        return env.start();
    }
    StatusTestEnv env;
};

TEST_F(AutoHideTest, WithTheOptionOffTheIconAlwaysShowsAndNothingWatchesThePointer) {
    env.item.visible = false;
    env.pointer.location = away;
    auto& c = startWith(false, 0);
    EXPECT_TRUE(env.item.visible);
    EXPECT_EQ(env.pointer.monitorCount(), 0u);
    env.pointer.moveTo(away);
    env.timers.advance(5);
    EXPECT_TRUE(env.item.visible);
    EXPECT_FALSE(c.hasPendingHide());
}

TEST_F(AutoHideTest, TurningTheOptionOnHidesAtOnceAndOffShowsAtOnce) {
    env.pointer.location = away;
    auto& c = startWith(false, 0);
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

TEST_F(AutoHideTest, BandEdgeIsTwoPointsBelowTheBar) {
    env.pointer.location = away;
    startWith(true, 0);
    EXPECT_FALSE(env.item.visible);
    env.pointer.moveTo(Point{10, 1080 - 25 - 2.0});
    EXPECT_TRUE(env.item.visible);
    env.pointer.moveTo(Point{10, 1080 - 25 - 2.5});
    EXPECT_FALSE(env.item.visible);
}

TEST_F(AutoHideTest, HiddenMenuBarGetsATwentyFourPointBand) {
    env.displays.setScreens({makeScreen({0, 0, 1920, 1080}, "A", /*menuBar=*/0)});
    env.pointer.location = away;
    startWith(true, 0);
    env.pointer.moveTo(Point{10, 1080 - 26.0});
    EXPECT_TRUE(env.item.visible);
    env.pointer.moveTo(Point{10, 1080 - 26.5});
    EXPECT_FALSE(env.item.visible);
    // A one-point strip counts as no bar either.
    env.displays.setScreens({makeScreen({0, 0, 1920, 1080}, "A", /*menuBar=*/1)});
    env.pointer.moveTo(Point{10, 1080 - 26.0});
    EXPECT_TRUE(env.item.visible);
}

TEST_F(AutoHideTest, EachScreenHasItsOwnBandAndStrayPointersUseTheMainScreen) {
    ScreenInfo main = primary1080();
    ScreenInfo upper = above(main, 1920, 1200, "UP", /*menuBar=*/40);
    env.displays.setScreens({main, upper});
    env.pointer.location = away;
    startWith(true, 0);
    // The top of the lower screen is not a band: it has a screen above it.
    env.pointer.moveTo(Point{10, 1079});
    EXPECT_TRUE(env.item.visible);  // the primary's own band still applies on its screen
    env.pointer.moveTo(Point{10, 2280 - 41});
    EXPECT_TRUE(env.item.visible);
    env.pointer.moveTo(Point{10, 2280 - 43});
    EXPECT_FALSE(env.item.visible);
    // Outside every screen the main screen's band decides: y above 1053 counts.
    env.pointer.moveTo(Point{5000, 1060});
    EXPECT_TRUE(env.item.visible);
    env.pointer.moveTo(Point{5000, 100});
    EXPECT_FALSE(env.item.visible);
    env.pointer.moveTo(std::nullopt);
    EXPECT_FALSE(env.item.visible);
}

TEST_F(AutoHideTest, ShowDelayIsCancelledByLeavingEarlyAndNotRestartedByMoves) {
    env.pointer.location = away;
    auto& c = startWith(true, 3);
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

    // Moving about inside the band keeps the first countdown: 3 s after entering, not after the
    // last move.
    env.pointer.moveTo(inBand);
    env.timers.advance(2.0);
    env.pointer.moveTo(Point{700, 1070});
    env.timers.advance(0.9);
    EXPECT_FALSE(env.item.visible);
    env.timers.advance(0.2);
    EXPECT_TRUE(env.item.visible);
}

TEST_F(AutoHideTest, HideDelayIsCancelledWhenThePointerReturns) {
    env.pointer.location = inBand;
    auto& c = startWith(true, 3);
    EXPECT_TRUE(env.item.visible);

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

TEST_F(AutoHideTest, HousekeepingTimerCatchesMovesThatSentNoEvent) {
    env.pointer.location = away;
    startWith(true, 0);
    EXPECT_FALSE(env.item.visible);
    env.pointer.location = inBand;  // no moved event
    env.timers.advance(0.5);
    EXPECT_FALSE(env.item.visible);
    env.timers.advance(0.6);
    EXPECT_TRUE(env.item.visible);
}

TEST_F(AutoHideTest, OpenMenuKeepsTheIconUntilItCloses) {
    env.pointer.location = inBand;
    auto& c = startWith(true, 3);
    c.menuWillOpen();
    env.pointer.moveTo(away);
    EXPECT_FALSE(c.hasPendingHide());
    env.timers.advance(10);
    EXPECT_TRUE(env.item.visible);

    // Closing applies the rule at once: with a delay the hide is scheduled, not done.
    c.menuDidClose();
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

TEST_F(AutoHideTest, ClosingTheMenuRefreshesTheIcon) {
    env.pointer.location = away;
    auto& c = startWith(true, 0);
    c.menuWillOpen();
    env.engine.isPaused = true;
    c.menuDidClose();
    EXPECT_EQ(c.lastIconName(), "paused");
    EXPECT_FALSE(env.item.visible);
}

TEST_F(AutoHideTest, DestroyingTheControllerStopsItsTimersAndMonitors) {
    env.pointer.location = away;
    startWith(true, 3);
    EXPECT_GT(env.timers.pending(), 0u);
    env.controller.reset();
    EXPECT_EQ(env.timers.pending(), 0u);
    EXPECT_EQ(env.pointer.monitorCount(), 0u);
    env.pointer.moveTo(inBand);
    env.timers.advance(5);
}

}  // namespace

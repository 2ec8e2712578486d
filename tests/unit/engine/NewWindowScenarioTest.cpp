// Stories of a window the engine meets for the first time, and of its own writes.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const Rect kSmall{200, 150, 800, 600};

TEST(NewWindowScenario, NewWindowIsMaximizedAtOnceAndThenLeftInPlace) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    h.tick();  // the engine's first tick, before the window exists
    auto w = h.addWindow(pid, "Doc", kSmall);
    h.step();

    // Position, size, position again: the second move undoes shifts made while resizing.
    EXPECT_EQ(h.server.positionWrites(w), (std::vector<Point>{{0, 25}, {0, 25}}));
    EXPECT_EQ(h.server.sizeWrites(w), (std::vector<Size>{{1920, 1055}}));
    EXPECT_EQ(h.logLines(), Lines{"apply \"Doc\" target=(0.0,25.0 1920.0×1055.0) "
                                  "achieved=(0.0,25.0 1920.0×1055.0) Δw=0.0 "
                                  "Δh=0.0 iters=0 mem=false"});

    // Its own write seen again, then a settled maximized window: nothing more is written.
    EXPECT_EQ(h.writesOver(6), 0u);
    EXPECT_EQ(h.engine->settings().windowsMaximizedCount(), 1);
}

// A new window is judged when it appears, not a tick later: only windows not seen yet, never
// before the launch's first tick has judged what was open, never while paused, and a snapped
// window is still left where it is.
TEST(NewWindowScenario, NewWindowsAreJudgedWhenTheyAppearWithoutWaitingForTheTick) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto before = h.addWindow(pid, "Open at launch", kSmall);
    auto evaluate = [&] {
        h.engine->evaluateNewWindows();
        h.engine->drain();
    };
    evaluate();
    EXPECT_EQ(h.server.writeCount(), 0u);
    h.tick();

    h.engine->settings().setPaused(true);
    auto paused = h.addWindow(pid, "Paused", kSmall);
    evaluate();
    EXPECT_EQ(h.frame(paused), kSmall);
    h.engine->settings().setPaused(false);

    h.server.setFrame(before, {100, 100, 700, 500});  // a known window drifting: the tick's job
    h.server.clearWrites();
    auto fresh = h.addWindow(pid, "Fresh", {300, 200, 640, 480});
    auto snapped = h.addWindow(pid, "Snapped", {960, 25, 960, 1055});
    evaluate();
    EXPECT_EQ(h.frame(fresh), kPrimaryVisibleAX);
    EXPECT_EQ(h.frame(paused), kPrimaryVisibleAX);
    EXPECT_EQ(h.frame(snapped), (Rect{960, 25, 960, 1055}));
    EXPECT_EQ(h.state(snapped)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(before), 0u);
}

// With maximizeExistingOnStartup off, windows open at launch are judged by their frames.
TEST(NewWindowScenario, ExistingWindowsAtStartupAreLeftWhenAskedTo) {
    // 95 % of the visible frame and 50 % of it, both in no snap zone.
    const Rect nearlyFull{48, 25, 1824, 1055}, half{300, 150, 1280, 791.25};
    EngineHarness h;
    h.defaults.set("maximizeExistingOnStartup", false);
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto big = h.addWindow(pid, "big", nearlyFull);
    auto small = h.addWindow(pid, "small", half);
    h.tick();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.state(small)->disposition, Disposition::userArranged);

    // A window opened after the first tick is maximized as usual.
    auto later = h.addWindow(pid, "later", half);
    h.step();
    EXPECT_EQ(h.frame(later), kPrimaryVisibleAX);
}

// The engine restores a custom frame, then a hand move lands 3 points from it: a gesture only
// when seen settled two seconds after the engine's own write, not one.
TEST(NewWindowScenario, ChangeNearOwnWriteIsAGestureOnlyTwoSecondsLater) {
    const Rect custom{144, 25, 1632, 1055}, nudged{147, 25, 1632, 1055};
    for (double settledAfter : {1.0, 2.0}) {
        SCOPED_TRACE(settledAfter);
        bool gesture = settledAfter >= 2.0;
        EngineHarness h;
        h.launch();
        auto w = h.open(kEditor);
        h.tickAndStep();
        h.handMoveAndSettle(w, custom);
        h.step(1.5);
        h.server.setFrame(w, {150, 40, 1632, 1055});  // the app drifts it
        h.step(0.75, 2);                              // and the engine puts it back
        ASSERT_EQ(h.frame(w), custom);

        size_t mark = h.logMark();
        h.advance(settledAfter - 0.75);
        h.handMove(w, nudged);
        h.tickAndStep();  // changed: wait for it to settle
        EXPECT_EQ(h.linesStartingWith("remember(custom)", mark).size(), gesture ? 1u : 0u);
        EXPECT_EQ(h.state(w)->rememberedTarget, gesture ? nudged : custom);
        // Not the user's: once the engine's own write has aged, the frame is put back.
        h.step(0.75, 2);
        EXPECT_EQ(h.frame(w), gesture ? nudged : custom);
    }
}

}  // namespace
}  // namespace mavo::test

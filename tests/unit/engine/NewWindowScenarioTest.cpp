// Stories of a window the engine meets for the first time, of its own writes, and of the hand on
// the mouse button.

#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const Rect kSmall{200, 150, 800, 600};

TEST(NewWindowScenario, NewWindowIsMaximizedAtOnceAndThenLeftInPlace) {
    EngineHarness h;
    h.launch();
    auto w = h.open(kEditor, kSmall);
    h.tick();

    // Position, size, position again: the second move undoes shifts made while resizing.
    EXPECT_EQ(h.server.writes(w), "(0,25) 1920×1055 (0,25) ");
    EXPECT_EQ(h.log(), Lines{"apply \"Doc\" target=(0.0,25.0 1920.0×1055.0) "
                             "achieved=(0.0,25.0 1920.0×1055.0) Δw=0.0 Δh=0.0 iters=0 mem=false"});
    EXPECT_EQ(h.writesOver(6), 0u);
    EXPECT_EQ(h.engine->settings().windowsMaximizedCount(), 1);
}

// Only windows not seen yet, never before the launch's first tick has judged what was open, never
// while paused, and a snapped window is still left where it is.
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
    auto snapped = h.addWindow(pid, "Snapped", {960, 25, 960, 1055});
    evaluate();
    EXPECT_EQ(h.frame(paused), kPrimaryVisibleAX);
    EXPECT_EQ(h.state(snapped)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(before) + h.server.writeCount(snapped), 0u);
}

// Met the moment it appears, a window may still be settling on a size of its own: an apply that
// does not land teaches nothing, and the next tick judges the window again.
TEST(NewWindowScenario, AWindowStillResizingItselfTeachesNothing) {
    EngineHarness h;
    h.launch();
    h.tick();
    auto w = h.open("com.example.settling", {200, 150, 500, 400});
    bool settled = false;
    h.server.setResizeBehaviour(w, ResizeBehaviour::custom([&](const Rect& cur, Size req) {
                                    Size got = std::exchange(settled, true) ? req : Size{620, 480};
                                    return ResizeOutcome{true, makeRect(cur.origin(), got)};
                                }));
    h.engine->evaluateNewWindows();
    h.engine->drain();
    EXPECT_EQ(h.frame(w), (Rect{0, 25, 620, 480}));
    h.tick();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);

    // One that sizes in cells is still learnt, by the tick that judges it again.
    auto term = h.open("com.example.term", {100, 100, 500, 400});
    h.server.setResizeBehaviour(term, ResizeBehaviour::cells(9, 18, 0, 0));
    h.engine->evaluateNewWindows();
    h.engine->drain();
    h.tick();
    EXPECT_EQ(h.defaults.strings("cellSnapApps"),
              (Lines{"Console", "Terminal", "com.example.term"}));
}

// The engine restores a custom frame, then a hand move lands 3 points from it: a gesture only
// when seen settled two seconds after the engine's own write, not one.
TEST(NewWindowScenario, ChangeNearOwnWriteIsAGestureOnlyTwoSecondsLater) {
    const Rect custom{144, 25, 1632, 1055}, nudged{147, 25, 1632, 1055};
    for (double settledAfter : {1.0, 2.0}) {
        SCOPED_TRACE(settledAfter);
        EngineHarness h;
        h.launch();
        auto w = h.open(kEditor);
        h.tickAndStep();
        h.handMoveAndSettle(w, custom);
        h.step(1.5);
        h.server.setFrame(w, {150, 40, 1632, 1055});  // the app drifts it
        h.step(0.75, 2);                              // and the engine puts it back
        h.advance(settledAfter - 0.75);
        h.handMove(w, nudged);
        h.tickAndStep();
        h.step(0.75, 2);
        EXPECT_EQ(h.frame(w), settledAfter > 1 ? nudged : custom);
    }
}

TEST(NewWindowScenario, NoReengageWhileTheButtonIsHeld) {
    EngineHarness h;
    h.launch();
    auto w = h.open(kEditor, {0, 25, 960, 1055});  // left half
    h.tickAndStep();
    h.input.press();
    h.server.setFrame(w, {100, 25, 1500, 1055});
    h.input.drag();
    EXPECT_EQ(h.writesOver(4), 0u);  // held down for three seconds
    h.input.release();
    h.step();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
}

}  // namespace
}  // namespace mavo::test

// Stories of a window the engine meets for the first time, and of its own writes.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kEditor = "com.example.editor";

TEST(NewWindowScenario, NewWindowIsMaximizedAtOnceAndThenLeftInPlace) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    h.tick();  // the engine's first tick, before the window exists

    auto w = h.addWindow(pid, "Doc", {200, 150, 800, 600});
    h.step();

    // Position, size, position again: the second move undoes shifts made while resizing.
    EXPECT_EQ(h.server.positionWrites(w), (std::vector<Point>{{0, 25}, {0, 25}}));
    EXPECT_EQ(h.server.sizeWrites(w), (std::vector<Size>{{1920, 1055}}));
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    auto s = h.state(w);
    ASSERT_TRUE(s);
    EXPECT_EQ(s->disposition, Disposition::managed);
    EXPECT_EQ(s->expectedFrame, kPrimaryVisibleAX);
    EXPECT_DOUBLE_EQ(s->expectedFrameStamp, h.clock.uptime());
    EXPECT_EQ(s->reassertStamps.size(), 1u);
    EXPECT_EQ(h.engine->windowsMaximizedCount(), 1);
    EXPECT_EQ(h.logLines(),
              (std::vector<std::string>{"apply \"Doc\" target=(0.0,25.0 1920.0×1055.0) "
                                        "achieved=(0.0,25.0 1920.0×1055.0) Δw=0.0 Δh=0.0 "
                                        "iters=0 mem=false"}));

    // Its own write seen again, then a settled maximized window: nothing more is written.
    h.server.clearWrites();
    for (int i = 0; i < 6; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.logLines().size(), 1u);
    EXPECT_EQ(h.engine->windowsMaximizedCount(), 1);
    EXPECT_EQ(h.state(w)->stableTicks, 6);
}

// A new window is judged when it appears, not a tick later: only windows not seen yet, never
// before the launch's first tick has judged what was open, never while paused, and a snapped
// window is still left where it is.
TEST(NewWindowScenario, NewWindowsAreJudgedWhenTheyAppearWithoutWaitingForTheTick) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto before = h.addWindow(pid, "Open at launch", {200, 150, 800, 600});
    h.engine->evaluateNewWindows();
    h.engine->drain();
    EXPECT_EQ(h.server.writeCount(), 0u) << "the first tick judges windows open at launch";
    h.tick();
    ASSERT_EQ(h.frame(before), kPrimaryVisibleAX);

    h.engine->setPaused(true);
    auto paused = h.addWindow(pid, "Paused", {200, 150, 800, 600});
    h.engine->evaluateNewWindows();
    h.engine->drain();
    EXPECT_EQ(h.frame(paused), (Rect{200, 150, 800, 600}));
    h.engine->setPaused(false);

    h.server.setFrame(before, {100, 100, 700, 500});  // a known window drifting: the tick's job
    h.server.clearWrites();
    auto fresh = h.addWindow(pid, "Fresh", {300, 200, 640, 480});
    auto snapped = h.addWindow(pid, "Snapped", {960, 25, 960, 1055});
    h.engine->evaluateNewWindows();
    h.engine->drain();
    EXPECT_EQ(h.frame(fresh), kPrimaryVisibleAX);
    EXPECT_EQ(h.frame(paused), kPrimaryVisibleAX);
    EXPECT_EQ(h.frame(snapped), (Rect{960, 25, 960, 1055}));
    EXPECT_EQ(h.state(snapped)->disposition, Disposition::userArranged);
    EXPECT_TRUE(h.server.writesTo(before).empty());
}

TEST(NewWindowScenario, WindowInLeftHalfAtFirstSightIsNeverMoved) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto w = h.addWindow(pid, "Notes", {0, 25, 960, 1055});
    h.tick();
    for (int i = 0; i < 5; ++i) h.step();

    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.frame(w), (Rect{0, 25, 960, 1055}));
    auto s = h.state(w);
    ASSERT_TRUE(s);
    EXPECT_EQ(s->disposition, Disposition::userArranged);
    EXPECT_EQ(s->lastTargetFrame, kPrimaryVisibleAX);
    EXPECT_EQ(h.logLines(),
              (std::vector<std::string>{"userArranged(zone,new) frame=(0.0,25.0 960.0×1055.0)"}));
}

TEST(NewWindowScenario, SnapZoneToleranceDecidesWhatCountsAsTheUsersHalf) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    // 30 points off the left half's corner and 44 points short: still the user's half.
    auto near = h.addWindow(pid, "near", {30, 55, 916, 1011});
    // 31 points off: an ordinary window, maximized.
    auto off = h.addWindow(pid, "off", {31, 25, 960, 1055});
    h.tick();

    EXPECT_EQ(h.state(near)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writesTo(near).size(), 0u);
    EXPECT_EQ(h.frame(off), kPrimaryVisibleAX);
}

TEST(NewWindowScenario, ExistingWindowsAtStartupWithMaximizingExistingOff) {
    EngineHarness h;
    h.defaults.set("maximizeExistingOnStartup", false);
    h.launch();
    EXPECT_FALSE(h.engine->maximizeExistingOnStartup());
    int32_t pid = h.addApp(kEditor);
    // 95 % of the visible frame, in no snap zone.
    Rect nearlyFull{48, 25, 1824, 1055};
    // 50 % of it, in no snap zone either.
    Rect half{300, 150, 1280, 791.25};
    auto big = h.addWindow(pid, "big", nearlyFull);
    auto small = h.addWindow(pid, "small", half);
    h.tick();

    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.state(big)->disposition, Disposition::managed);
    EXPECT_EQ(h.state(small)->disposition, Disposition::userArranged);
    EXPECT_TRUE(h.logLines().empty());

    // The nearly full one counts as maximized from now on, so its small drift is corrected on
    // the next settled tick; the half-size one stays where the user had it.
    h.step();
    EXPECT_EQ(h.frame(big), kPrimaryVisibleAX);
    EXPECT_EQ(h.frame(small), half);
    EXPECT_EQ(h.server.writesTo(small).size(), 0u);

    // A window opened after the first tick is maximized as usual.
    auto later = h.addWindow(pid, "later", half);
    h.step();
    EXPECT_EQ(h.frame(later), kPrimaryVisibleAX);
}

TEST(NewWindowScenario, ExistingWindowsAreMaximizedOnFirstTickByDefault) {
    EngineHarness h;
    h.launch();
    EXPECT_TRUE(h.engine->maximizeExistingOnStartup());
    int32_t pid = h.addApp(kEditor);
    auto w = h.addWindow(pid, "small", {300, 150, 1280, 791.25});
    h.tick();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
}

// A custom frame the engine restored, then a small hand move that lands within 4 points of it.
struct SelfWriteSetup {
    EngineHarness h;
    WindowHandle w;
    Rect custom{144, 25, 1632, 1055};  // 85 % of the display
    double restoredAt = 0;

    SelfWriteSetup() {
        h.launch();
        int32_t pid = h.addApp(kEditor);
        w = h.addWindow(pid, "Doc", {200, 150, 800, 600});
        h.tick();                                     // maximized
        h.step();                                     // settles on its own write
        h.handMoveAndSettle(w, custom);               // remembered as a custom frame
        h.step(1.5);                                  // the hand is long gone
        h.server.setFrame(w, {150, 40, 1632, 1055});  // the app drifts it
        h.step();
        h.step();  // settled drift: the engine puts it back where the user wanted it
        restoredAt = h.clock.uptime();
        EXPECT_EQ(h.frame(w), custom);
        EXPECT_EQ(h.state(w)->expectedFrame, custom);
    }
};

TEST(NewWindowScenario, ChangeNearOwnWriteIsAGestureOnlyTwoSecondsLater) {
    // 3 points from the engine's own write, seen settled 1.0 s vs 2.0 s after that write.
    const Rect nudged{147, 25, 1632, 1055};
    for (double settledAfter : {1.0, 2.0}) {
        SCOPED_TRACE(settledAfter);
        bool gesture = settledAfter >= 2.0;
        SelfWriteSetup s;
        EngineHarness& h = s.h;
        size_t mark = h.logMark();
        h.advance(settledAfter - 0.75);
        h.handMove(s.w, nudged);
        h.tick();  // changed: wait for it to settle
        h.advance(0.75);
        h.tick();
        EXPECT_EQ(h.linesStartingWith("remember(custom)", mark).size(), gesture ? 1u : 0u);
        EXPECT_EQ(h.state(s.w)->rememberedTarget, gesture ? nudged : s.custom);
        // Not the user's: once the engine's own write has aged, the frame is put back.
        h.step();
        h.step();
        EXPECT_EQ(h.frame(s.w), gesture ? nudged : s.custom);
    }
}

}  // namespace
}  // namespace mavo::test

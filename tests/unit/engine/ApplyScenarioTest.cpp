// Stories of applications that do not take the frame they are given: overshooting, refusing,
// fighting back, and being given another chance by the user's hand.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

// A 1440×900 laptop panel with a 25-point menu bar: visible frame (0,25 1440×875).
ScreenInfo laptop() {
    return makeScreen({0, 0, 1440, 900}, "LAPTOP", 25, 0, true, 300);
}
const Rect kLaptopVisibleAX{0, 25, 1440, 875};

TEST(ApplyScenario, OvershootIsCorrectedWithASmallerSecondRequest) {
    EngineHarness h({laptop()});
    h.launch();
    int32_t pid = h.addApp("com.example.wide");
    auto w = h.addWindow(pid, "Wide", {100, 100, 800, 600});
    h.server.setResizeBehaviour(w, ResizeBehaviour::overshoot(3, 0));
    h.tick();

    // Asked 1440, it took 1443; asked 1440 − (1443 − 1440 + 1) = 1436, it took 1439.
    EXPECT_EQ(h.server.sizeWrites(w), (std::vector<Size>{{1440, 875}, {1436, 875}}));
    EXPECT_EQ(h.server.positionWrites(w), (std::vector<Point>{{0, 25}, {0, 25}, {0, 25}}));
    EXPECT_EQ(h.frame(w), (Rect{0, 25, 1439, 875}));
    // Needing a correction marks it as an application that sizes its own way.
    EXPECT_EQ(h.logLines(), (std::vector<std::string>{
                                "learned cell-snap app: com.example.wide",
                                "apply \"Wide\" target=(0.0,25.0 1440.0×875.0) achieved=(0.0,25.0 "
                                "1439.0×875.0) Δw=1.0 Δh=0.0 iters=1 mem=false"}));
    EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
}

TEST(ApplyScenario, CorrectionStopsAfterFourRounds) {
    EngineHarness h({laptop()});
    h.launch();
    int32_t pid = h.addApp("com.example.stuck");
    auto w = h.addWindow(pid, "Stuck", {100, 100, 800, 600});
    // Always ends up 1500 wide, whatever it is asked.
    h.server.setResizeBehaviour(w, ResizeBehaviour::custom([](const Rect& cur, Size req) {
                                    return ResizeOutcome{true, {cur.x, cur.y, 1500, req.height}};
                                }));
    h.tick();
    EXPECT_EQ(h.server.sizeWrites(w),
              (std::vector<Size>{{1440, 875}, {1379, 875}, {1318, 875}, {1257, 875}, {1196, 875}}));
    auto lines = h.linesStartingWith("apply ");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0],
              "apply \"Stuck\" target=(0.0,25.0 1440.0×875.0) achieved=(0.0,25.0 1500.0×875.0) "
              "Δw=-60.0 Δh=0.0 iters=4 mem=false");
}

// An application that will not grow its window and puts it back where it wants it after every
// move: three failed applies in a row give it up.
struct StubbornWindow {
    EngineHarness h;
    int32_t pid = 0;
    WindowHandle w;

    StubbornWindow() {
        h.launch();
        pid = h.addApp("com.example.stubborn");
        w = h.addWindow(pid, "Stubborn", {300, 200, 800, 600});
        auto behaviour = ResizeBehaviour::refuse(false);
        behaviour.fightBackAfterReads = 1;
        h.server.setResizeBehaviour(w, behaviour);
        // The window server sees the window where accessibility says it is.
        h.windowList.setEntries({{pid, 0, Rect{0, 25, 800, 600}}});
    }
};

TEST(ApplyScenario, WindowThatRefusesThreeTimesIsGivenUpWithAProbeLine) {
    StubbornWindow s;
    EngineHarness& h = s.h;
    h.tick();  // first apply: stays 800×600
    EXPECT_EQ(h.state(s.w)->resistCount, 1);
    h.step();  // it moved itself back: a change, wait
    h.step();  // second apply
    EXPECT_EQ(h.state(s.w)->resistCount, 2);
    EXPECT_EQ(h.engine->cannotFillCount(), 0);
    h.step();
    h.step();  // third apply: given up
    auto st = h.state(s.w);
    EXPECT_EQ(st->disposition, Disposition::cannotFill);
    EXPECT_EQ(st->recordedSize, (Size{800, 600}));
    EXPECT_EQ(h.engine->cannotFillCount(), 1);
    EXPECT_EQ(h.linesStartingWith("apply ").size(), 3u);
    EXPECT_EQ(h.linesStartingWith("PROBE"),
              (std::vector<std::string>{
                  "PROBE cannot-fill[resist] \"Stubborn\" SPACE-OK ax=(0,25 800x600) cg=(0,25 "
                  "800x600) — globalTopLeft confirmed; genuine cannot-fill (app refused resize)"}));

    // Left alone from now on.
    h.server.clearWrites();
    for (int i = 0; i < 6; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.engine->cannotFillCount(), 1);
}

TEST(ApplyScenario, HandResizeOfMoreThanFortyPointsBringsACannotFillWindowBack) {
    StubbornWindow s;
    EngineHarness& h = s.h;
    h.tick();
    for (int i = 0; i < 4; ++i) h.step();
    ASSERT_EQ(h.state(s.w)->disposition, Disposition::cannotFill);
    h.step();
    Rect where = *h.frame(s.w);

    // The application itself growing the window is not the user's hand.
    h.server.setFrame(s.w, {where.x, where.y, 900, 600});
    h.step();
    h.step();
    EXPECT_EQ(h.state(s.w)->disposition, Disposition::cannotFill);
    h.server.setFrame(s.w, where);
    h.step(1.5);

    // Exactly 40 points by hand: still given up.
    h.handMove(s.w, {where.x, where.y, 840, 600});
    h.step(0.1);
    EXPECT_EQ(h.state(s.w)->disposition, Disposition::cannotFill);
    h.step(1.5);

    // 41 points: managed again, counted again from zero.
    h.handMove(s.w, {where.x, where.y, 800, 641});
    h.step(0.1);
    auto st = h.state(s.w);
    EXPECT_EQ(st->disposition, Disposition::managed);
    EXPECT_EQ(st->resistCount, 0);
    EXPECT_FALSE(st->recordedSize);
    EXPECT_EQ(h.engine->cannotFillCount(), 0);
}

TEST(ApplyScenario, WindowThatUndoesTheEngineIsLeftAloneAtTheSeventhApplyWithinFiveSeconds) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp("com.example.fighter");
    auto w = h.addWindow(pid, "Fighter", {300, 200, 800, 600});
    h.server.setResizeBehaviour(w, ResizeBehaviour::fightsBack(1));
    h.windowList.setEntries({{pid, 0, Rect{300, 200, 800, 600}}});

    h.tick();                                  // apply 1 at 0.0 s
    for (int i = 0; i < 12; ++i) h.step(0.4);  // applies 2 to 6 at 0.8 … 4.0 s; the 7th at 4.8 s
    EXPECT_EQ(h.linesStartingWith("apply ").size(), 6u);
    EXPECT_EQ(h.server.sizeWrites(w).size(), 6u);
    auto st = h.state(w);
    EXPECT_EQ(st->disposition, Disposition::cannotFill);
    EXPECT_EQ(st->recordedSize, (Size{800, 600}));
    EXPECT_EQ(st->reassertStamps.size(), 6u);
    EXPECT_EQ(h.linesStartingWith("PROBE"),
              (std::vector<std::string>{
                  "PROBE cannot-fill[oscillation] \"Fighter\" SPACE-MISMATCH[POSITION-OFFSET] "
                  "ax=(0,25 1920x1055) cg=(300,200 800x600) Δ=(-300,-175 1120x455)"}));
    EXPECT_EQ(h.engine->cannotFillCount(), 1);
    EXPECT_EQ(h.frame(w), (Rect{300, 200, 800, 600}));
}

TEST(ApplyScenario, ReappliesSpreadOverMoreThanFiveSecondsAreNotOscillation) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp("com.example.fighter");
    auto w = h.addWindow(pid, "Fighter", {300, 200, 800, 600});
    h.server.setResizeBehaviour(w, ResizeBehaviour::fightsBack(1));
    h.tick();
    for (int i = 0; i < 20; ++i) h.step(0.6);  // one apply every 1.2 s
    EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
    EXPECT_EQ(h.linesStartingWith("apply ").size(), 11u);
    EXPECT_TRUE(h.linesStartingWith("PROBE").empty());
}

}  // namespace
}  // namespace mavo::test

// Stories of applications that do not take the frame they are given: overshooting, sizing in
// cells, refusing, and fighting back.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(ApplyScenario, OvershootIsCorrectedWithSmallerRequestsForAtMostFourRounds) {
    // A 1440×900 laptop panel with a 25-point menu bar: visible frame (0,25 1440×875).
    EngineHarness h({makeScreen({0, 0, 1440, 900}, "LAPTOP", 25, 0, true, 300)});
    h.launch();
    auto w = h.open("com.example.wide");
    h.server.setResizeBehaviour(w, ResizeBehaviour::overshoot(3, 0));
    // Always ends up 1500 wide, whatever it is asked.
    auto stuck = h.open("com.example.stuck");
    h.server.setResizeBehaviour(stuck, ResizeBehaviour::custom([](const Rect& cur, Size req) {
                                    return ResizeOutcome{true, {cur.x, cur.y, 1500, req.height}};
                                }));
    h.tick();

    // Asked 1440, it took 1443; asked 1440 − (1443 − 1440 + 1) = 1436, it took 1439.
    EXPECT_EQ(h.server.writes(w), "(0,25) 1440×875 (0,25) 1436×875 (0,25) ");
    EXPECT_EQ(h.server.writes(stuck),
              "(0,25) 1440×875 (0,25) 1379×875 (0,25) 1318×875 (0,25) "
              "1257×875 (0,25) 1196×875 (0,25) ");
    // Needing a correction marks it as an application that sizes its own way.
    EXPECT_EQ(h.defaults.strings("cellSnapApps"),
              (Lines{"Console", "Terminal", "com.example.stuck", "com.example.wide"}));
}

TEST(ApplyScenario, TerminalIsLearntAcceptedAsFillingAndRememberedAcrossLaunches) {
    const std::string term = "org.example.term";
    const Rect cellFit{0, 25, 1919, 1050};  // 9×18 cells and a 2×24 border in 1920×1055
    EngineHarness h;
    h.launch();
    auto w = h.open(term, {300, 200, 700, 500}, "bash");
    h.server.setResizeBehaviour(w, ResizeBehaviour::cells(9, 18, 2, 24));
    h.tick();
    EXPECT_EQ(h.frame(w), cellFit);
    EXPECT_EQ(h.log("learned"), Lines{"learned cell-snap app: org.example.term"});
    EXPECT_EQ(h.defaults.strings("cellSnapApps"), (Lines{"Console", "Terminal", term}));

    // Once its own write has aged, the near miss is accepted as a fit and remembered.
    EXPECT_EQ(h.writesOver(5), 0u);
    EXPECT_EQ(h.engine->bestFitFor(term, kPrimaryVisibleAX), cellFit);

    // The learning survives a relaunch: windows already at a cell fit are left as they are.
    h.relaunch();
    h.server.clearWrites();
    h.tickAndStep();
    EXPECT_EQ(h.server.writeCount(), 0u);
}

// An application that will not grow its window and puts it back where it wants it after every
// move: three failed applies in a row give it up until the hand resizes it.
TEST(ApplyScenario, WindowThatRefusesThreeTimesIsGivenUpUntilTheHandResizesIt) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp("com.example.stubborn");
    auto w = h.addWindow(pid, "Stubborn", {300, 200, 800, 600});
    auto behaviour = ResizeBehaviour::custom([](const Rect& cur, Size) {
        return ResizeOutcome{true, cur};  // claims success
    });
    behaviour.fightBackAfterReads = 1;
    h.server.setResizeBehaviour(w, behaviour);
    // The window server sees the window where accessibility says it is.
    h.windowList.setEntries({{pid, 0, Rect{0, 25, 800, 600}}});
    h.tick();
    h.step(0.75, 2);  // it moved itself back: a change, wait; then the second apply
    EXPECT_EQ(h.engine->settings().cannotFillCount(), 0);
    h.step(0.75, 2);  // third apply: given up
    EXPECT_EQ(h.state(w)->disposition, Disposition::cannotFill);
    EXPECT_EQ(h.state(w)->recordedSize, (Size{800, 600}));
    EXPECT_EQ(h.log("apply ").size(), 3u);
    EXPECT_EQ(h.log("PROBE cannot-fill[resist]").size(), 1u);
    EXPECT_EQ(h.writesOver(6), 0u);  // left alone from now on
    EXPECT_EQ(h.engine->settings().cannotFillCount(), 1);

    Rect where = *h.frame(w);
    h.handMove(w, {where.x, where.y, 800, 641});
    h.step(0.1);
    EXPECT_EQ(h.state(w)->resistCount, 0);  // counted again from zero
    EXPECT_EQ(h.engine->settings().cannotFillCount(), 0);
}

// A window that undoes every apply is left alone at the seventh apply within five seconds, but not
// when the applies are spread wider.
TEST(ApplyScenario, WindowThatUndoesTheEngineIsLeftAloneOnlyWhenItOscillatesFast) {
    for (double period : {0.4, 0.6}) {  // one apply every two ticks
        SCOPED_TRACE(period);
        EngineHarness h;
        h.launch();
        auto w = h.open("com.example.fighter", {300, 200, 800, 600});
        h.server.setResizeBehaviour(w, ResizeBehaviour::fightsBack(1));
        h.tick();
        h.step(period, 20);
        bool fast = period < 0.5;  // the 7th apply would come at 4.8 s
        EXPECT_EQ(h.log("apply ").size(), fast ? 6u : 11u);
        EXPECT_EQ(h.log("PROBE cannot-fill[oscillation]").size(), fast ? 1u : 0u);
        EXPECT_EQ(h.state(w)->recordedSize, fast ? std::optional(Size{800, 600}) : std::nullopt);
    }
}

}  // namespace
}  // namespace mavo::test

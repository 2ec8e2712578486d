// Stories of applications that size their windows in character cells: learnt, remembered and
// accepted as filling.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kTerm = "org.example.term";
// What a terminal with 9×18 cells and a 2×24 border settles on for the 1920×1055 visible frame.
const Rect kCellFit{0, 25, 1919, 1050};
const auto kCells = ResizeBehaviour::cells(9, 18, 2, 24);

TEST(CellSnapScenario, TerminalIsLearntAcceptedAsFillingAndRememberedAcrossLaunches) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kTerm);
    auto w = h.addWindow(pid, "bash", {300, 200, 700, 500});
    h.server.setResizeBehaviour(w, kCells);
    h.tick();
    EXPECT_EQ(h.frame(w), kCellFit);
    EXPECT_EQ(h.linesStartingWith("learned"), Lines{"learned cell-snap app: org.example.term"});
    EXPECT_EQ(h.defaults.strings("cellSnapApps"), (Lines{"Console", "Terminal", kTerm}));

    // Once its own write has aged, the near miss is accepted as a fit and remembered.
    EXPECT_EQ(h.writesOver(5), 0u);
    EXPECT_EQ(h.engine->bestFitFor(kTerm, kPrimaryVisibleAX), kCellFit);

    // A second window is asked for the size the application accepted last time.
    auto second = h.addWindow(pid, "top", {300, 200, 700, 500});
    h.server.setResizeBehaviour(second, kCells);
    h.step();
    EXPECT_EQ(h.server.sizeWrites(second), (std::vector<Size>{{1919, 1050}}));

    // The learning survives a relaunch: windows already at a cell fit are left as they are.
    h.relaunch();
    h.server.clearWrites();
    h.tickAndStep();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
}

// A class and titles that are not UTF-8 reach the placement file repaired.
TEST(CellSnapScenario, NamesThatAreNotUtf8AreRememberedRepaired) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(
        "Bad\xff\xfe"
        "Class");
    auto w = h.addWindow(pid, "b\xe2\x82sh", {300, 200, 700, 500});
    h.addWindow(pid, "other", {300, 200, 700, 500});  // two windows: titles join the keys
    h.tick();
    h.handMoveAndSettle(w, {100, 100, 900, 700});
    h.relaunch();  // pending placements are written at exit

    EXPECT_TRUE(h.store->get("PRIMARY|Bad\uFFFD\uFFFDClass|b\uFFFDsh"));  // read back from disk
}

// Up to 48 points short is a cell fit for a built-in terminal, without learning, but not for
// other applications.
TEST(CellSnapScenario, BuiltInTerminalsAreAcceptedWithoutLearning) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp("Terminal");
    auto w = h.addWindow(pid, "zsh", {2, 27, 1910, 1040});  // 10 and 13 points short
    auto editor = h.open("com.example.editor", {2, 27, 1910, 1040});
    h.tick();
    h.step(0.75, 2);
    EXPECT_EQ(h.server.writeCount(w), 0u);
    EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
    EXPECT_FALSE(h.defaults.object("cellSnapApps").has_value());
    EXPECT_EQ(h.frame(editor), kPrimaryVisibleAX);

    auto loose = h.addWindow(pid, "loose", {2, 27, 1860, 1040});  // 60 points short
    h.step();
    EXPECT_EQ(h.server.sizeWrites(loose).size(), 1u);
}

}  // namespace
}  // namespace mavo::test

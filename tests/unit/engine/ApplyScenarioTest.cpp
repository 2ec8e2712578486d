// Stories of applications that do not take the frame they are given: overshooting, refusing,
// fighting back, and being given another chance by the user's hand.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(ApplyScenario, OvershootIsCorrectedWithSmallerRequestsForAtMostFourRounds) {
    // A 1440×900 laptop panel with a 25-point menu bar: visible frame (0,25 1440×875).
    EngineHarness h({makeScreen({0, 0, 1440, 900}, "LAPTOP", 25, 0, true, 300)});
    h.launch();
    auto w = h.open("com.example.wide", {100, 100, 800, 600}, "Wide");
    h.server.setResizeBehaviour(w, ResizeBehaviour::overshoot(3, 0));
    // Always ends up 1500 wide, whatever it is asked.
    auto stuck = h.open("com.example.stuck", {100, 100, 800, 600}, "Stuck");
    h.server.setResizeBehaviour(stuck, ResizeBehaviour::custom([](const Rect& cur, Size req) {
                                    return ResizeOutcome{true, {cur.x, cur.y, 1500, req.height}};
                                }));
    h.tick();

    // Asked 1440, it took 1443; asked 1440 − (1443 − 1440 + 1) = 1436, it took 1439.
    EXPECT_EQ(h.server.sizeWrites(w), (std::vector<Size>{{1440, 875}, {1436, 875}}));
    EXPECT_EQ(h.server.positionWrites(w), (std::vector<Point>{{0, 25}, {0, 25}, {0, 25}}));
    EXPECT_EQ(h.frame(w), (Rect{0, 25, 1439, 875}));
    EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
    EXPECT_EQ(h.server.sizeWrites(stuck),
              (std::vector<Size>{{1440, 875}, {1379, 875}, {1318, 875}, {1257, 875}, {1196, 875}}));
    // Needing a correction marks it as an application that sizes its own way.
    EXPECT_EQ(h.defaults.strings("cellSnapApps"),
              (Lines{"Console", "Terminal", "com.example.stuck", "com.example.wide"}));
}

// An application that will not grow its window and puts it back where it wants it after every
// move: three failed applies in a row give it up.
TEST(ApplyScenario, WindowThatRefusesThreeTimesIsGivenUpUntilTheHandResizesItByMoreThanForty) {
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
    h.tick();  // first apply: stays 800×600
    EXPECT_EQ(h.state(w)->resistCount, 1);
    h.step(0.75, 2);  // it moved itself back: a change, wait; then the second apply
    EXPECT_EQ(h.state(w)->resistCount, 2);
    EXPECT_EQ(h.engine->settings().cannotFillCount(), 0);
    h.step(0.75, 2);  // third apply: given up
    EXPECT_EQ(h.state(w)->disposition, Disposition::cannotFill);
    EXPECT_EQ(h.state(w)->recordedSize, (Size{800, 600}));
    EXPECT_EQ(h.linesStartingWith("apply ").size(), 3u);
    EXPECT_EQ(h.linesStartingWith("PROBE cannot-fill[resist]").size(), 1u);
    EXPECT_EQ(h.writesOver(6), 0u);  // left alone from now on
    EXPECT_EQ(h.engine->settings().cannotFillCount(), 1);

    Rect where = *h.frame(w);

    // The application itself growing the window is not the user's hand.
    h.server.setFrame(w, {where.x, where.y, 900, 600});
    h.step(0.75, 2);
    EXPECT_EQ(h.state(w)->disposition, Disposition::cannotFill);
    h.server.setFrame(w, where);
    h.step(1.5);

    // Exactly 40 points by hand: still given up.
    h.handMove(w, {where.x, where.y, 840, 600});
    h.step(0.1);
    EXPECT_EQ(h.state(w)->disposition, Disposition::cannotFill);
    h.step(1.5);

    // 41 points: managed again, counted again from zero.
    h.handMove(w, {where.x, where.y, 800, 641});
    h.step(0.1);
    auto st = h.state(w);
    EXPECT_EQ(st->disposition, Disposition::managed);
    EXPECT_EQ(st->resistCount, 0);
    EXPECT_FALSE(st->recordedSize);
    EXPECT_EQ(h.engine->settings().cannotFillCount(), 0);
}

// A window that undoes every apply is left alone at the seventh apply within five seconds, but not
// when the applies are spread wider.
TEST(ApplyScenario, WindowThatUndoesTheEngineIsLeftAloneOnlyWhenItOscillatesFast) {
    for (double period : {0.4, 0.6}) {
        SCOPED_TRACE(period);
        EngineHarness h;
        h.launch();
        int32_t pid = h.addApp("com.example.fighter");
        auto w = h.addWindow(pid, "Fighter", {300, 200, 800, 600});
        h.server.setResizeBehaviour(w, ResizeBehaviour::fightsBack(1));
        h.windowList.setEntries({{pid, 0, Rect{300, 200, 800, 600}}});
        h.tick();
        if (period > 0.5) {  // one apply every 1.2 s
            h.step(period, 20);
            EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
            EXPECT_EQ(h.linesStartingWith("apply ").size(), 11u);
            EXPECT_TRUE(h.linesStartingWith("PROBE").empty());
            continue;
        }
        h.step(period, 12);  // applies 2 to 6 at 0.8 … 4.0 s; the 7th would be at 4.8 s
        EXPECT_EQ(h.linesStartingWith("apply ").size(), 6u);
        auto st = h.state(w);
        EXPECT_EQ(st->disposition, Disposition::cannotFill);
        EXPECT_EQ(st->recordedSize, (Size{800, 600}));
        EXPECT_EQ(h.linesStartingWith("PROBE cannot-fill[oscillation]").size(), 1u);
        EXPECT_EQ(h.engine->settings().cannotFillCount(), 1);
        EXPECT_EQ(h.frame(w), (Rect{300, 200, 800, 600}));
    }
}

}  // namespace
}  // namespace mavo::test

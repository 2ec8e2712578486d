// The engine tests lean on these fakes behaving like the platform; these pin what is not storage.
#include <gtest/gtest.h>

#include "fakes/FakeWindowServer.h"
#include "windowaccess/AX.h"

namespace mavo {
namespace {

using test::ResizeBehaviour;

struct FakesTest : ::testing::Test {
    // Asks a fresh 500 x 400 window that behaves as `b` for `req`; answers (result, new size).
    std::pair<bool, Size> resize(ResizeBehaviour b, Size req) {
        last = ws.addWindow(7, "w", {0, 0, 500, 400});
        ws.setResizeBehaviour(last, std::move(b));
        bool ok = ax.set(last, Attr::size, req);
        return {ok, ax.frame(last)->size()};
    }
    test::FakeWindowServer ws;
    AX ax{ws};
    WindowHandle last;
};

TEST_F(FakesTest, StandardWindowPassesTheCandidateChecksUntilRemoved) {
    WindowHandle w = ws.addWindow(7, "Notes", {10, 25, 800, 600});
    WindowHandle other = ws.addWindow(7, "B", {0, 0, 100, 100});
    EXPECT_EQ(ax.string(w, Attr::subrole), "AXStandardWindow");
    EXPECT_FALSE(ax.boolean(w, Attr::minimized) || ax.boolean(w, Attr::fullScreen));
    EXPECT_TRUE(ax.isSettable(w, Attr::position) && ax.isSettable(w, Attr::size));
    EXPECT_EQ(ax.pid(w), 7);
    ws.removeWindow(w);
    EXPECT_EQ(ax.windows(7), std::vector<WindowHandle>{other});
    EXPECT_FALSE(ax.frame(w) || ax.pid(w) || ax.set(w, Attr::position, Point{1, 1}));
}

TEST_F(FakesTest, WritesAreLoggedInOrderButHandMovesAreNot) {
    WindowHandle w = ws.addWindow(7, "A", {30, 40, 100, 100});
    ws.setFrame(w, {5, 5, 50, 50});
    ax.set(w, Attr::position, Point{0, 25});
    ax.set(w, Attr::size, Size{1440, 875});
    ws.setRefusesMoves(w, true);
    EXPECT_FALSE(ax.set(w, Attr::position, Point{9, 9}));
    ws.setRefusesMoves(w, true, /*reportsFailure=*/false);
    EXPECT_TRUE(ax.set(w, Attr::position, Point{9, 9}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1440, 875}));
    ASSERT_EQ(ws.writes().size(), 4u);
    EXPECT_EQ(ws.writes()[1].attribute, "AXSize");
    EXPECT_EQ(ws.positionWrites(w), (std::vector<Point>{{0, 25}, {9, 9}, {9, 9}}));
}

TEST_F(FakesTest, SizeWritesFollowTheWindowsBehaviour) {
    using R = std::pair<bool, Size>;
    // Whole cells above the base: (1440 - 2) / 9 -> 159 columns, (875 - 24) / 18 -> 47 rows.
    EXPECT_EQ(resize(ResizeBehaviour::cells(9, 18, 2, 24), {1440, 875}), R(true, {1433, 870}));
    EXPECT_EQ(resize(ResizeBehaviour::cells(9, 18, 2, 24), {722, 384}), R(true, {722, 384}));
    EXPECT_EQ(resize(ResizeBehaviour::overshoot(3, 0), {1436, 875}), R(true, {1439, 875}));
    EXPECT_EQ(resize(ResizeBehaviour::refuse(false), {900, 900}), R(true, {500, 400}));
    EXPECT_EQ(resize(ResizeBehaviour::fixedSize(), {900, 900}), R(false, {500, 400}));
    EXPECT_FALSE(ax.isSettable(last, Attr::size));
    EXPECT_EQ(ws.sizeWrites(last).size(), 1u);  // refused writes are logged too
}

TEST_F(FakesTest, FightingWindowRevertsTheWholeBurstAfterItsReads) {
    const Rect before{30, 40, 500, 400};
    WindowHandle w = ws.addWindow(7, "A", before);
    ws.setResizeBehaviour(w, ResizeBehaviour::fightsBack(2));
    ax.set(w, Attr::position, Point{0, 25});
    ax.set(w, Attr::size, Size{1440, 875});
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1440, 875}));
    ax.set(w, Attr::size, Size{1400, 875});  // restarts the count, not the frame to go back to
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1400, 875}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1400, 875}));
    EXPECT_EQ(ax.frame(w), before);
    EXPECT_EQ(ax.frame(w), before);
    ax.set(w, Attr::size, Size{1440, 875});
    ws.setFrame(w, {100, 100, 600, 500});  // a hand move cancels the revert
    EXPECT_EQ(ax.frame(w), (Rect{100, 100, 600, 500}));
}

}  // namespace
}  // namespace mavo

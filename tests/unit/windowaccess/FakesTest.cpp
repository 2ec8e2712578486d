#include "fakes/FakeWindowServer.h"

#include <gtest/gtest.h>

#include "windowaccess/AX.h"

namespace mavo {
namespace {

using test::FakeWindowServer;
using test::ResizeBehaviour;

class FakeWindowServerTest : public ::testing::Test {
  protected:
    FakeWindowServer ws;
    AX ax{ws};
};

TEST_F(FakeWindowServerTest, StandardWindowPassesEveryCandidateCheck) {
    WindowHandle w = ws.addWindow(7, "Notes", {10, 25, 800, 600});
    EXPECT_EQ(ax.string(w, Attr::role), "AXWindow");
    EXPECT_EQ(ax.string(w, Attr::subrole), "AXStandardWindow");
    EXPECT_EQ(ax.string(w, Attr::title), "Notes");
    EXPECT_FALSE(ax.boolean(w, Attr::minimized));
    EXPECT_FALSE(ax.boolean(w, Attr::fullScreen));
    EXPECT_TRUE(ax.isSettable(w, Attr::position));
    EXPECT_TRUE(ax.isSettable(w, Attr::size));
    EXPECT_FALSE(ax.isSettable(w, Attr::title));
    EXPECT_EQ(ax.frame(w), (Rect{10, 25, 800, 600}));
    EXPECT_EQ(ax.pid(w), 7);
    EXPECT_EQ(ax.windows(7), std::vector<WindowHandle>{w});
}

TEST_F(FakeWindowServerTest, RemovedWindowVanishesFromListAndReads) {
    WindowHandle a = ws.addWindow(7, "A", {0, 0, 100, 100});
    WindowHandle b = ws.addWindow(7, "B", {0, 0, 100, 100});
    EXPECT_NE(a.id, b.id);
    ws.removeWindow(a);
    EXPECT_EQ(ax.windows(7), std::vector<WindowHandle>{b});
    EXPECT_EQ(ax.frame(a), std::nullopt);
    EXPECT_EQ(ax.pid(a), std::nullopt);
    EXPECT_FALSE(ax.set(a, Attr::position, Point{1, 1}));
}

TEST_F(FakeWindowServerTest, WritesAreLoggedInOrderButHandMovesAreNot) {
    WindowHandle w = ws.addWindow(7, "A", {0, 0, 100, 100});
    ws.setFrame(w, {5, 5, 50, 50});
    EXPECT_EQ(ws.writeCount(), 0u);
    EXPECT_EQ(ax.frame(w), (Rect{5, 5, 50, 50}));

    ax.set(w, Attr::position, Point{0, 25});
    ax.set(w, Attr::size, Size{1440, 875});
    ax.set(w, Attr::position, Point{0, 25});
    auto log = ws.writes();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[0].attribute, "AXPosition");
    EXPECT_EQ(log[1].attribute, "AXSize");
    EXPECT_EQ(std::get<Size>(log[1].value), (Size{1440, 875}));
    EXPECT_TRUE(log[1].succeeded);
    EXPECT_EQ(ws.positionWrites(w), (std::vector<Point>{{0, 25}, {0, 25}}));
    EXPECT_EQ(ws.sizeWrites(w), (std::vector<Size>{{1440, 875}}));
    ws.clearWrites();
    EXPECT_TRUE(ws.writes().empty());
}

TEST_F(FakeWindowServerTest, CellWindowRoundsDownToWholeCellsAboveItsBase) {
    WindowHandle w = ws.addWindow(7, "term", {0, 0, 500, 400});
    ws.setResizeBehaviour(w, ResizeBehaviour::cells(9, 18, 2, 24));
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1440, 875}));
    // (1440-2)/9 = 159.8 columns -> 159; (875-24)/18 = 47.3 rows -> 47.
    EXPECT_EQ(ax.frame(w), (Rect{0, 0, 2 + 159 * 9, 24 + 47 * 18}));
    // An exact fit is kept as it is.
    EXPECT_TRUE(ax.set(w, Attr::size, Size{2 + 80 * 9, 24 + 20 * 18}));
    EXPECT_EQ(ax.frame(w)->size(), (Size{722, 384}));
}

TEST_F(FakeWindowServerTest, OvershootingWindowAddsTheSameExcessToEveryWrite) {
    WindowHandle w = ws.addWindow(7, "A", {0, 0, 500, 400});
    ws.setResizeBehaviour(w, ResizeBehaviour::overshoot(3, 0));
    ax.set(w, Attr::size, Size{1440, 875});
    EXPECT_EQ(ax.frame(w)->size(), (Size{1443, 875}));
    ax.set(w, Attr::size, Size{1436, 875});
    EXPECT_EQ(ax.frame(w)->size(), (Size{1439, 875}));
}

TEST_F(FakeWindowServerTest, RefusingAndFixedWindowsKeepTheirSize) {
    WindowHandle loud = ws.addWindow(7, "A", {0, 0, 500, 400});
    WindowHandle quiet = ws.addWindow(7, "B", {0, 0, 500, 400});
    WindowHandle fixed = ws.addWindow(7, "C", {0, 0, 500, 400});
    ws.setResizeBehaviour(loud, ResizeBehaviour::refuse());
    ws.setResizeBehaviour(quiet, ResizeBehaviour::refuse(false));
    ws.setResizeBehaviour(fixed, ResizeBehaviour::fixedSize());

    EXPECT_FALSE(ax.set(loud, Attr::size, Size{900, 900}));
    EXPECT_TRUE(ax.set(quiet, Attr::size, Size{900, 900}));
    EXPECT_FALSE(ax.set(fixed, Attr::size, Size{900, 900}));
    for (auto w : {loud, quiet, fixed}) EXPECT_EQ(ax.frame(w)->size(), (Size{500, 400}));
    EXPECT_TRUE(ax.isSettable(loud, Attr::size));
    EXPECT_FALSE(ax.isSettable(fixed, Attr::size));
    EXPECT_TRUE(ax.isSettable(fixed, Attr::position));
    EXPECT_EQ(ws.sizeWrites(fixed).size(), 1u);  // refused writes are logged too
}

TEST_F(FakeWindowServerTest, MaxSizeWindowStopsGrowingAtItsLimit) {
    WindowHandle w = ws.addWindow(7, "A", {0, 0, 500, 400});
    ws.setResizeBehaviour(w, ResizeBehaviour::maxSize({1000, 700}));
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1440, 600}));
    EXPECT_EQ(ax.frame(w)->size(), (Size{1000, 600}));
}

TEST_F(FakeWindowServerTest, WindowThatRefusesMovesKeepsItsPosition) {
    WindowHandle w = ws.addWindow(7, "A", {30, 40, 500, 400});
    ws.setRefusesMoves(w, true);
    EXPECT_FALSE(ax.set(w, Attr::position, Point{0, 25}));
    ws.setRefusesMoves(w, true, /*reportsFailure=*/false);
    EXPECT_TRUE(ax.set(w, Attr::position, Point{0, 25}));
    EXPECT_EQ(ax.frame(w)->origin(), (Point{30, 40}));
}

TEST_F(FakeWindowServerTest, FightingWindowUndoesTheWholeBurstOnTheNextRead) {
    WindowHandle w = ws.addWindow(7, "A", {30, 40, 500, 400});
    ws.setResizeBehaviour(w, ResizeBehaviour::fightsBack());
    EXPECT_TRUE(ax.set(w, Attr::position, Point{0, 25}));
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1440, 875}));
    EXPECT_TRUE(ax.set(w, Attr::position, Point{0, 25}));
    EXPECT_EQ(ax.frame(w), (Rect{30, 40, 500, 400}));
    EXPECT_EQ(ax.frame(w), (Rect{30, 40, 500, 400}));  // and stays there
}

TEST_F(FakeWindowServerTest, FightingWindowCanShowTheEngineFrameForSomeReadsFirst) {
    WindowHandle w = ws.addWindow(7, "A", {30, 40, 500, 400});
    ws.setResizeBehaviour(w, ResizeBehaviour::fightsBack(2));
    ax.set(w, Attr::position, Point{0, 25});
    ax.set(w, Attr::size, Size{1440, 875});
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1440, 875}));
    // A later write restarts the count but still reverts to the frame before the first one.
    ax.set(w, Attr::size, Size{1400, 875});
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1400, 875}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 25, 1400, 875}));
    EXPECT_EQ(ax.frame(w), (Rect{30, 40, 500, 400}));
}

TEST_F(FakeWindowServerTest, HandMoveCancelsAPendingFightBack) {
    WindowHandle w = ws.addWindow(7, "A", {30, 40, 500, 400});
    ws.setResizeBehaviour(w, ResizeBehaviour::fightsBack());
    ax.set(w, Attr::size, Size{1440, 875});
    ws.setFrame(w, {100, 100, 600, 500});
    EXPECT_EQ(ax.frame(w), (Rect{100, 100, 600, 500}));
}

TEST_F(FakeWindowServerTest, CustomHookDecidesFrameAndResult) {
    WindowHandle w = ws.addWindow(7, "A", {0, 0, 500, 400});
    ws.setResizeBehaviour(
        w, ResizeBehaviour::custom([](const Rect& cur, Size req) {
            // Shifts left when it grows, as some windows near a screen edge do.
            return test::ResizeOutcome{req.width < 1000, Rect{cur.x - 10, cur.y, req.width, 300}};
        }));
    EXPECT_FALSE(ax.set(w, Attr::size, Size{1200, 900}));
    EXPECT_EQ(ax.frame(w), (Rect{-10, 0, 1200, 300}));
}

TEST_F(FakeWindowServerTest, RecordsTheMessagingTimeout) {
    EXPECT_EQ(ws.messagingTimeout(), std::nullopt);
    ax.setGlobalMessagingTimeout(0.25f);
    EXPECT_EQ(ws.messagingTimeout(), 0.25f);
}

}  // namespace
}  // namespace mavo

#include "windowaccess/AX.h"

#include <gtest/gtest.h>

#include "fakes/FakeWindowServer.h"

namespace mavo {
namespace {

using test::FakeWindowServer;
using test::ResizeBehaviour;

class AXTest : public ::testing::Test {
  protected:
    FakeWindowServer ws;
    AX ax{ws};
};

TEST_F(AXTest, WindowListFailuresAllFoldIntoAnEmptyList) {
    ws.addApp(1);  // an empty list
    ws.addWindow(2, "x", {0, 0, 10, 10});
    ws.setWindowsReadFails(2, true);
    ws.addApp(3);
    ws.setWindowsRawValue(3, std::string("not a list"));
    EXPECT_TRUE(ax.windows(1).empty());
    EXPECT_TRUE(ax.windows(2).empty());
    EXPECT_TRUE(ax.windows(3).empty());
    EXPECT_TRUE(ax.windows(99).empty());  // no such process
    ws.setWindowsReadFails(2, false);
    EXPECT_EQ(ax.windows(2).size(), 1u);
}

TEST_F(AXTest, BooleanFoldsEverythingButTrueValuesIntoFalse) {
    WindowHandle w = ws.addBareWindow(1);
    ws.setAttribute(w, "AXMinimized", 1.0);
    EXPECT_TRUE(ax.boolean(w, "AXMinimized"));
    ws.setAttribute(w, "AXMinimized", 0.0);
    EXPECT_FALSE(ax.boolean(w, "AXMinimized"));
    ws.setAttribute(w, "AXMinimized", std::string("true"));
    EXPECT_FALSE(ax.boolean(w, "AXMinimized"));
    ws.setAttribute(w, "AXMinimized", true);
    EXPECT_TRUE(ax.boolean(w, "AXMinimized"));
    ws.removeAttribute(w, "AXMinimized");
    EXPECT_FALSE(ax.boolean(w, "AXMinimized"));
}

TEST_F(AXTest, TypedReadersRejectValuesOfAnotherKind) {
    WindowHandle w = ws.addBareWindow(1);
    ws.setAttribute(w, "AXTitle", 3.0);
    ws.setAttribute(w, "AXPosition", Size{1, 2});
    ws.setAttribute(w, "AXSize", Point{1, 2});
    EXPECT_EQ(ax.string(w, "AXTitle"), std::nullopt);
    EXPECT_EQ(ax.point(w, "AXPosition"), std::nullopt);
    EXPECT_EQ(ax.size(w, "AXSize"), std::nullopt);
    EXPECT_EQ(ax.point(w, "AXSize"), (Point{1, 2}));
    EXPECT_TRUE(ax.copyAttribute(w, "AXTitle").has_value());
    EXPECT_EQ(ax.string(w, "AXMissing"), std::nullopt);
}

TEST_F(AXTest, FrameNeedsBothPartsAndSkipsTheSizeWhenThePositionFails) {
    WindowHandle w = ws.addWindow(1, "x", {10, 20, 300, 200});
    ws.removeAttribute(w, Attr::size);
    EXPECT_EQ(ax.frame(w), std::nullopt);
    EXPECT_EQ(ws.readCount(w, Attr::size), 1);

    ws.setAttribute(w, Attr::size, std::string("300x200"));
    EXPECT_EQ(ax.frame(w), std::nullopt);

    ws.clearReadCounts();
    ws.setAttribute(w, Attr::size, Size{300, 200});
    ws.removeAttribute(w, Attr::position);
    EXPECT_EQ(ax.frame(w), std::nullopt);
    EXPECT_EQ(ws.readCount(w, Attr::position), 1);
    EXPECT_EQ(ws.readCount(w, Attr::size), 0);
}

TEST_F(AXTest, WritesReportExactlyWhetherTheServerAccepted) {
    WindowHandle w = ws.addWindow(1, "x", {10, 20, 300, 200});
    ws.setResizeBehaviour(w, ResizeBehaviour::refuse());
    EXPECT_FALSE(ax.set(w, Attr::size, Size{800, 600}));
    EXPECT_EQ(ax.frame(w), (Rect{10, 20, 300, 200}));
    EXPECT_TRUE(ax.set(w, Attr::position, Point{0, 0}));

    ws.setSettable(w, Attr::position, false);
    EXPECT_FALSE(ax.isSettable(w, Attr::position));
    EXPECT_FALSE(ax.set(w, Attr::position, Point{5, 5}));
    EXPECT_EQ(ax.frame(w)->origin(), (Point{0, 0}));
    EXPECT_FALSE(ax.isSettable(WindowHandle{424242, nullptr}, Attr::position));
}

}  // namespace
}  // namespace mavo

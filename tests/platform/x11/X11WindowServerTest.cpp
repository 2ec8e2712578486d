#include <signal.h>

#include <xcb/xcb_icccm.h>

#include "X11Fixture.h"
#include "platform/x11/X11WindowServer.h"
#include "windowaccess/AX.h"

namespace mavo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class X11WindowServerTest : public X11Fixture {
  protected:
    void SetUp() override {
        X11Fixture::SetUp();
        if (x11) server = std::make_unique<X11WindowServer>(*x11);
    }
    void TearDown() override {
        server.reset();
        X11Fixture::TearDown();
    }

    static WindowHandle handle(xcb_window_t window) { return WindowHandle{window, nullptr}; }

    std::vector<WindowHandle> windowsOf(pid_t pid) {
        auto value = server->applicationWindows(pid);
        if (!value) return {};
        return std::get<std::vector<WindowHandle>>(*value);
    }

    std::unique_ptr<X11WindowServer> server;
};

TEST_F(X11WindowServerTest, ListsAnApplicationsWindowsAndTellsStandardOnesApart) {
    auto plain = client({"--title", "plain", "--geometry", "400x300+50+50"});
    auto dialog = client({"--title", "dialog", "--type", "dialog"});
    auto untyped = client({"--title", "untyped", "--type", "none"});
    auto transient = client({"--title", "transient", "--type", "none", "--transient-for",
                             std::to_string(plain.window)});
    auto dock = client({"--kind", "dock", "--geometry", "1920x30+0+0"});
    auto anonymous = client({"--title", "anonymous", "--no-pid"});
    AX ax(*server);

    EXPECT_THAT(windowsOf(plain.pid), ElementsAre(handle(plain.window)));
    EXPECT_THAT(windowsOf(dock.pid), ElementsAre(handle(dock.window)));
    EXPECT_THAT(windowsOf(999999), IsEmpty());
    // Without _NET_WM_PID the server itself names the owning process.
    EXPECT_EQ(ax.pid(handle(anonymous.window)), anonymous.pid);
    EXPECT_THAT(windowsOf(anonymous.pid), ElementsAre(handle(anonymous.window)));
    EXPECT_EQ(ax.pid(handle(plain.window)), plain.pid);

    for (auto w : {plain, dialog, untyped, transient, dock}) {
        EXPECT_EQ(ax.string(handle(w.window), Attr::role), "AXWindow");
    }
    EXPECT_EQ(ax.string(handle(plain.window), Attr::subrole), "AXStandardWindow");
    EXPECT_EQ(ax.string(handle(untyped.window), Attr::subrole), "AXStandardWindow");
    EXPECT_EQ(ax.string(handle(dialog.window), Attr::subrole), "AXDialog");
    EXPECT_EQ(ax.string(handle(transient.window), Attr::subrole), "AXDialog");
    EXPECT_NE(ax.string(handle(dock.window), Attr::subrole), "AXStandardWindow");
    // The root window is no application's managed window.
    EXPECT_EQ(ax.string(handle(desktop->root()), Attr::role), std::nullopt);
}

TEST_F(X11WindowServerTest, FrameIsTheWindowManagersOuterFrame) {
    auto plain = client({"--geometry", "640x480+200+150"});
    AX ax(*server);
    auto frame = ax.frame(handle(plain.window));
    ASSERT_TRUE(frame);
    auto outer = desktop->frameWindowGeometry(plain.window);
    ASSERT_TRUE(outer);
    EXPECT_EQ(*frame, (Rect{double((*outer)[0]), double((*outer)[1]), double((*outer)[2]),
                            double((*outer)[3])}));
    // The decorations make the frame larger than the 640×480 the client asked for.
    EXPECT_GT(frame->width, 640);
    EXPECT_GT(frame->height, 480);
}

TEST_F(X11WindowServerTest, WritesLandBeforeTheReadBack) {
    auto plain = client({"--geometry", "640x480+200+150"});
    AX ax(*server);
    WindowHandle w = handle(plain.window);
    ASSERT_TRUE(ax.isSettable(w, Attr::position));
    ASSERT_TRUE(ax.isSettable(w, Attr::size));

    // Position, size, position, each read back at once, as the engine does.
    EXPECT_TRUE(ax.set(w, Attr::position, Point{10, 20}));
    EXPECT_EQ(ax.point(w, Attr::position), (Point{10, 20}));
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1000, 700}));
    EXPECT_EQ(ax.frame(w), (Rect{10, 20, 1000, 700}));
    EXPECT_TRUE(ax.set(w, Attr::position, Point{0, 0}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 0, 1000, 700}));
    // Writing what is already there returns at once and changes nothing.
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1000, 700}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 0, 1000, 700}));
}

}  // namespace
}  // namespace mavo::test

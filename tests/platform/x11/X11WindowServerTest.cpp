#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <xcb/xcb_icccm.h>

#include "X11Fixture.h"
#include "platform/x11/X11DisplaySource.h"
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

    // Position, size, position, each read back at once, as the engine does. Each write returns
    // as soon as the window manager acted, long before the (here generous) timeout.
    server->setGlobalMessagingTimeout(2.0);
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(ax.set(w, Attr::position, Point{10, 20}));
    EXPECT_EQ(ax.point(w, Attr::position), (Point{10, 20}));
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1000, 700}));
    EXPECT_EQ(ax.frame(w), (Rect{10, 20, 1000, 700}));
    EXPECT_TRUE(ax.set(w, Attr::position, Point{0, 0}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 0, 1000, 700}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    // Writing what is already there returns at once and changes nothing.
    EXPECT_TRUE(ax.set(w, Attr::size, Size{1000, 700}));
    EXPECT_EQ(ax.frame(w), (Rect{0, 0, 1000, 700}));
}

// Sends a client message about `window` to the root, as a pager or a user action would.
void sendToRoot(TestDesktop& desktop, xcb_window_t window, const char* type,
                std::vector<uint32_t> data) {
    xcb_connection_t* c = desktop.probe();
    auto* atom =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(strlen(type)), type), nullptr);
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom->atom;
    free(atom);
    for (size_t i = 0; i < data.size() && i < 5; ++i) message.data.data32[i] = data[i];
    xcb_send_event(c, 0, desktop.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(c);
}

xcb_atom_t atomNamed(TestDesktop& desktop, const char* name) {
    xcb_connection_t* c = desktop.probe();
    auto* reply =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(strlen(name)), name), nullptr);
    xcb_atom_t atom = reply->atom;
    free(reply);
    return atom;
}

TEST_F(X11WindowServerTest, ReadsTitleMinimizedAndFullScreenStates) {
    auto plain = client({"--title", "Résumé — draft × 2"});
    AX ax(*server);
    WindowHandle w = handle(plain.window);
    EXPECT_EQ(ax.string(w, Attr::title), "Résumé — draft × 2");
    EXPECT_FALSE(ax.boolean(w, Attr::minimized));
    EXPECT_FALSE(ax.boolean(w, Attr::fullScreen));
    // Both are real values, not failures folded into false.
    EXPECT_TRUE(server->copyAttribute(w, Attr::minimized));
    EXPECT_TRUE(server->copyAttribute(w, Attr::fullScreen));

    const uint32_t add = 1;
    sendToRoot(*desktop, plain.window, "_NET_WM_STATE",
               {add, atomNamed(*desktop, "_NET_WM_STATE_FULLSCREEN"), 0, 2});
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return ax.boolean(w, Attr::fullScreen); }));
    sendToRoot(*desktop, plain.window, "_NET_WM_STATE",
               {0, atomNamed(*desktop, "_NET_WM_STATE_FULLSCREEN"), 0, 2});
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return !ax.boolean(w, Attr::fullScreen); }));

    // Iconify the ICCCM way; the window manager marks it hidden.
    sendToRoot(*desktop, plain.window, "WM_CHANGE_STATE", {XCB_ICCCM_WM_STATE_ICONIC});
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return ax.boolean(w, Attr::minimized); }));
}

TEST_F(X11WindowServerTest, SizeOfAFixedSizeWindowIsNotSettable) {
    auto fixed = client({"--kind", "fixed", "--geometry", "300x200+100+100"});
    AX ax(*server);
    WindowHandle w = handle(fixed.window);
    EXPECT_TRUE(ax.isSettable(w, Attr::position));
    EXPECT_FALSE(ax.isSettable(w, Attr::size));
    EXPECT_FALSE(ax.isSettable(w, Attr::title));
}

TEST_F(X11WindowServerTest, LeavesTheWindowManagersMaximizedStateToResize) {
    auto plain = client({"--geometry", "640x480+200+150"});
    AX ax(*server);
    WindowHandle w = handle(plain.window);
    sendToRoot(*desktop, plain.window, "_NET_WM_STATE",
               {1, atomNamed(*desktop, "_NET_WM_STATE_MAXIMIZED_VERT"),
                atomNamed(*desktop, "_NET_WM_STATE_MAXIMIZED_HORZ"), 2});
    ASSERT_TRUE(TestDesktop::waitUntil([&] {
        auto f = ax.frame(w);
        return f && f->width == 1920;
    }));

    EXPECT_TRUE(ax.set(w, Attr::size, Size{900, 600}));
    EXPECT_TRUE(ax.set(w, Attr::position, Point{30, 40}));
    EXPECT_EQ(ax.frame(w), (Rect{30, 40, 900, 600}));
}

TEST_F(X11WindowServerTest, XtermSizesItselfInCharacterCells) {
    auto xterm = desktop->startXterm("cells", "80x24+100+100");
    ASSERT_TRUE(xterm);
    AX ax(*server);
    WindowHandle w = handle(xterm->window);
    auto before = ax.frame(w);
    ASSERT_TRUE(before);
    ASSERT_TRUE(ax.isSettable(w, Attr::size));

    xcb_size_hints_t hints{};
    ASSERT_TRUE(xcb_icccm_get_wm_normal_hints_reply(
        desktop->probe(), xcb_icccm_get_wm_normal_hints(desktop->probe(), xterm->window), &hints,
        nullptr));
    ASSERT_TRUE(hints.flags & XCB_ICCCM_SIZE_HINT_P_RESIZE_INC);
    ASSERT_GT(hints.width_inc, 1);
    ASSERT_GT(hints.height_inc, 1);

    Size asked{before->width + 5 * hints.width_inc + hints.width_inc / 2,
               before->height + 3 * hints.height_inc + hints.height_inc / 2};
    EXPECT_TRUE(ax.set(w, Attr::size, asked));
    auto after = ax.frame(w);
    ASSERT_TRUE(after);
    // Whole cells only: the half cell asked for is dropped.
    EXPECT_EQ(after->width, before->width + 5 * hints.width_inc);
    EXPECT_EQ(after->height, before->height + 3 * hints.height_inc);
}

TEST_F(X11WindowServerTest, AVanishedWindowHasNoValueAndPrintsNothing) {
    auto plain = client({"--geometry", "640x480+200+150"});
    WindowHandle w = handle(plain.window);
    AX ax(*server);
    ASSERT_TRUE(ax.frame(w));
    desktop->stop(plain.pid);
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return !desktop->isManaged(plain.window); }));

    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    for (auto attribute : {Attr::role, Attr::subrole, Attr::minimized, Attr::fullScreen,
                           Attr::position, Attr::size, Attr::title}) {
        EXPECT_FALSE(server->copyAttribute(w, attribute)) << attribute;
    }
    EXPECT_FALSE(ax.frame(w));
    EXPECT_FALSE(ax.set(w, Attr::position, Point{0, 0}));
    EXPECT_FALSE(ax.set(w, Attr::size, Size{800, 600}));
    EXPECT_FALSE(ax.isSettable(w, Attr::position));
    EXPECT_FALSE(ax.isSettable(w, Attr::size));
    EXPECT_FALSE(ax.pid(w));
    EXPECT_THAT(ax.windows(plain.pid), IsEmpty());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

// The project's misbehaving clients do what the end-to-end tests rely on.
TEST_F(X11WindowServerTest, OvershootingAndFightingClientsMisbehaveAsDesigned) {
    auto overshoot = client({"--kind", "overshoot", "--geometry", "400x300+0+0"});
    auto fighting =
        client({"--kind", "fighting", "--geometry", "400x300+600+0", "--fight-delay", "200"});
    AX ax(*server);
    WindowHandle o = handle(overshoot.window), f = handle(fighting.window);

    EXPECT_TRUE(ax.set(o, Attr::size, Size{800, 600}));
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        return ax.size(o, Attr::size) == Size{807, 607};
    })) << "overshooting client ended at "
        << ax.size(o, Attr::size)->width;

    auto original = ax.frame(f);
    ASSERT_TRUE(original);
    EXPECT_TRUE(ax.set(f, Attr::size, Size{900, 700}));
    EXPECT_EQ(ax.size(f, Attr::size), (Size{900, 700}));
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return ax.frame(f) == original; }));
}

// The engine writes on its queue while the main loop reads displays and dispatches events on
// the same connection.
TEST_F(X11WindowServerTest, EngineThreadWritesWhileTheMainThreadDispatches) {
    auto plain = client({"--geometry", "640x480+200+150"});
    X11DisplaySource displays(*x11);
    int changes = 0;
    displays.watchChanges([&] { ++changes; });
    std::atomic<bool> done{false};
    std::vector<Rect> wrong;
    std::thread engine([&] {
        AX ax(*server);
        WindowHandle w = handle(plain.window);
        for (int i = 0; i < 20; ++i) {
            Rect target{double(10 * i), double(5 * i), double(700 + 10 * i), double(500 + 5 * i)};
            ax.set(w, Attr::position, target.origin());
            ax.set(w, Attr::size, target.size());
            auto frame = ax.frame(w);
            if (frame != target) wrong.push_back(frame.value_or(Rect{}));
        }
        done = true;
    });
    pumpUntil(
        [&] {
            EXPECT_EQ(displays.screens().size(), 1u);
            return done.load();
        },
        30);
    engine.join();
    EXPECT_THAT(wrong, IsEmpty());
}

TEST_F(X11WindowServerTest, AServerThatGoesAwayLeavesOnlyEmptyAnswers) {
    auto plain = client({"--geometry", "640x480+200+150"});
    bool lost = false;
    x11->setConnectionLostHandler([&] { lost = true; });
    desktop->stopServer();
    EXPECT_TRUE(pumpUntil([&] { return lost; }));
    EXPECT_FALSE(x11->isAlive());
    AX ax(*server);
    WindowHandle w = handle(plain.window);
    EXPECT_FALSE(ax.frame(w));
    EXPECT_FALSE(ax.set(w, Attr::size, Size{800, 600}));
    EXPECT_FALSE(server->applicationWindows(plain.pid));
    EXPECT_TRUE(X11DisplaySource(*x11).screens().empty());
}

}  // namespace
}  // namespace mavo::test

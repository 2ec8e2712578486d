#include <xcb/xcb_icccm.h>

#include <atomic>
#include <thread>

#include "X11Fixture.h"
#include "platform/x11/X11DisplaySource.h"
#include "platform/x11/X11WindowList.h"

namespace mavo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using X11WindowServerTest = X11Fixture;

TEST(X11FrameGeometryTest, TheVisibleFrameLeavesOutShadowsAndWritesPutThemBack) {
    struct Row {
        const char* name;
        X11FrameGeometry g;
        Rect visible;
    };
    for (const auto& [name, g, visible] : {
             Row{"shadowed",
                 {{-26, -23, 1972, 1132}, 0, {}, {26, 26, 23, 29}, {}},
                 {0, 0, 1920, 1080}},
             Row{"everything, right monitor primary",
                 {{1930, 40, 800, 600}, 1, {2, 3, 20, 4}, {10, 12, 8, 14}, {1920, 0}},
                 {17, 27, 785, 604}},
         }) {
        SCOPED_TRACE(name);
        EXPECT_EQ(g.visible(), visible);
        // Writing the frame read gives back the client geometry it was read from.
        EXPECT_EQ(g.outerCornerFor(visible.origin()),
                  (Point{g.client.x - g.border - g.decorations.left,
                         g.client.y - g.border - g.decorations.top}));
        EXPECT_EQ(g.clientSizeFor(visible.size()), g.client.size());
    }
}

TEST_F(X11WindowServerTest, OwnersRolesSubrolesAndWhatIsSettable) {
    auto plain = client({"--title", "plain", "--geometry", "400x300+50+50"});
    auto dialog = client({"--title", "dialog", "--type", "dialog"});
    auto untyped = client({"--title", "untyped", "--type", "none"});
    auto transient = client({"--title", "transient", "--type", "none", "--transient-for",
                             std::to_string(plain.window)});
    auto dock = client({"--kind", "dock", "--class", "Panel", "--geometry", "1920x30+0+0"});
    auto anonymous = client({"--title", "anonymous", "--no-pid", "--class", "Anonymous"});
    auto fixed = client({"--kind", "fixed", "--geometry", "300x200+100+100"});

    // An application is its class, whichever process shows the window.
    for (pid_t pid : {plain.pid, fixed.pid})
        EXPECT_THAT(ax->windows(pid),
                    UnorderedElementsAre(win(plain.window), win(dialog.window), win(untyped.window),
                                         win(transient.window), win(fixed.window)));
    EXPECT_THAT(ax->windows(dock.pid), ElementsAre(win(dock.window)));
    EXPECT_THAT(ax->windows(999999), IsEmpty());
    EXPECT_EQ(ax->pid(win(plain.window)), plain.pid);
    // Without _NET_WM_PID the server itself names the owning process.
    EXPECT_EQ(ax->pid(win(anonymous.window)), anonymous.pid);
    EXPECT_THAT(ax->windows(anonymous.pid), ElementsAre(win(anonymous.window)));

    struct Row {
        TestDesktop::Client client;
        const char* subrole;
    };
    for (auto [c, subrole] :
         {Row{plain, "AXStandardWindow"}, Row{untyped, "AXStandardWindow"}, Row{dialog, "AXDialog"},
          Row{transient, "AXDialog"}, Row{dock, "AXSystemFloatingWindow"}}) {
        EXPECT_EQ(ax->string(win(c.window), Attr::role), "AXWindow") << subrole;
        EXPECT_EQ(ax->string(win(c.window), Attr::subrole), subrole);
    }
    EXPECT_EQ(ax->string(win(desktop->root()), Attr::role), std::nullopt);

    EXPECT_TRUE(ax->isSettable(win(plain.window), Attr::size));
    EXPECT_TRUE(ax->isSettable(win(fixed.window), Attr::position));
    EXPECT_FALSE(ax->isSettable(win(fixed.window), Attr::size));
}

TEST_F(X11WindowServerTest, FramesHaveDecorationsNotShadowsAndWritesLandBeforeTheReadBack) {
    auto plain = client({"--geometry", "640x480+200+150"});
    WindowHandle w = win(plain.window);
    auto frame = ax->frame(w);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame, outer(plain.window));  // the decorations included

    // Each write returns as soon as the window manager acted, long before the timeout, and
    // without asking it whether it handled the request: the question costs some window managers
    // a pretend management, which delays the very window being resized.
    xcb_connection_t* watcher = xcb_connect(desktop->display().c_str(), nullptr);
    uint32_t substructure = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(watcher, desktop->root(), XCB_CW_EVENT_MASK, &substructure);
    free(xcb_get_input_focus_reply(watcher, xcb_get_input_focus(watcher), nullptr));
    server->setGlobalMessagingTimeout(2.0);
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(ax->set(w, Attr::position, Point{10, 20}));
    EXPECT_TRUE(ax->set(w, Attr::size, Size{1000, 700}));
    EXPECT_EQ(ax->frame(w), (Rect{10, 20, 1000, 700}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    free(xcb_get_input_focus_reply(watcher, xcb_get_input_focus(watcher), nullptr));
    int questions = 0;
    while (xcb_generic_event_t* e = xcb_poll_for_queued_event(watcher)) {
        auto* message = reinterpret_cast<xcb_client_message_event_t*>(e);
        questions += (e->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
                     message->type == desktop->atom("_NET_REQUEST_FRAME_EXTENTS");
        free(e);
    }
    xcb_disconnect(watcher);
    EXPECT_EQ(questions, 0);
    EXPECT_TRUE(ax->set(w, Attr::size, Size{1000, 700}));  // already there: nothing changes
    EXPECT_EQ(outer(plain.window), (Rect{10, 20, 1000, 700}));

    // Shadows an application paints inside its window for its own decorations are no part of
    // the frame, read or written, nor of the on-screen list.
    auto shadowed = client({"--geometry", "640x480+200+150"});
    desktop->setProperty(shadowed.window, "_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {10, 12, 8, 14});
    WindowHandle s = win(shadowed.window);
    auto o = outer(shadowed.window);
    ASSERT_TRUE(o);
    EXPECT_EQ(ax->frame(s), (Rect{o->x + 10, o->y + 8, o->width - 22, o->height - 22}));
    EXPECT_TRUE(ax->set(s, Attr::position, Point{100, 100}));
    EXPECT_TRUE(ax->set(s, Attr::size, Size{960, 700}));
    EXPECT_EQ(ax->frame(s), (Rect{100, 100, 960, 700}));
    EXPECT_EQ(outer(shadowed.window), (Rect{90, 92, 982, 722}));
    auto listed = X11WindowList(*x11).onScreenWindows().value_or(std::vector<WindowListEntry>{});
    EXPECT_EQ(std::ranges::count(listed, Rect{100, 100, 960, 700}, &WindowListEntry::bounds), 1);

    // The window manager's own maximized state is left so that the size can change.
    desktop->sendClientMessage(plain.window, "_NET_WM_STATE",
                               {1, desktop->atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                                desktop->atom("_NET_WM_STATE_MAXIMIZED_HORZ")});
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return ax->frame(w)->width == 1920; }));
    EXPECT_TRUE(ax->set(w, Attr::size, Size{900, 600}));
    EXPECT_TRUE(ax->set(w, Attr::position, Point{30, 40}));
    EXPECT_EQ(ax->frame(w), (Rect{30, 40, 900, 600}));

    // The engine writes on its queue while the main loop reads displays on the same connection.
    X11DisplaySource displays(*x11);
    displays.watchChanges([] {});
    std::atomic<bool> done{false};
    std::vector<Rect> wrong;
    std::thread engine([&] {
        for (int i = 0; i < 20; ++i) {
            Rect target{10.0 * i, 5.0 * i, 700.0 + 10 * i, 500.0 + 5 * i};
            ax->set(w, Attr::position, target.origin());
            ax->set(w, Attr::size, target.size());
            if (auto f = ax->frame(w); f != target) wrong.push_back(f.value_or(Rect{}));
        }
        done = true;
    });
    pumpUntil([&] { return displays.screens().size() != 1 || done; }, 30);
    engine.join();
    EXPECT_EQ(displays.screens().size(), 1u);
    EXPECT_THAT(wrong, IsEmpty());
}

TEST_F(X11WindowServerTest, TitleStatesAndTheOnScreenList) {
    X11WindowList list(*x11);
    auto older = client({"--title", "Résumé — draft × 2", "--geometry", "500x400+100+100"});
    auto newer = client({"--geometry", "600x300+700+200"});
    auto panel = client({"--kind", "dock", "--geometry", "1920x30+0+0"});
    auto windows = list.onScreenWindows();
    ASSERT_TRUE(windows);
    auto at = [&](pid_t pid) {
        return std::ranges::find(*windows, pid, &WindowListEntry::ownerPID);
    };
    ASSERT_NE(at(older.pid), windows->end());
    EXPECT_LT(at(newer.pid), at(older.pid)) << "front to back";
    EXPECT_EQ(at(newer.pid)->layer, 0);
    EXPECT_EQ(at(newer.pid)->bounds, ax->frame(win(newer.window)));
    ASSERT_NE(at(panel.pid), windows->end());
    EXPECT_NE(at(panel.pid)->layer, 0);

    WindowHandle w = win(older.window);
    EXPECT_EQ(ax->string(w, Attr::title), "Résumé — draft × 2");
    // Real values, not failures folded into false.
    EXPECT_EQ(ax->copyAttribute(w, Attr::minimized), AttributeValue{false});
    EXPECT_EQ(ax->copyAttribute(w, Attr::fullScreen), AttributeValue{false});
    desktop->sendClientMessage(older.window, "_NET_WM_STATE",
                               {1, desktop->atom("_NET_WM_STATE_FULLSCREEN")});
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return ax->boolean(w, Attr::fullScreen); }));
    desktop->sendClientMessage(older.window, "WM_CHANGE_STATE", {XCB_ICCCM_WM_STATE_ICONIC});
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        windows = list.onScreenWindows();
        return windows && at(older.pid) == windows->end();
    }));
}

// A tick reads every window's facts; in steady state that must cost the server nothing, and
// whatever changed since (the application's title, the user's move of the frame, which the
// client itself is not told of, a resize, iconifying) must still be seen.
TEST_F(X11WindowServerTest, ReadsAskTheServerOnlyAfterAnEventSaysSomethingChanged) {
    auto a = client({"--title", "first", "--geometry", "500x400+100+100", "--extra-windows", "2"});
    auto b = client({"--class", "Other", "--geometry", "300x200+700+200"});
    auto requestsOf = [&](const std::function<void()>& read) {
        auto before = xcb_no_operation(x11->xcb()).sequence;
        read();
        return xcb_no_operation(x11->xcb()).sequence - before - 1;
    };
    auto tick = [&] {
        for (pid_t pid : {a.pid, b.pid})
            for (const WindowHandle& w : ax->windows(pid)) ax->facts(w);
    };
    ASSERT_EQ(ax->windows(a.pid).size(), 3u);
    tick();
    EXPECT_EQ(requestsOf(tick), 0u);

    WindowHandle w = win(a.window);
    auto before = outer(a.window);
    std::string id = std::to_string(a.window);
    ASSERT_TRUE(desktop->xdotool("set_window --name renamed " + id));
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return ax->string(w, Attr::title) == "renamed"; }));
    EXPECT_LT(requestsOf(tick), 40u) << "one burst for the changed window, not one per window";
    EXPECT_EQ(requestsOf(tick), 0u);
    ASSERT_TRUE(desktop->xdotool("windowmove " + id + " 300 250 windowsize " + id + " 640 480"));
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        auto f = ax->frame(w);
        return f && f != before && f == outer(a.window) && f->origin() == Point{300, 250};
    })) << ::testing::PrintToString(ax->frame(w));
    ASSERT_TRUE(desktop->xdotool("windowminimize " + id));
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return ax->boolean(w, Attr::minimized); }));
}

TEST_F(X11WindowServerTest, VanishedWindowsAreSilentAndALostServerLeavesEmptyAnswers) {
    auto gone = client({"--geometry", "640x480+200+150"});
    auto unread = client({"--geometry", "640x480+250+150"});  // gone before it was ever read
    auto plain = client({"--geometry", "640x480+300+150"});
    WindowHandle w = win(gone.window);
    ASSERT_TRUE(ax->frame(w));
    desktop->stop(gone.pid);
    desktop->stop(unread.pid);
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return !desktop->isManaged(gone.window); }));
    EXPECT_FALSE(ax->facts(win(unread.window)));

    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    for (auto attribute : {Attr::role, Attr::subrole, Attr::minimized, Attr::fullScreen,
                           Attr::position, Attr::size, Attr::title})
        EXPECT_FALSE(ax->copyAttribute(w, attribute)) << attribute;
    EXPECT_FALSE(ax->frame(w));
    EXPECT_FALSE(ax->set(w, Attr::size, Size{800, 600}));
    EXPECT_FALSE(ax->isSettable(w, Attr::size));
    EXPECT_FALSE(ax->pid(w));
    EXPECT_THAT(ax->windows(gone.pid), IsEmpty());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");

    bool lost = false;
    x11->setConnectionLostHandler([&] { lost = true; });
    desktop->stopServer();
    EXPECT_TRUE(pumpUntil([&] { return lost; }));
    EXPECT_FALSE(x11->isAlive());
    EXPECT_FALSE(ax->frame(win(plain.window)));
    EXPECT_FALSE(ax->set(win(plain.window), Attr::size, Size{800, 600}));
    EXPECT_FALSE(server->applicationWindows(plain.pid));
    EXPECT_TRUE(X11DisplaySource(*x11).screens().empty());
}

}  // namespace
}  // namespace mavo::test

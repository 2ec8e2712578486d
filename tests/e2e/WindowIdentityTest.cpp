// Windows as people see them: a GTK header-bar window under a compositing window manager is
// measured and filled by its visible frame, not by the invisible shadows around it; and windows
// of one application shown by several processes keep a remembered frame each.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

class WindowIdentityTest : public E2ETest {
  protected:
    // xfwm4 with its compositor: GTK draws its shadows only under a compositing manager. xfwm4
    // reads its settings over a session bus, so the desktop gets a bus of its own.
    bool startCompositingDesktop() {
        if (!start({.windowManager = TestDesktop::WindowManager::none}, false)) return false;
        auto socket = path("run/bus");
        busEnv = {"DBUS_SESSION_BUS_ADDRESS=unix:path=" + socket.string(), "NO_AT_BRIDGE=1"};
        desktop->spawn(
            {"dbus-daemon", "--session", "--nofork", "--address=unix:path=" + socket.string()});
        if (!TestDesktop::waitUntil([&] { return std::filesystem::exists(socket); })) return false;
        windowManager = desktop->spawn({"xfwm4", "--compositor=on"}, busEnv);
        auto ready = [&] {
            auto wm = desktop->property(desktop->root(), "_NET_SUPPORTING_WM_CHECK");
            xcb_connection_t* c = desktop->connection();
            auto owner = xcb_get_selection_owner_reply(
                c, xcb_get_selection_owner(c, desktop->atom("_NET_WM_CM_S0")), nullptr);
            bool compositing = owner && owner->owner != XCB_WINDOW_NONE;
            free(owner);
            return compositing && !wm.empty() &&
                   desktop->property(wm[0], "_NET_SUPPORTING_WM_CHECK") == wm;
        };
        return TestDesktop::waitUntil(ready, 20);
    }

    std::vector<std::string> busEnv;
    pid_t windowManager = 0;
};

TEST_F(WindowIdentityTest, HeaderBarWindowFillsTheScreenEdgeToEdgeAndKeepsItsSnappedHalf) {
    ASSERT_TRUE(startCompositingDesktop());
    desktop->spawn({"gtk3-demo"}, busEnv);
    auto gtk = managedWindowOf("Gtk3-demo");
    ASSERT_TRUE(gtk);
    auto shadows = desktop->property(*gtk, "_GTK_FRAME_EXTENTS");
    ASSERT_EQ(shadows.size(), 4u);
    ASSERT_GT(shadows[0], 0u) << "no client-side shadows: is the compositor on?";
    ASSERT_TRUE(startMavo());

    EXPECT_TRUE(syncUntil([&] { return visibleFrame(*gtk) == kScreen; }))
        << visibleFrame(*gtk) << " X frame " << desktop->frame(*gtk);
    EXPECT_TRUE(diagHas("achieved=(0.0,0.0 1920.0×1080.0) Δw=0.0 Δh=0.0"));

    // The window manager's own tiling, from the keyboard: the left half, shadows and all.
    const Frame leftHalf{0, 0, 960, 1080};
    ASSERT_TRUE(
        desktop->xdotool("windowactivate --sync " + std::to_string(*gtk) + " key super+KP_Left"));
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return visibleFrame(*gtk) == leftHalf; }))
        << visibleFrame(*gtk);
    for (int i = 0; i < 4; ++i) sync();
    EXPECT_EQ(visibleFrame(*gtk), leftHalf);
    EXPECT_TRUE(diagHas("userArranged(zone) frame=(0.0,0.0 960.0×1080.0)"));
}

// As when many applications map many windows at once: the window manager acts on Mavo's writes
// only after the messaging timeout. The frame it had not changed yet is not the application's
// answer.
TEST_F(WindowIdentityTest, AWindowManagerTooBusyToActIsNotTakenForTheApplicationsSizing) {
    ASSERT_TRUE(startCompositingDesktop());
    Client plain = client("e2e-busy", "500x400+100+100");
    kill(windowManager, SIGSTOP);
    ASSERT_TRUE(startMavo());
    sync();
    sync();
    kill(windowManager, SIGCONT);
    EXPECT_TRUE(becomes(plain, kScreen));
    EXPECT_FALSE(diagHas("learned cell-snap app"));
}

TEST_F(WindowIdentityTest, TwoXtermsKeepTheirOwnRememberedFramesAcrossARestart) {
    ASSERT_TRUE(start());
    auto first = desktop->startXterm("e2e-first", "80x24+100+100");
    auto second = desktop->startXterm("e2e-second", "80x24+300+200");
    ASSERT_TRUE(first && second);
    auto fills = [&](const Client& c) {
        auto f = frameOf(c);
        return f && f->x == 0 && f->y == 0 && f->width > 1900 && f->height > 1050;
    };
    ASSERT_TRUE(syncUntil([&] { return fills(*first) && fills(*second); }));

    // Each resized by hand from its bottom-right grip, the one on top first.
    for (auto [c, dx, dy] : {std::tuple{*second, -700, -400}, {*first, -300, -150}}) {
        auto f = frameOf(c);
        ASSERT_TRUE(f);
        ASSERT_TRUE(desktop->drag(f->x + f->width - 2, f->y + f->height - 2, dx, dy));
        sync();
        sync();
    }
    auto firstFrame = frameOf(*first), secondFrame = frameOf(*second);
    ASSERT_NE(firstFrame, secondFrame);
    for (int i = 0; i < 3; ++i) sync();
    ASSERT_EQ(frameOf(*first), firstFrame);
    ASSERT_EQ(frameOf(*second), secondFrame);
    expectOrderlyExit();
    auto records = readJson(path("data/Mavo/placements.json"))["records"];
    std::vector<std::string> keys;
    for (const auto& [key, record] : records.items()) keys.push_back(key);
    EXPECT_EQ(keys.size(), 2u) << records;
    for (const char* title : {"|XTerm|e2e-first", "|XTerm|e2e-second"})
        EXPECT_EQ(std::ranges::count_if(keys, [&](auto& k) { return k.ends_with(title); }), 1)
            << title << " in " << records;

    // Moved while Mavo is away; the next Mavo gives each its own frame back.
    for (const Client& c : {*first, *second}) {
        auto id = std::to_string(c.window);
        ASSERT_TRUE(
            desktop->xdotool("windowsize " + id + " 500 400 windowmove " + id + " 600 300"));
    }
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(*first) != firstFrame; }));
    ASSERT_TRUE(startMavo());
    EXPECT_TRUE(syncUntil([&] {
        return frameOf(*first) == firstFrame && frameOf(*second) == secondFrame;
    })) << frameOf(*first)
        << frameOf(*second);
}

}  // namespace
}  // namespace mavo::e2e

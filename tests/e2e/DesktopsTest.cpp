// Window managers as Debian ships them: on each, windows (our own, xterm and a GTK 3 header-bar
// application) fill the area that the window manager's own maximize gives, wherever its panel or
// toolbar reserves space. Under a compositing one GTK draws shadows inside
// its X window, and what must fill the area is the window without them.

#include <algorithm>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

struct Desktop {
    const char* name;
    WM windowManager;
    bool panel;  // the desktop's own panel
    bool dock;   // a panel of our own, 40 px at the top
    bool compositing;
};

void PrintTo(const Desktop& d, std::ostream* os) {
    *os << d.name;
}

class DesktopsTest : public E2ETest, public ::testing::WithParamInterface<Desktop> {
  protected:
    // The part of the screen where the window manager puts a window it is asked to maximize (some
    // push the frame's borders past the screen's edges), the window gone again.
    std::optional<Frame> wmMaximized() {
        Client c = client("e2e-reference", "400x300+500+500");
        auto before = frameOf(c);
        desktop->sendClientMessage(c.window, "_NET_WM_STATE",
                                   {1, desktop->atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                                    desktop->atom("_NET_WM_STATE_MAXIMIZED_HORZ"), 1});
        std::optional<Frame> after;
        bool moved = TestDesktop::waitUntil([&] {
            after = frameOf(c);
            return after && after != before && after->width > 1000 && after->height > 500;
        });
        // Window managers handle requests in order: once a window mapped after the message is
        // managed, the maximize is complete (xfwm4 passes through a wider frame on its way).
        Client barrier = client("e2e-barrier", "100x100+0+0");
        after = frameOf(c);
        for (const Client& gone : {c, barrier}) {
            desktop->stop(gone.pid);
            TestDesktop::waitUntil([&] { return !desktop->isManaged(gone.window); });
        }
        if (!moved) return std::nullopt;
        int right = std::min(after->x + after->width, kScreen.width);
        int bottom = std::min(after->y + after->height, kScreen.height);
        after->x = std::max(after->x, 0), after->y = std::max(after->y, 0);
        return Frame{after->x, after->y, right - after->x, bottom - after->y};
    }
    // The X frame less the shadows the application draws inside it.
    std::optional<Frame> visibleFrame(xcb_window_t w) {
        auto f = desktop->frame(w);
        auto e = desktop->property(w, "_GTK_FRAME_EXTENTS");
        if (!f || e.size() != 4) return f;
        return Frame{f->x + int(e[0]), f->y + int(e[2]), f->width - int(e[0] + e[1]),
                     f->height - int(e[2] + e[3])};
    }
};

// xterm sizes itself in character cells: it may miss the area by less than one cell.
bool fillsByCells(const std::optional<Frame>& f, Frame area) {
    return f && f->x == area.x && f->y == area.y && f->width <= area.width &&
           f->width > area.width - 20 && f->height <= area.height && f->height > area.height - 30;
}

TEST_P(DesktopsTest, WindowsFillTheAreaTheWindowManagerMaximizesTo) {
    const Desktop& d = GetParam();
    ASSERT_TRUE(start(
        {.windowManager = d.windowManager, .panel = d.panel, .compositor = d.compositing}, false))
        << desktop->failure();
    if (d.dock) client("e2e-dock", "1920x40+0+0", {"--kind", "dock"});
    auto usable = wmMaximized();
    ASSERT_TRUE(usable);
    // Every desktop here reserves some space; a frame of the whole screen would prove nothing.
    ASSERT_NE(*usable, kScreen);

    ASSERT_TRUE(startMavo());
    Client plain = client("e2e-plain", "500x400+300+200");
    // A GTK 3 header-bar application, on the desktop's bus if there is one.
    std::vector<std::string> bus;
    if (!desktop->sessionBus().empty()) bus = {"DBUS_SESSION_BUS_ADDRESS=" + desktop->sessionBus()};
    auto gtk = desktop->startApplication({"gtk3-demo"}, "Gtk3-demo", bus);
    ASSERT_TRUE(gtk);
    auto shadows = desktop->property(gtk->window, "_GTK_FRAME_EXTENTS");
    if (d.compositing) {
        ASSERT_TRUE(shadows.size() == 4 && shadows[0] > 0) << "no shadows";
    }
    auto term = desktop->startApplication(
        {"xterm", "-geometry", "80x24+150+120", "-e", "sleep", "600"}, "XTerm");
    ASSERT_TRUE(term);
    EXPECT_TRUE(syncUntil([&] {
        return frameOf(plain) == usable && fillsByCells(frameOf(*term), *usable) &&
               visibleFrame(gtk->window) == usable;
    })) << *usable
        << frameOf(plain) << frameOf(*term) << visibleFrame(gtk->window);
    // Windows coming and going rewrite the work area on some of these: that changes no display.
    EXPECT_FALSE(diagHas("display reconfigure"));
}

INSTANTIATE_TEST_SUITE_P(
    Debian, DesktopsTest,
    ::testing::Values(Desktop{"OpenboxWithDock", WM::openbox, false, true, false},
                      Desktop{"Xfwm4WithXfcePanel", WM::xfwm4, true, false, true},
                      Desktop{"MarcoWithDock", WM::marco, false, true, false},
                      Desktop{"MutterWithDock", WM::mutter, false, true, true},
                      Desktop{"FluxboxWithItsToolbar", WM::fluxbox, false, false, false}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace mavo::e2e

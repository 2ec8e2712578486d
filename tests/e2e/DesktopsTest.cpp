// Other window managers than Openbox, as Debian ships them: on each, windows (our own, xterm and a
// GTK 3 header-bar application) fill the area that the window manager's own maximize gives,
// wherever its panel or toolbar reserves space. Under a compositing one GTK draws shadows inside
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
        desktop->stop(c.pid);
        TestDesktop::waitUntil([&] { return !desktop->isManaged(c.window); });
        if (!moved) return std::nullopt;
        int right = std::min(after->x + after->width, kScreen.width);
        int bottom = std::min(after->y + after->height, kScreen.height);
        after->x = std::max(after->x, 0), after->y = std::max(after->y, 0);
        return Frame{after->x, after->y, right - after->x, bottom - after->y};
    }
};

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
    auto gtk = startGtkDemo();
    ASSERT_TRUE(gtk);
    auto shadows = desktop->property(*gtk, "_GTK_FRAME_EXTENTS");
    if (d.compositing) {
        ASSERT_TRUE(shadows.size() == 4 && shadows[0] > 0) << "no shadows";
    }
    auto term = desktop->startXterm("e2e-term", "80x24+150+120");
    ASSERT_TRUE(term);
    EXPECT_TRUE(syncUntil([&] {
        return frameOf(plain) == usable && fillsByCells(frameOf(*term), *usable) &&
               visibleFrame(*gtk) == usable;
    })) << *usable
        << frameOf(plain) << frameOf(*term) << visibleFrame(*gtk);
    // Windows coming and going rewrite the work area on some of these: that changes no display.
    EXPECT_FALSE(diagHas("display reconfigure"));
}

INSTANTIATE_TEST_SUITE_P(
    Debian, DesktopsTest,
    ::testing::Values(Desktop{"Xfwm4WithXfcePanel", WM::xfwm4, true, false, true},
                      Desktop{"MarcoWithDock", WM::marco, false, true, false},
                      Desktop{"MutterWithDock", WM::mutter, false, true, true},
                      Desktop{"FluxboxWithItsToolbar", WM::fluxbox, false, false, false}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace mavo::e2e

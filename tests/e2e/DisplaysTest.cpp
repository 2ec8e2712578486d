// The usable area of each monitor: panels' struts, several monitors, monitors that come and go.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

class DisplaysTest : public E2ETest {
  protected:
    // Ticks until the observe-only period after a display change is over and `condition` holds.
    bool settled(const std::function<bool()>& condition) {
        return TestDesktop::waitUntil([&] { return sync().answered && condition(); }, 8);
    }
};

TEST_F(DisplaysTest, PanelStrutsShrinkTheVisibleFrameAndALatePanelIsAReconfiguration) {
    ASSERT_TRUE(start({}, false));
    Client panel = client("e2e-panel", "1920x30+0+0", {"--kind", "dock"});
    auto workArea = [&] { return desktop->property(desktop->root(), "_NET_WORKAREA"); };
    ASSERT_TRUE(
        TestDesktop::waitUntil([&] { return workArea().size() >= 4 && workArea()[1] == 30; }));
    ASSERT_TRUE(startMavo());
    // Screens are listed bottom-left up: the panel at the top takes 30 from the visible height.
    EXPECT_EQ(diag().substr(0, diag().find('\n')),
              "screen[0] frame=(0.0, 0.0, 1920.0, 1080.0) visible=(0.0, 0.0, 1920.0, 1050.0) "
              "scale=1.0");
    Client w = client("e2e-under-panel", "600x400+100+300");
    EXPECT_TRUE(becomes(w, {0, 30, 1920, 1050}));

    // A taller panel arrives: after the observe-only period the window makes room for it.
    Client late = client("e2e-late-panel", "1920x60+0+0", {"--kind", "dock"});
    ASSERT_TRUE(diagShows("display reconfigure — observe-only for 1.2s"));
    EXPECT_TRUE(settled([&] { return frameOf(w) == Frame{0, 60, 1920, 1020}; })) << frameOf(w);
    EXPECT_TRUE(diagHas("config settled — re-adopting"));
    // Panels are not application windows: never moved.
    EXPECT_EQ(frameOf(panel), (Frame{0, 0, 1920, 30}));
    EXPECT_EQ(frameOf(late), (Frame{0, 0, 1920, 60}));
}

TEST_F(DisplaysTest, WindowsFillTheirOwnMonitorAndAreReadoptedAfterOneIsUnplugged) {
    ASSERT_TRUE(start(
        {3840, 1080, {{"A", 1920, 1080, 0, 0, 508, 286}, {"B", 1920, 1080, 1920, 0, 508, 286}}}));
    Client left = client("e2e-on-a", "600x400+200+200");
    Client right = client("e2e-on-b", "600x400+2400+300");
    const Frame a = kScreen, b{1920, 0, 1920, 1080};
    EXPECT_TRUE(syncUntil([&] { return frameOf(left) == a && frameOf(right) == b; }))
        << frameOf(left) << frameOf(right);
    EXPECT_EQ(diagCount("screen["), 2);

    // A hot-plug: the monitor goes, then the screen shrinks, which is what a real unplug sends.
    ASSERT_EQ(desktop->run({"xrandr", "--delmonitor", "B"}), 0);
    ASSERT_EQ(desktop->run({"xrandr", "--fb", "1920x1080"}), 0);
    ASSERT_TRUE(diagShows("display reconfigure — observe-only for 1.2s"));
    sync();  // nothing is judged while displays settle
    EXPECT_FALSE(diagHas("config settled"));
    // Then the period ends, and the window the window manager moved to A fills A.
    EXPECT_TRUE(settled([&] {
        return diagHas("config settled — re-adopting 2 windows") && frameOf(right) == a;
    })) << frameOf(right);
    EXPECT_EQ(frameOf(left), a);
}

}  // namespace
}  // namespace mavo::e2e

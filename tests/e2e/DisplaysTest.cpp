// Several monitors, and a monitor that goes away.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using DisplaysTest = E2ETest;

TEST_F(DisplaysTest, WindowsFillTheirOwnMonitorAndAreReadoptedAfterOneIsUnplugged) {
    ASSERT_TRUE(start(
        {3840, 1080, {{"A", 1920, 1080, 0, 0, 508, 286}, {"B", 1920, 1080, 1920, 0, 508, 286}}}));
    Client left = client("e2e-on-a", "600x400+200+200");
    Client right = client("e2e-on-b", "600x400+2400+300");
    const Frame a = kScreen, b{1920, 0, 1920, 1080};
    EXPECT_TRUE(syncUntil([&] { return frameOf(left) == a && frameOf(right) == b; }))
        << frameOf(left) << frameOf(right);

    // A hot-plug: the monitor goes, then the screen shrinks, which is what a real unplug sends.
    ASSERT_EQ(desktop->run({"xrandr", "--delmonitor", "B"}), 0);
    ASSERT_EQ(desktop->run({"xrandr", "--fb", "1920x1080"}), 0);
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return diagHas("display reconfigure"); }));
    // Once the observe-only period is over, the window the window manager moved to A fills A.
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return sync().answered && frameOf(right) == a; }, 8))
        << frameOf(right);
    EXPECT_EQ(frameOf(left), a);
}

}  // namespace
}  // namespace mavo::e2e

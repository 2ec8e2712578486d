// The usable area of each monitor: panels' struts, several monitors, monitors that come and go.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using DisplaysTest = E2ETest;

TEST_F(DisplaysTest, PanelStrutShrinksTheVisibleFrameAndWindowsFillTheRest) {
    startDesktop();
    auto panel = desktop->startClient(
        {"--kind", "dock", "--title", "e2e-panel", "--geometry", "1920x30+0+0"});
    ASSERT_TRUE(panel);
    ASSERT_TRUE(Desktop::waitUntil([&] {
        return desktop->property(desktop->root(), "_NET_WORKAREA").size() >= 4 &&
               desktop->property(desktop->root(), "_NET_WORKAREA")[1] == 30;
    }));
    startMavo();
    // Screens are listed bottom-left up: the panel at the top takes 30 from the visible height.
    auto lines = desktop->diagLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0],
              "screen[0] frame=(0.0, 0.0, 1920.0, 1080.0) visible=(0.0, 0.0, 1920.0, 1050.0) "
              "scale=1.0");

    auto w = desktop->startClient({"--title", "e2e-under-panel", "--geometry", "600x400+100+300"});
    ASSERT_TRUE(w);
    const Frame rest{0, 30, 1920, 1050};
    EXPECT_TRUE(syncUntil([&] { return desktop->frame(w->window) == rest; }))
        << *desktop->frame(w->window);
    // The panel itself is no application window: never moved.
    EXPECT_EQ(desktop->frame(panel->window), (Frame{0, 0, 1920, 30}));
    expectSurvivesAndExitsCleanly();
}

TEST_F(DisplaysTest, PanelAppearingLaterIsAReconfigurationAndWindowsMakeRoomForIt) {
    startDesktop();
    startMavo();
    auto w = desktop->startClient({"--title", "e2e-roomy", "--geometry", "600x400+100+300"});
    ASSERT_TRUE(w);
    ASSERT_TRUE(syncUntil([&] { return desktop->frame(w->window) == (Frame{0, 0, 1920, 1080}); }));

    auto panel = desktop->startClient(
        {"--kind", "dock", "--title", "e2e-late-panel", "--geometry", "1920x40+0+0"});
    ASSERT_TRUE(panel);
    ASSERT_TRUE(Desktop::waitUntil(
        [&] { return desktop->diagHas("display reconfigure — observe-only for 1.2s"); }));
    // After the settling period the window is brought to the smaller area.
    EXPECT_TRUE(Desktop::waitUntil(
        [&] {
            desktop->sync();
            return desktop->frame(w->window) == (Frame{0, 40, 1920, 1040});
        },
        8))
        << *desktop->frame(w->window);
    EXPECT_TRUE(desktop->diagHas("config settled — re-adopting"));
    expectSurvivesAndExitsCleanly();
}

Desktop::Options twoMonitors() {
    Desktop::Options o;
    o.width = 3840;
    o.height = 1080;
    o.monitors = {{"A", 1920, 1080, 0, 0, 508, 286}, {"B", 1920, 1080, 1920, 0, 508, 286}};
    return o;
}

TEST_F(DisplaysTest, WindowIsMaximizedOntoTheMonitorItIsOn) {
    startDesktop(twoMonitors());
    startMavo();
    auto left = desktop->startClient({"--title", "e2e-on-a", "--geometry", "600x400+200+200"});
    auto right = desktop->startClient({"--title", "e2e-on-b", "--geometry", "600x400+2400+300"});
    ASSERT_TRUE(left && right);
    const Frame a{0, 0, 1920, 1080}, b{1920, 0, 1920, 1080};
    EXPECT_TRUE(syncUntil([&] {
        return desktop->frame(left->window) == a && desktop->frame(right->window) == b;
    })) << *desktop->frame(left->window)
        << " " << *desktop->frame(right->window);
    EXPECT_EQ(desktop->diagCount("screen["), 2);
    expectSurvivesAndExitsCleanly();
}

TEST_F(DisplaysTest, UnpluggedMonitorStartsTheObservePeriodThenWindowsAreReadopted) {
    startDesktop(twoMonitors());
    startMavo();
    auto right = desktop->startClient({"--title", "e2e-leaving", "--geometry", "600x400+2400+300"});
    ASSERT_TRUE(right);
    ASSERT_TRUE(syncUntil([&] {
        return desktop->frame(right->window) == (Frame{1920, 0, 1920, 1080});
    }));

    // A hot-plug: the monitor goes, then the screen shrinks, which is what a real unplug sends.
    ASSERT_EQ(desktop->run({"xrandr", "--delmonitor", "B"}), 0);
    ASSERT_EQ(desktop->run({"xrandr", "--fb", "1920x1080"}), 0);
    ASSERT_TRUE(Desktop::waitUntil(
        [&] { return desktop->diagHas("display reconfigure — observe-only for 1.2s"); }));
    // Nothing is judged while displays settle.
    desktop->sync();
    EXPECT_FALSE(desktop->diagHas("config settled"));

    // Then the period ends and the window that the window manager moved to A fills A.
    const Frame a{0, 0, 1920, 1080};
    EXPECT_TRUE(Desktop::waitUntil(
        [&] {
            desktop->sync();
            return desktop->diagHas("config settled — re-adopting 1 windows") &&
                   desktop->frame(right->window) == a;
        },
        8))
        << *desktop->frame(right->window);
    expectSurvivesAndExitsCleanly();
}

}  // namespace
}  // namespace mavo::e2e

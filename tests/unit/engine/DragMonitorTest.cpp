// The mouse and keyboard questions the engine asks before it touches a window.

#include "engine/DragMonitor.h"

#include <gtest/gtest.h>

#include "fakes/FakeClock.h"
#include "fakes/FakeInputSource.h"

namespace mavo::test {
namespace {

TEST(DragMonitorTest, PressAndDragAreRecentForTheWholeWindowEvenAfterRelease) {
    FakeClock clock;  // uptime 1000 s
    DragMonitor monitor{clock};
    FakeInputSource input{clock};
    EXPECT_FALSE(monitor.recentlyDragged(1.2));
    EXPECT_FALSE(monitor.recentlyKeyed(2.0));      // no source at all
    EXPECT_TRUE(monitor.recentlyDragged(1000.0));  // measured from an uptime of 0
    monitor.start(input);
    EXPECT_FALSE(monitor.recentlyKeyed(2.0));
    input.press();
    EXPECT_TRUE(monitor.isMouseDown());
    clock.advance(1.0);
    input.drag();
    input.release();
    input.keyPress();
    EXPECT_FALSE(monitor.isMouseDown());
    clock.advance(1.25);
    EXPECT_TRUE(monitor.recentlyDragged(1.25));  // inclusive
    EXPECT_FALSE(monitor.recentlyKeyed(1.2));
    EXPECT_TRUE(monitor.recentlyKeyed(1.25));
    clock.advance(0.25);
    EXPECT_FALSE(monitor.recentlyDragged(1.25));
    EXPECT_TRUE(monitor.recentlyDragged(2.0));
}

}  // namespace
}  // namespace mavo::test

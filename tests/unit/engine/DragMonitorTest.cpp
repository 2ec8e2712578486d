// The mouse and keyboard questions the engine asks before it touches a window.

#include "engine/DragMonitor.h"

#include <gtest/gtest.h>

#include "fakes/FakeClock.h"
#include "fakes/FakeInputSource.h"

namespace mavo::test {
namespace {

struct DragMonitorTest : ::testing::Test {
    FakeClock clock;  // uptime 1000 s
    DragMonitor monitor{clock};
    FakeInputSource input{clock};
};

TEST_F(DragMonitorTest, NothingIsRecentBeforeAnyEvent) {
    EXPECT_FALSE(monitor.isMouseDown());
    EXPECT_FALSE(monitor.recentlyDragged(1.2));
    EXPECT_FALSE(monitor.recentlyKeyed(2.0));      // no source at all
    EXPECT_TRUE(monitor.recentlyDragged(1000.0));  // measured from an uptime of 0
}

TEST_F(DragMonitorTest, PressAndDragAreRecentForTheWholeWindowEvenAfterRelease) {
    monitor.start(input);
    ASSERT_TRUE(input.started());
    input.press();
    EXPECT_TRUE(monitor.isMouseDown());
    clock.advance(1.0);
    input.drag();
    input.release();
    EXPECT_FALSE(monitor.isMouseDown());
    clock.advance(1.25);
    EXPECT_TRUE(monitor.recentlyDragged(1.25));  // inclusive
    clock.advance(0.25);
    EXPECT_FALSE(monitor.recentlyDragged(1.25));
    EXPECT_TRUE(monitor.recentlyDragged(2.0));
}

TEST_F(DragMonitorTest, KeyPressesComeFromTheSource) {
    monitor.start(input);
    EXPECT_FALSE(monitor.recentlyKeyed(2.0));
    input.keyPress();
    clock.advance(2.0);
    EXPECT_TRUE(monitor.recentlyKeyed(2.0));
    EXPECT_FALSE(monitor.recentlyKeyed(1.9));
}

TEST_F(DragMonitorTest, RefusedMonitorsLeaveTheStateUntouched) {
    input.refuseStart();
    monitor.start(input);
    input.press();
    EXPECT_FALSE(monitor.isMouseDown());
    EXPECT_FALSE(monitor.recentlyDragged(1.2));
}

}  // namespace
}  // namespace mavo::test

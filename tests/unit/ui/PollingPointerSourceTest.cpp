#include <gtest/gtest.h>

#include "fakes/FakeStatusItem.h"
#include "ui/PollingPointerSource.h"

using namespace mavo;
using namespace mavo::test;

TEST(PollingPointerSource, ReportsMovesOnlyWhileSomeoneListens) {
    FakeTimers timers;
    std::optional<Point> where = Point{1, 1};
    int asked = 0, moves = 0;
    PollingPointerSource source(timers, [&] { return ++asked, where; });
    timers.advance(1.0);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(timers.pending(), 0u);

    auto monitor = source.addMovedMonitor([&] { ++moves; });
    timers.advance(0.35);
    EXPECT_EQ(moves, 0);  // standing still is not a move
    where = Point{2, 1};
    timers.advance(0.1);
    EXPECT_EQ(moves, 1);
    where = std::nullopt;  // the pointer left every screen we know
    timers.advance(0.1);
    EXPECT_EQ(moves, 2);
    EXPECT_EQ(source.pointerLocation(), std::nullopt);

    monitor.reset();
    EXPECT_EQ(timers.pending(), 0u);
    const int before = asked;
    timers.advance(1.0);
    EXPECT_EQ(asked, before);

    // A monitor may outlive its source.
    auto orphan = std::make_unique<PollingPointerSource>(timers, [] {
                      return Point{0, 0};
                  })->addMovedMonitor([] {});
    orphan.reset();
    EXPECT_EQ(timers.pending(), 0u);
}

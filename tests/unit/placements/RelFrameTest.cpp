#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "geometry/Geo.h"
#include "placements/PlacementRecord.h"
#include "placements/PlacementStore.h"

using namespace mavo;

namespace {
// Off the origin, so that a missing minX/minY offset shows.
const Rect kVisible{100, 50, 1000, 800};
Rect absolute(RelFrame rel, Rect visible = kVisible) {
    return PlacementStore::absolute(rel, visible);
}
}  // namespace

TEST(RelFrame, RelativeIsUnclampedAndAbsentForAnUnmeasurableVisibleFrame) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (Rect visible : {Rect{0, 0, 0, 800}, Rect{0, 0, -10, 800}, Rect{0, 0, nan, 800},
                         Rect{0, 0, 1000, 0}, Rect{0, 0, 1000, -1}, Rect{0, 0, 1000, nan}}) {
        EXPECT_FALSE(PlacementStore::relative({0, 0, 100, 100}, visible)) << visible.width;
    }
    EXPECT_EQ(PlacementStore::relative({-150, 850, 2000, 400}, kVisible),
              (RelFrame{-0.25, 1.0, 2.0, 0.5}));
    const Rect inside{333.3, 71.7, 412.9, 505.1};
    EXPECT_TRUE(
        Geo::approxEqual(absolute(*PlacementStore::relative(inside, kVisible)), inside, 1e-9));
}

TEST(RelFrame, AbsoluteClampsTheSizeFirstThenTheOriginWithTheFarEdgeWinning) {
    EXPECT_EQ(absolute({0.3, 0.2, 2.0, 3.0}), kVisible);                // too big: the whole frame
    EXPECT_EQ(absolute({0.5, 0.5, 0.0, 0.0}), (Rect{600, 450, 1, 1}));  // at least one point
    EXPECT_EQ(absolute({0, 0, -0.4, 0.0005}).size(), (Size{1, 1}));
    // The one-point floor comes first, then the visible size caps it.
    EXPECT_EQ(absolute({0, 0, 0, 0}, {10, 20, 0.5, 0.25}), (Rect{10, 20, 0.5, 0.25}));
    EXPECT_EQ(absolute({-0.5, -0.5, 0.3, 0.3}), (Rect{100, 50, 300, 240}));
    EXPECT_EQ(absolute({0.9, 0.8, 0.5, 0.5}), (Rect{600, 450, 500, 400}));  // ends on the far edge
    // Where the far-edge position rounds to just before the near edge, the far edge wins.
    const Rect odd{0.1, 100.3, 1920.3, 1000.7};
    Rect full = absolute({-0.5, -0.5, 2.0, 2.0}, odd);
    EXPECT_EQ(full.origin(), (Point{odd.maxX() - odd.width, odd.maxY() - odd.height}));
    EXPECT_TRUE(full.x < odd.minX() && full.y < odd.minY());
}

TEST(PlacementRecord, UpdatedAtCountsFromTheStartOf2001Utc) {
    using namespace std::chrono;
    double start = duration<double>(sys_days{year{2001} / January / 1}.time_since_epoch()).count();
    EXPECT_EQ(referenceDateFromUnix(start + 86400.5), 86400.5);
}

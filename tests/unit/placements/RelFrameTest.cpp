#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>

#include "placements/PlacementRecord.h"
#include "placements/PlacementStore.h"

using namespace mavo;

namespace {
// A visible frame off the origin, so that a missing minX/minY offset shows.
const Rect kVisible{100, 50, 1000, 800};
}  // namespace

TEST(RelFrame, RelativeIsAbsentForAnEmptyOrUnmeasurableVisibleFrame) {
    const Rect frame{0, 0, 100, 100};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (Rect visible : {Rect{0, 0, 0, 800}, Rect{0, 0, -10, 800}, Rect{0, 0, nan, 800},
                         Rect{0, 0, 1000, 0}, Rect{0, 0, 1000, -1}, Rect{0, 0, 1000, nan}}) {
        EXPECT_FALSE(PlacementStore::relative(frame, visible).has_value())
            << visible.width << "x" << visible.height;
    }
}

TEST(RelFrame, RelativeMeasuresFromTheVisibleOriginWithoutClamping) {
    auto rel = PlacementStore::relative({-150, 850, 2000, 400}, kVisible);
    ASSERT_TRUE(rel.has_value());
    EXPECT_DOUBLE_EQ(rel->fx, -0.25);
    EXPECT_DOUBLE_EQ(rel->fy, 1.0);
    EXPECT_DOUBLE_EQ(rel->fw, 2.0);
    EXPECT_DOUBLE_EQ(rel->fh, 0.5);
}

TEST(RelFrame, RoundTripOfAFrameInsideTheVisibleFrame) {
    for (Rect frame :
         {Rect{100, 50, 1000, 800}, Rect{333.3, 71.7, 412.9, 505.1}, Rect{600, 400, 500, 450}}) {
        auto rel = PlacementStore::relative(frame, kVisible);
        ASSERT_TRUE(rel.has_value());
        Rect back = PlacementStore::absolute(*rel, kVisible);
        EXPECT_NEAR(back.x, frame.x, 1e-9);
        EXPECT_NEAR(back.y, frame.y, 1e-9);
        EXPECT_NEAR(back.width, frame.width, 1e-9);
        EXPECT_NEAR(back.height, frame.height, 1e-9);
    }
}

TEST(RelFrame, AbsoluteClampsSizeToBetweenOnePointAndTheVisibleFrame) {
    // Too wide: full width, pushed back to the left edge.
    Rect wide = PlacementStore::absolute({0.3, 0.2, 2.0, 3.0}, kVisible);
    EXPECT_EQ(wide.width, 1000);
    EXPECT_EQ(wide.x, kVisible.minX());
    EXPECT_EQ(wide.height, 800);
    EXPECT_EQ(wide.y, kVisible.minY());

    // A degenerate fraction still gives a one-point window.
    Rect tiny = PlacementStore::absolute({0.5, 0.5, 0.0, 0.0}, kVisible);
    EXPECT_EQ(tiny.width, 1.0);
    EXPECT_EQ(tiny.height, 1.0);
    EXPECT_EQ(tiny.x, 600);
    EXPECT_EQ(tiny.y, 450);

    Rect negative = PlacementStore::absolute({0, 0, -0.4, 0.0005}, kVisible);
    EXPECT_EQ(negative.width, 1.0);
    EXPECT_EQ(negative.height, 1.0);

    // Narrower than one point: the floor comes first, then the visible size caps it.
    Rect sliver = PlacementStore::absolute({0, 0, 0.0, 0.0}, {10, 20, 0.5, 0.25});
    EXPECT_EQ(sliver.width, 0.5);
    EXPECT_EQ(sliver.height, 0.25);
}

TEST(RelFrame, AbsoluteKeepsTheOriginInsideWithTheFarEdgeWinning) {
    Rect left = PlacementStore::absolute({-0.5, -0.5, 0.3, 0.3}, kVisible);
    EXPECT_EQ(left.x, kVisible.minX());
    EXPECT_EQ(left.y, kVisible.minY());

    // Would hang off the far edge: slides back so that it ends on it.
    Rect right = PlacementStore::absolute({0.9, 0.8, 0.5, 0.5}, kVisible);
    EXPECT_EQ(right.width, 500);
    EXPECT_EQ(right.x, kVisible.maxX() - 500);
    EXPECT_EQ(right.height, 400);
    EXPECT_EQ(right.y, kVisible.maxY() - 400);

    // A full-width window whose far-edge position rounds to just left of the near edge: the
    // far-edge clamp comes second and its value is kept.
    Rect odd{0.1, 100.3, 1920.3, 1000.7};
    Rect full = PlacementStore::absolute({-0.5, -0.5, 2.0, 2.0}, odd);
    EXPECT_EQ(full.width, odd.width);
    EXPECT_EQ(full.x, odd.maxX() - odd.width);
    EXPECT_LT(full.x, odd.minX());
    EXPECT_EQ(full.y, odd.maxY() - odd.height);
    EXPECT_LT(full.y, odd.minY());
}

TEST(PlacementRecord, UpdatedAtCountsFromTheStartOf2001Utc) {
    std::tm start{};
    start.tm_year = 2001 - 1900;
    start.tm_mon = 0;
    start.tm_mday = 1;
    double unixStart = static_cast<double>(timegm(&start));
    EXPECT_EQ(referenceDateFromUnix(unixStart), 0.0);
    EXPECT_EQ(referenceDateFromUnix(unixStart + 86400.5), 86400.5);
}

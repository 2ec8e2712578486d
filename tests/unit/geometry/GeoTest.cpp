#include "geometry/Geo.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace mavo;

// The next double above v: just past a tolerance.
const auto above = [](double v) { return std::nextafter(v, INFINITY); };

TEST(Geo, OverlapIsTheShareOfTheSecondRectangle) {
    const Rect big{0, 0, 100, 100};
    EXPECT_DOUBLE_EQ(Geo::overlapFraction(big, {10, 10, 20, 10}), 1.0);
    EXPECT_DOUBLE_EQ(Geo::overlapFraction({10, 10, 20, 10}, big), 0.02);
    EXPECT_DOUBLE_EQ(Geo::overlapFraction({50, 0, 100, 100}, big), 0.5);
    EXPECT_EQ(Geo::overlapFraction({100, 0, 10, 10}, big), 0.0);  // touching edges only
    EXPECT_EQ(Geo::overlapFraction(big, {10, 10, 50, 0}), 0.0);   // second without area
}

TEST(Geo, ApproxEqualAllowsExactlyEpsilonPerComponent) {
    const Rect r{10, 20, 300, 400};
    EXPECT_TRUE(Geo::approxEqual(r, {12, 18, 302, 398}, 2));
    for (Rect o : {Rect{above(12), 20, 300, 400}, Rect{10, 17, 300, 400}, Rect{10, 20, 303, 400},
                   Rect{10, 20, 300, 397}}) {
        EXPECT_FALSE(Geo::approxEqual(r, o, 2)) << o.x << "," << o.y << " " << o.width;
    }
}

TEST(Geo, ThirteenSnapZonesInOrderWithTwoThirdsRoundedOnce) {
    const double t = 1000.0 / 3, tt = (1000.0 + 1000.0) / 3;
    const std::vector<Rect> expected = {
        {100, 50, 500, 800},   {600, 50, 500, 800},   {100, 50, 1000, 400},   {100, 450, 1000, 400},
        {100, 50, 500, 400},   {600, 50, 500, 400},   {100, 450, 500, 400},   {600, 450, 500, 400},
        {100, 50, t, 800},     {100 + t, 50, t, 800}, {100 + tt, 50, t, 800}, {100, 50, tt, 800},
        {100 + t, 50, tt, 800}};
    EXPECT_EQ(Geo::snapZones({100, 50, 1000, 800}), expected);
    // Widths where w * (2.0 / 3) or x + t + t land one bit away from (w + w) / 3.
    auto wide = Geo::snapZones({0, 0, 2560, 1415});
    for (int i : {11, 12}) EXPECT_EQ(wide[i].width, (2560.0 + 2560.0) / 3);
    EXPECT_EQ(Geo::snapZones({1920, 0, 1000, 1055})[10].x, 1920 + (1000.0 + 1000.0) / 3);
    EXPECT_TRUE(
        Geo::isAtSnapZone({1920 + 2000.0 / 3, 0, 1000.0 / 3, 1055}, {1920, 0, 1000, 1055}, 0, 0));
}

TEST(Geo, SnapZoneMatchUsesSeparateInclusiveTolerances) {
    auto at = [](Rect frame, double posTol, double sizeTol) {
        return Geo::isAtSnapZone(frame, {0, 25, 1920, 1055}, posTol, sizeTol);
    };
    EXPECT_TRUE(at({0, 25, 960, 1055}, 0, 0));
    EXPECT_TRUE(at({960, 552.5, 960, 527.5}, 0, 0));
    EXPECT_FALSE(at({0, 25, 1920, 1055}, 0, 0));  // maximized is no snap
    EXPECT_TRUE(at({4, 21, 960, 1055}, 4, 0));
    EXPECT_FALSE(at({above(4), 25, 960, 1055}, 4, 0));
    EXPECT_TRUE(at({0, 25, 970, 1045}, 0, 10));
    EXPECT_FALSE(at({0, 25, above(970), 1055}, 0, 10));
    EXPECT_FALSE(at({8, 25, 960, 1055}, 4, 10));
    EXPECT_FALSE(at({0, 25, 968, 1055}, 10, 4));
}

TEST(Geo, CellFitMayFallShortByTheGapButOverhangOnlyByThePositionTolerance) {
    auto fits = [](Rect frame) {
        return Geo::isAcceptableCellFit(frame, {100, 100, 800, 600}, 4, 5);
    };
    EXPECT_TRUE(fits({100, 100, 795, 595}));
    EXPECT_FALSE(fits({100, 100, 794, 600}));
    EXPECT_FALSE(fits({100, 100, 800, 594}));
    EXPECT_TRUE(fits({100, 100, 804, 604}));
    EXPECT_FALSE(fits({100, 100, 805, 600}));
    EXPECT_FALSE(fits({100, 100, 800, 605}));
    EXPECT_TRUE(fits({104, 96, 796, 604}));
    EXPECT_FALSE(fits({above(104), 100, 796, 600}));
    EXPECT_FALSE(fits({100, 95, 800, 605}));
}

TEST(Geo, DisplayClassThresholds) {
    using DC = DisplayClass;
    EXPECT_EQ(Geo::displayClass(2.1, true, 1500, 300), DC::ultrawide);  // even built in
    EXPECT_EQ(Geo::displayClass(2.0999, true, 5000, 900), DC::builtInSmall);
    EXPECT_EQ(Geo::displayClass(1.6, false, 1999, 550), DC::largeExternal);
    EXPECT_EQ(Geo::displayClass(1.6, false, 1999, 549.9), DC::builtInSmall);
    EXPECT_EQ(Geo::displayClass(1.6, false, 2000, 0), DC::largeExternal);
    EXPECT_EQ(Geo::displayClass(1.6, false, 1999.99, 0), DC::builtInSmall);
}

#include "geometry/Geo.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace mavo;

namespace {

// The next representable double above v, for "just past the tolerance" cases.
double above(double v) {
    return std::nextafter(v, INFINITY);
}

}  // namespace

TEST(GeoOverlap, MeasuresTheShareOfTheSecondRectangle) {
    Rect big{0, 0, 100, 100};
    Rect small{10, 10, 20, 10};
    EXPECT_DOUBLE_EQ(Geo::overlapFraction(big, small), 1.0);
    EXPECT_DOUBLE_EQ(Geo::overlapFraction(small, big), 200.0 / 10000.0);
    EXPECT_DOUBLE_EQ(Geo::overlapFraction({50, 0, 100, 100}, big), 0.5);

    EXPECT_EQ(Geo::overlapFraction({200, 200, 10, 10}, big), 0.0);  // disjoint
    EXPECT_EQ(Geo::overlapFraction({100, 0, 10, 10}, big), 0.0);    // touching edges only
    EXPECT_EQ(Geo::overlapFraction(big, {10, 10, 0, 50}), 0.0);     // zero-area second
    EXPECT_EQ(Geo::overlapFraction(big, {10, 10, 50, 0}), 0.0);
}

TEST(GeoApproxEqual, EachComponentMayDifferByExactlyEpsilon) {
    Rect r{10, 20, 300, 400};
    EXPECT_TRUE(Geo::approxEqual(r, r, 0));
    EXPECT_TRUE(Geo::approxEqual(r, {12, 18, 302, 398}, 2));
    EXPECT_FALSE(Geo::approxEqual(r, {above(12), 20, 300, 400}, 2));
    EXPECT_FALSE(Geo::approxEqual(r, {10, 17, 300, 400}, 2));
    EXPECT_FALSE(Geo::approxEqual(r, {10, 20, 303, 400}, 2));
    EXPECT_FALSE(Geo::approxEqual(r, {10, 20, 300, 397}, 2));
    // Compared through origin and size: same right edge but shifted origin is not equal.
    EXPECT_FALSE(Geo::approxEqual(r, {15, 20, 295, 400}, 2));
}

TEST(GeoSnapZones, ThirteenZonesInOrderWithoutFullScreen) {
    Rect work{100, 50, 1000, 800};
    auto z = Geo::snapZones(work);
    ASSERT_EQ(z.size(), 13u);
    EXPECT_EQ(z[0], (Rect{100, 50, 500, 800}));   // left half
    EXPECT_EQ(z[1], (Rect{600, 50, 500, 800}));   // right half
    EXPECT_EQ(z[2], (Rect{100, 50, 1000, 400}));  // top half
    EXPECT_EQ(z[3], (Rect{100, 450, 1000, 400}));
    EXPECT_EQ(z[4], (Rect{100, 50, 500, 400}));
    EXPECT_EQ(z[5], (Rect{600, 50, 500, 400}));
    EXPECT_EQ(z[6], (Rect{100, 450, 500, 400}));
    EXPECT_EQ(z[7], (Rect{600, 450, 500, 400}));
    const double t = 1000.0 / 3, tt = (1000.0 + 1000.0) / 3;
    EXPECT_EQ(z[8], (Rect{100, 50, t, 800}));
    EXPECT_EQ(z[9], (Rect{100 + t, 50, t, 800}));
    EXPECT_EQ(z[10], (Rect{100 + tt, 50, t, 800}));
    EXPECT_EQ(z[11], (Rect{100, 50, tt, 800}));
    EXPECT_EQ(z[12], (Rect{100 + t, 50, tt, 800}));
    for (const Rect& r : z) EXPECT_NE(r, work);
}

TEST(GeoSnapZones, ThirdsOnAThousandWideArea) {
    auto z = Geo::snapZones({0, 0, 1000, 600});
    EXPECT_NEAR(z[9].x, 333.3333333, 1e-6);
    EXPECT_EQ(z[10].x, (1000.0 + 1000.0) / 3);
    EXPECT_NEAR(z[10].x, 666.6666667, 1e-6);
}

TEST(GeoSnapZones, TwoThirdsIsRoundedOnce) {
    // Widths where w * (2.0 / 3) and x + t + t land one bit away from (w + w) / 3.
    auto wide = Geo::snapZones({0, 0, 2560, 1415});
    EXPECT_EQ(wide[11].width, (2560.0 + 2560.0) / 3);
    EXPECT_EQ(wide[12].width, (2560.0 + 2560.0) / 3);
    auto offset = Geo::snapZones({1920, 0, 1000, 1055});
    EXPECT_EQ(offset[10].x, 1920 + (1000.0 + 1000.0) / 3);
    EXPECT_TRUE(
        Geo::isAtSnapZone({1920 + 2000.0 / 3, 0, 1000.0 / 3, 1055}, {1920, 0, 1000, 1055}, 0, 0));
}

TEST(GeoSnapZones, MatchingUsesSeparateNonStrictTolerances) {
    Rect work{0, 25, 1920, 1055};
    EXPECT_TRUE(Geo::isAtSnapZone({0, 25, 960, 1055}, work, 0, 0));  // left half exactly
    EXPECT_FALSE(Geo::isAtSnapZone(work, work, 0, 0));               // maximized is no snap
    EXPECT_FALSE(Geo::isAtSnapZone(work, work, 10, 10));
    EXPECT_TRUE(Geo::isAtSnapZone({960, 552.5, 960, 527.5}, work, 0, 0));  // bottom-right quarter

    // Position off by exactly posTol matches, a hair more does not.
    EXPECT_TRUE(Geo::isAtSnapZone({4, 21, 960, 1055}, work, 4, 0));
    EXPECT_FALSE(Geo::isAtSnapZone({above(4), 25, 960, 1055}, work, 4, 0));
    // Size off by exactly sizeTol matches, a hair more does not.
    EXPECT_TRUE(Geo::isAtSnapZone({0, 25, 970, 1045}, work, 0, 10));
    EXPECT_FALSE(Geo::isAtSnapZone({0, 25, above(970), 1055}, work, 0, 10));
    // The tolerances are not interchangeable.
    EXPECT_FALSE(Geo::isAtSnapZone({8, 25, 960, 1055}, work, 4, 10));
    EXPECT_FALSE(Geo::isAtSnapZone({0, 25, 968, 1055}, work, 10, 4));
}

TEST(GeoCellFit, MayFallShortButBarelyOverhang) {
    Rect target{100, 100, 800, 600};  // max X 900, max Y 700
    EXPECT_TRUE(Geo::isAcceptableCellFit(target, target, 0, 0));
    // 5 short of the right and bottom edges with gapMax 5.
    EXPECT_TRUE(Geo::isAcceptableCellFit({100, 100, 795, 595}, target, 4, 5));
    EXPECT_FALSE(Geo::isAcceptableCellFit({100, 100, 794, 600}, target, 4, 5));
    EXPECT_FALSE(Geo::isAcceptableCellFit({100, 100, 800, 594}, target, 4, 5));
    // 5 past with posTol 4 is rejected; exactly 4 past is accepted.
    EXPECT_FALSE(Geo::isAcceptableCellFit({100, 100, 805, 600}, target, 4, 5));
    EXPECT_FALSE(Geo::isAcceptableCellFit({100, 100, 800, 605}, target, 4, 5));
    EXPECT_TRUE(Geo::isAcceptableCellFit({100, 100, 804, 604}, target, 4, 5));
    // Origin within posTol, inclusive.
    EXPECT_TRUE(Geo::isAcceptableCellFit({104, 96, 796, 604}, target, 4, 5));
    EXPECT_FALSE(Geo::isAcceptableCellFit({above(104), 100, 796, 600}, target, 4, 5));
    EXPECT_FALSE(Geo::isAcceptableCellFit({100, 95, 800, 605}, target, 4, 5));
}

TEST(GeoDisplayClass, ThresholdsInOrder) {
    using DC = DisplayClass;
    EXPECT_EQ(Geo::displayClass(2.1, true, 1500, 300), DC::ultrawide);  // even built in
    EXPECT_EQ(Geo::displayClass(2.0999, true, 5000, 900), DC::builtInSmall);
    EXPECT_EQ(Geo::displayClass(1.6, false, 1999, 550), DC::largeExternal);
    EXPECT_EQ(Geo::displayClass(1.6, false, 1999, 549.9), DC::builtInSmall);
    EXPECT_EQ(Geo::displayClass(1.6, false, 2000, 0), DC::largeExternal);
    EXPECT_EQ(Geo::displayClass(1.6, false, 1999.99, 0), DC::builtInSmall);
    EXPECT_EQ(Geo::displayClass(2.09, false, 3000, 800), DC::largeExternal);
}

TEST(GeoDisplayClass, RawValuesRoundTrip) {
    for (auto c :
         {DisplayClass::builtInSmall, DisplayClass::largeExternal, DisplayClass::ultrawide}) {
        EXPECT_EQ(displayClassFromRaw(rawValue(c)), c);
    }
    EXPECT_EQ(rawValue(DisplayClass::largeExternal), "largeExternal");
    EXPECT_EQ(displayClassFromRaw("Ultrawide"), std::nullopt);
    EXPECT_EQ(displayClassFromRaw(""), std::nullopt);
}

TEST(GeoFlip, MirrorsAboutTheAxisAndRoundTrips) {
    Rect cocoa{0, 0, 1920, 1055};
    EXPECT_EQ(Geo::flip(cocoa, 1080), (Rect{0, 25, 1920, 1055}));
    Rect r{-300.5, 1234.25, 640, 480};
    EXPECT_EQ(Geo::flip(Geo::flip(r, 1080), 1080), r);
    EXPECT_EQ(Geo::flip({0, 1080, 2560, 1440}, 1080), (Rect{0, -1440, 2560, 1440}));
}

TEST(GeoCenterDefaultSize, FixedFocusAndUtility) {
    Rect vf{0, 25, 2560, 1415};
    Size natural{700, 500};
    EXPECT_EQ(Geo::centerDefaultSize(true, true, natural, vf, 0.5, 0.6, 1000, 0.7, 0.9), natural);
    // Focus: the cap wins when it is smaller than the fraction of the width.
    EXPECT_EQ(Geo::centerDefaultSize(false, true, natural, vf, 0.5, 0.6, 1000, 0.7, 0.9),
              (Size{1000, 0.9 * 1415}));
    EXPECT_EQ(Geo::centerDefaultSize(false, true, natural, vf, 0.5, 0.6, 5000, 0.7, 0.9),
              (Size{0.7 * 2560, 0.9 * 1415}));
    EXPECT_EQ(Geo::centerDefaultSize(false, false, natural, vf, 0.5, 0.6, 1000, 0.7, 0.9),
              (Size{0.5 * 2560, 0.6 * 1415}));
}

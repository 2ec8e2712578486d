#include "geometry/ScreenCache.h"

#include <gtest/gtest.h>

#include <cmath>

#include "fakes/FakeDisplaySource.h"

using namespace mavo;
using namespace mavo::test;

struct ScreenCacheTest : ::testing::Test {
    void use(std::vector<ScreenInfo> screens) {
        source.setScreens(std::move(screens));
        cache.refresh();
    }
    FakeDisplaySource source;
    ScreenCache cache{&source};
    ScreenInfo primary = primary1080("P");
    ScreenInfo right = rightOf(primary, 2560, 1440, "R");  // AX frame (1920, -360, 2560, 1440)
};

TEST_F(ScreenCacheTest, SnapshotFlipsAboutTheFirstScreensTopAndIsReplacedWhole) {
    use({primary, right, above(primary, 2560, 1440, "T", 25)});
    EXPECT_EQ(cache.visibleFrameAX("P"), (Rect{0, 25, 1920, 1055}));
    EXPECT_EQ(cache.visibleFrameAX("R"), (Rect{1920, -360, 2560, 1440}));
    EXPECT_EQ(cache.maximizeTargetAX({100, -1000, 800, 600}), (Rect{0, -1415, 2560, 1415}));
    EXPECT_FALSE(cache.visibleFrameAX("p"));
    use({makeScreen({0, 0, 1728, 1117}, "L", 37), right});  // a later screen may be taller
    EXPECT_EQ(cache.axisY(), 1117.0);
    use({right, primary});
    EXPECT_EQ(cache.axisY(), 1440.0);
    // Sorted as text, nameless displays left out.
    use({primary1080("9"), rightOf(primary, 1920, 1080, ""), above(primary, 800, 600, "10")});
    EXPECT_EQ(cache.configSignature(), "10+9");
    ScreenCache late;  // no source yet
    late.refresh();
    late.setSource(&source);
    late.refresh();
    EXPECT_EQ(late.configSignature(), "10+9");
    use({});
    EXPECT_EQ(cache.axisY(), 0.0);
    EXPECT_FALSE(cache.maximizeTargetAX({0, 0, 9, 9}));
    EXPECT_FALSE(cache.isOnScreenAX({0, 0, 9, 9}, 0.0));
}

TEST_F(ScreenCacheTest, ClassComesFromFrameAspectAndVisibleWidth) {
    auto classOf = [&](ScreenInfo s) {
        use({s});
        return cache.displays().front().displayClass;
    };
    EXPECT_EQ(classOf(makeScreen({0, 0, 3440, 1440}, "U", 25)), DisplayClass::ultrawide);
    EXPECT_EQ(classOf(makeScreen({0, 0, 3024, 1964}, "B", 37, 0, true, 700)),
              DisplayClass::builtInSmall);
    EXPECT_EQ(classOf(makeScreen({0, 0, 1920, 1080}, "M", 0, 0, false, 600)),
              DisplayClass::largeExternal);
    // 2100 / 1001 is below 2.1, though the visible height would push it above.
    EXPECT_EQ(classOf(makeScreen({0, 0, 2100, 1001}, "T", 25)), DisplayClass::largeExternal);
    EXPECT_EQ(classOf(makeScreen({0, 0, 2, 0.5}, "Z")), DisplayClass::builtInSmall);  // h >= 1
    ScreenInfo sideDock = makeScreen({0, 0, 2010, 1200}, "S");  // the visible width decides
    sideDock.visibleFrame = {20, 0, 1990, 1200};
    EXPECT_EQ(classOf(sideDock), DisplayClass::builtInSmall);
}

TEST_F(ScreenCacheTest, OwnerHasTheLargestFrameOverlapAndTheEarlierWinsTies) {
    use({primary, right});
    EXPECT_EQ(cache.owningDisplayAX({1720, 100, 300, 300})->uuid, "P");  // 200 against 100
    EXPECT_EQ(cache.owningDisplayAX({1820, 100, 300, 300})->uuid, "R");
    EXPECT_EQ(cache.owningDisplayAX({1820, 100, 200, 300})->uuid, "P");
    // The menu-bar strip counts: 120 x 30 of the primary's frame against 80 x 30.
    EXPECT_EQ(cache.owningDisplayAX({1800, 0, 200, 30})->uuid, "P");
    EXPECT_EQ(cache.owningDisplayAX({-9000, -9000, 100, 100})->uuid, "P");
    EXPECT_EQ(cache.owningDisplayAX({1720, 100, 300, 300})->visibleFrame,
              (Rect{0, 25, 1920, 1055}));
    use({right, primary});  // axis 1440 now: AX y shifts by 360
    EXPECT_EQ(cache.owningDisplayAX({1820, 460, 200, 300})->uuid, "R");
    // A display without a name can be filled but not remembered.
    use({primary1080(""), right});
    const Rect w{100, 100, 400, 300};
    EXPECT_FALSE(cache.owningDisplayAX(w) || cache.smartPlaceTargetAX(w, false, 0, 0.5, 0.5));
    EXPECT_EQ(cache.maximizeTargetAX(w), (Rect{0, 25, 1920, 1055}));
    EXPECT_EQ(cache.owningClassAX(w), DisplayClass::builtInSmall);
}

TEST_F(ScreenCacheTest, SmartPlaceCentresBelowTheInsetWithinTheVisibleFrame) {
    use({primary, right});
    auto place = [&](Rect w, bool fixed) {
        return cache.smartPlaceTargetAX(w, fixed, 10, 0.5, 0.6);
    };
    EXPECT_EQ(place({10, 40, 1200, 900}, false), (Rect{360, 35, 1200, 900}));  // never shrunk
    EXPECT_EQ(place({-100, 30, 2500, 2000}, true), (Rect{0, 35, 1920, 1045}));
    EXPECT_EQ(place({2500, 0, 1000, 500}, true), (Rect{1920 + 780, -350, 1000, 500}));
}

TEST_F(ScreenCacheTest, OnScreenCoverageIsInclusiveAndSumsFrames) {
    use({primary, right});
    EXPECT_FALSE(cache.isOnScreenAX({100, 100, 0, 300}, 0.0));  // no area is never on screen
    EXPECT_FALSE(cache.isOnScreenAX({100, 100, 300, -300}, -1.0));
    EXPECT_FALSE(cache.isOnScreenAX({100, 100, -300, 300}, -1.0));
    EXPECT_TRUE(cache.isOnScreenAX({-200, 100, 400, 300}, 0.5));
    EXPECT_FALSE(cache.isOnScreenAX({-200, 100, 400, 300}, std::nextafter(0.5, 1.0)));
    EXPECT_TRUE(cache.isOnScreenAX({1820, 100, 200, 300}, 1.0));  // straddling adds both shares
    EXPECT_TRUE(cache.isOnScreenAX({0, 0, 100, 25}, 1.0));        // the menu-bar strip counts
    EXPECT_TRUE(cache.isOnScreenAX({-5000, 100, 400, 300}, 0.0));
}

#include "geometry/ScreenCache.h"

#include <gtest/gtest.h>

#include <cmath>

#include "fakes/FakeDisplaySource.h"

using namespace mavo;
using namespace mavo::test;

namespace {

class ScreenCacheTest : public ::testing::Test {
  protected:
    void use(std::vector<ScreenInfo> screens) {
        source.setScreens(std::move(screens));
        cache.refresh();
    }

    FakeDisplaySource source;
    ScreenCache cache{&source};
    ScreenInfo primary = primary1080("P");
    // 2560 x 1440 to the right; in AX coordinates its frame is (1920, -360, 2560, 1440).
    ScreenInfo right = rightOf(primary, 2560, 1440, "R");
};

}  // namespace

TEST_F(ScreenCacheTest, EmptyUntilRefreshedAndWithoutSource) {
    EXPECT_TRUE(cache.displays().empty());
    EXPECT_EQ(cache.axisY(), 0.0);
    EXPECT_EQ(cache.configSignature(), "");
    EXPECT_FALSE(cache.owningDisplayAX({0, 0, 100, 100}));
    EXPECT_FALSE(cache.owningClassAX({0, 0, 100, 100}));
    EXPECT_FALSE(cache.maximizeTargetAX({0, 0, 100, 100}));
    EXPECT_FALSE(cache.smartPlaceTargetAX({0, 0, 100, 100}, false, 0, 0.5, 0.5));
    EXPECT_FALSE(cache.isOnScreenAX({0, 0, 100, 100}, 0.0));

    ScreenCache orphan;
    orphan.refresh();
    EXPECT_TRUE(orphan.displays().empty());
    orphan.setSource(&source);
    source.setScreens({primary});
    orphan.refresh();
    EXPECT_EQ(orphan.displays().size(), 1u);
}

TEST_F(ScreenCacheTest, FlipsVisibleFramesIntoAccessibilityCoordinates) {
    ScreenInfo top = above(primary, 2560, 1440, "T", 25);
    use({primary, right, top});
    EXPECT_EQ(cache.axisY(), 1080.0);
    EXPECT_EQ(cache.visibleFrameAX("P"), (Rect{0, 25, 1920, 1055}));
    EXPECT_EQ(cache.visibleFrameAX("R"), (Rect{1920, -360, 2560, 1440}));
    // A display above the primary lies at negative AX y.
    EXPECT_EQ(cache.visibleFrameAX("T"), (Rect{0, -1415, 2560, 1415}));
    EXPECT_EQ(cache.maximizeTargetAX({100, -1000, 800, 600}), (Rect{0, -1415, 2560, 1415}));
    EXPECT_FALSE(cache.visibleFrameAX("p"));
    EXPECT_FALSE(cache.visibleFrameAX(""));
}

TEST_F(ScreenCacheTest, AxisIsTheFirstScreensTopEvenWhenAnotherIsTaller) {
    use({makeScreen({0, 0, 1728, 1117}, "LAPTOP", 37), right});
    EXPECT_EQ(cache.axisY(), 1117.0);
    use({right, primary});  // whatever is listed first is the primary
    EXPECT_EQ(cache.axisY(), 1440.0);
}

TEST_F(ScreenCacheTest, RefreshReplacesTheWholeSnapshot) {
    use({primary, right});
    ASSERT_EQ(cache.displays().size(), 2u);
    use({primary});
    EXPECT_EQ(cache.displays().size(), 1u);
    EXPECT_EQ(cache.configSignature(), "P");
    EXPECT_FALSE(cache.visibleFrameAX("R"));
    use({});
    EXPECT_EQ(cache.axisY(), 0.0);
}

TEST_F(ScreenCacheTest, SignatureIsSortedAndSkipsNamelessDisplays) {
    use({primary1080("B"), rightOf(primary, 1920, 1080, "A")});
    EXPECT_EQ(cache.configSignature(), "A+B");
    use({primary1080("A"), rightOf(primary, 1920, 1080, "B")});
    EXPECT_EQ(cache.configSignature(), "A+B");
    use({primary1080("9"), rightOf(primary, 1920, 1080, ""), above(primary, 800, 600, "10")});
    EXPECT_EQ(cache.configSignature(), "10+9");
    use({primary1080("")});
    EXPECT_EQ(cache.configSignature(), "");
}

TEST_F(ScreenCacheTest, ClassComesFromFrameAspectAndVisibleWidth) {
    ScreenInfo ultra = makeScreen({0, 0, 3440, 1440}, "U", 25);
    ScreenInfo builtIn = makeScreen({0, 0, 3024, 1964}, "B", 37, 0, true, 700);
    ScreenInfo mm = makeScreen({0, 0, 1920, 1080}, "M", 0, 0, false, 600);
    // Aspect is taken from the frame height: 2100 / 1001 is below 2.1 even though the visible
    // height would push it above.
    ScreenInfo tallish = makeScreen({0, 0, 2100, 1001}, "T", 25);
    // The visible width decides: a 2010-wide frame with a 20-point side dock stays small.
    ScreenInfo sideDock = makeScreen({0, 0, 2010, 1200}, "S");
    sideDock.visibleFrame = {20, 0, 1990, 1200};
    // A sliver of height is divided by at least 1.
    ScreenInfo sliver = makeScreen({0, 0, 2, 0.5}, "Z");

    auto classOf = [&](const ScreenInfo& s) {
        use({s});
        return cache.displays().front().displayClass;
    };
    EXPECT_EQ(classOf(ultra), DisplayClass::ultrawide);
    EXPECT_EQ(classOf(builtIn), DisplayClass::builtInSmall);
    EXPECT_EQ(classOf(mm), DisplayClass::largeExternal);
    EXPECT_EQ(classOf(tallish), DisplayClass::largeExternal);
    EXPECT_EQ(classOf(sideDock), DisplayClass::builtInSmall);
    EXPECT_EQ(classOf(sliver), DisplayClass::builtInSmall);
}

TEST_F(ScreenCacheTest, OwnerHasTheLargestFrameOverlapEarlierWinsTies) {
    use({primary, right});
    // Straddling: 200 wide on the primary, 100 on the right display.
    EXPECT_EQ(cache.owningDisplayAX({1720, 100, 300, 300})->uuid, "P");
    EXPECT_EQ(cache.owningDisplayAX({1820, 100, 300, 300})->uuid, "R");
    // Equal overlaps go to the display listed first, whichever that is.
    EXPECT_EQ(cache.owningDisplayAX({1820, 100, 200, 300})->uuid, "P");
    use({right, primary});
    // (The right display is now first, so the axis is 1440 and AX y shifts by 360.)
    EXPECT_EQ(cache.owningDisplayAX({1820, 460, 200, 300})->uuid, "R");
    // Off every display, or with no area: the first display.
    EXPECT_EQ(cache.owningDisplayAX({-9000, -9000, 100, 100})->uuid, "R");
    use({primary, right});
    EXPECT_EQ(cache.owningDisplayAX({-9000, -9000, 100, 100})->uuid, "P");
    EXPECT_EQ(cache.owningDisplayAX({3000, 100, 0, 0})->uuid, "P");
    EXPECT_EQ(cache.owningDisplayAX({1720, 100, 300, 300})->visibleFrame,
              (Rect{0, 25, 1920, 1055}));
}

TEST_F(ScreenCacheTest, OwnershipCountsTheMenuBarStrip) {
    use({primary, right});
    // 120 x 30 of the primary's frame (only 120 x 5 of its visible frame) against 80 x 30 of
    // the right display.
    EXPECT_EQ(cache.owningDisplayAX({1800, 0, 200, 30})->uuid, "P");
}

TEST_F(ScreenCacheTest, NamelessDisplayCanBeFilledButNotRemembered) {
    ScreenInfo nameless = primary1080("");
    nameless.physWidthMM = 600;
    use({nameless, rightOf(nameless, 1920, 1080, "R")});
    Rect win{100, 100, 400, 300};
    EXPECT_FALSE(cache.owningDisplayAX(win));
    EXPECT_FALSE(cache.smartPlaceTargetAX(win, false, 0, 0.5, 0.5));
    EXPECT_EQ(cache.maximizeTargetAX(win), (Rect{0, 25, 1920, 1055}));
    EXPECT_EQ(cache.owningClassAX(win), DisplayClass::largeExternal);
}

TEST_F(ScreenCacheTest, SmartPlaceCentresBelowTheInsetWithinTheVisibleFrame) {
    use({primary, right});
    // Primary visible frame in AX: (0, 25, 1920, 1055).
    EXPECT_EQ(cache.smartPlaceTargetAX({10, 40, 400, 300}, false, 10, 0.5, 0.6),
              (Rect{480, 35, 960, 0.6 * 1055}));
    // A fixed-size window keeps its size.
    EXPECT_EQ(cache.smartPlaceTargetAX({10, 40, 400, 300}, true, 10, 0.5, 0.6),
              (Rect{760, 35, 400, 300}));
    // Already larger than the fill: never shrunk.
    EXPECT_EQ(cache.smartPlaceTargetAX({10, 40, 1200, 900}, false, 10, 0.5, 0.6),
              (Rect{360, 35, 1200, 900}));
    // Wider than the visible frame: clamped to its width at its left edge, and to its height
    // less the inset.
    EXPECT_EQ(cache.smartPlaceTargetAX({-100, 30, 2500, 2000}, true, 10, 0.5, 0.6),
              (Rect{0, 35, 1920, 1045}));
    EXPECT_EQ(cache.smartPlaceTargetAX({10, 40, 500, 1055}, true, 10, 0.5, 0.6),
              (Rect{710, 35, 500, 1045}));
    // Centred on the owning display's own visible frame.
    EXPECT_EQ(cache.smartPlaceTargetAX({2500, 0, 1000, 500}, true, 10, 0.5, 0.6),
              (Rect{1920 + 780, -350, 1000, 500}));
}

TEST_F(ScreenCacheTest, OnScreenCoverageIsInclusiveAndSumsFrames) {
    use({primary, right});
    // Zero width or height is never on screen.
    EXPECT_FALSE(cache.isOnScreenAX({100, 100, 0, 300}, 0.0));
    EXPECT_FALSE(cache.isOnScreenAX({100, 100, 300, 0}, -1.0));
    EXPECT_FALSE(cache.isOnScreenAX({100, 100, -300, 300}, -1.0));
    // Half on the primary (which reaches x = 0 at its left edge).
    Rect half{-200, 100, 400, 300};
    EXPECT_TRUE(cache.isOnScreenAX(half, 0.5));
    EXPECT_FALSE(cache.isOnScreenAX(half, std::nextafter(0.5, 1.0)));
    // Straddling two displays adds both shares.
    EXPECT_TRUE(cache.isOnScreenAX({1820, 100, 200, 300}, 1.0));
    // The menu-bar strip belongs to the screen.
    EXPECT_TRUE(cache.isOnScreenAX({0, 0, 100, 25}, 1.0));
    // Entirely off-screen still satisfies a zero requirement.
    EXPECT_FALSE(cache.isOnScreenAX({-5000, 100, 400, 300}, 0.1));
    EXPECT_TRUE(cache.isOnScreenAX({-5000, 100, 400, 300}, 0.0));
}

// The engine's small parts: best-fit keys, window identity, the rectangle notation of the log,
// placement keys, and the mouse and keyboard questions asked before a window is touched.

#include <gtest/gtest.h>

#include <limits>
#include <unordered_set>

#include "engine/DragMonitor.h"
#include "engine/EngineTypes.h"
#include "engine/PlacementKey.h"
#include "engine/RectStr.h"
#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(BestFitKeyTest, RoundsHalvesAwayFromZero) {
    auto k = BestFitKey::make("app", {10.5, 20.5, 799.5, 600.49});
    EXPECT_EQ(k, (BestFitKey{"app", 11, 21, 800, 600}));
    auto n = BestFitKey::make("app", {-10.5, -0.5, -0.49, 2.5});
    EXPECT_EQ(n, (BestFitKey{"app", -11, -1, 0, 3}));
}

TEST(BestFitKeyDeathTest, NonFiniteOrHugeValuesStopTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    double nan = std::numeric_limits<double>::quiet_NaN();
    double inf = std::numeric_limits<double>::infinity();
    EXPECT_DEATH(BestFitKey::make("a", {nan, 0, 1, 1}), "");
    EXPECT_DEATH(BestFitKey::make("a", {0, -inf, 1, 1}), "");
    EXPECT_DEATH(BestFitKey::make("a", {0, 0, 9.3e18, 1}), "");
    EXPECT_EQ(roundedInt64(-9.2e18), static_cast<int64_t>(-9.2e18));
}

TEST(WindowKeyTest, SameWindowThroughTwoHandlesIsOneKey) {
    WindowKey a{WindowHandle{42, std::make_shared<int>(1)}};
    WindowKey b{WindowHandle{42, std::make_shared<int>(2)}};
    WindowKey c{WindowHandle{43, nullptr}};
    std::unordered_set<WindowKey, WindowKeyHash> set{a, b, c};
    EXPECT_EQ(set.size(), 2u);
}

TEST(RectStrTest, OneDecimalAndTheMultiplicationSign) {
    EXPECT_EQ(rectStr({-1920, -0.25, 364.84, 1e4}), "(-1920.0,-0.2 364.8×10000.0)");
    EXPECT_EQ(shortestDecimal(1.2), "1.2");
    EXPECT_EQ(shortestDecimal(2.0), "2");
}

TEST(PlacementKeyTest, NoKeyWithoutAnApplicationOrADisplay) {
    EXPECT_FALSE(placementKeyFor("A+B", "", 2, "Report"));
    EXPECT_FALSE(placementKeyFor("", "com.x", 2, "Report"));
}

// Trimmed and lowercased in every script, an edited mark cut case-insensitively; bytes that are
// not UTF-8 kept as they are.
TEST(PlacementKeyTest, TitlesAreNormalized) {
    for (auto [title, normalized] : std::initializer_list<std::pair<const char*, const char*>>{
             {"Report — EDITED", "report"},
             {"Draft — Edited copy — Edited", "draft"},
             {"Report - Edited", "report - edited"},  // a plain hyphen
             {"Report —Edited", "report —edited"},
             {"— Edited", "— edited"},  // nothing before the mark
             {"  My  Doc\n\t", "my  doc"},
             {"\u00a0\u2003Notes\u3000", "notes"},
             {"ÜBER Ärger — Edited", "über ärger"},
             {"ΣΟΦΙΑ", "σοφια"},
             {" \n ", ""},
             {"A\xff"
              "B",
              "a\xff"
              "b"},
         })
        EXPECT_EQ(normalizedPlacementTitle(title), normalized) << title;
}

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

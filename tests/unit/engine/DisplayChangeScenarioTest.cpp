// Stories of a display being plugged in or out: the engine only watches while the displays
// settle, then takes each window's placement for the new arrangement from the store.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::vector<ScreenInfo> kBoth{primary1080(), rightOf(primary1080(), 1920, 1080, "EXT")};
const std::vector<ScreenInfo> kLaptop{primary1080()};

TEST(DisplayChangeScenario, ObserveOnlyPeriodThenReadoptionPerArrangement) {
    EngineHarness h(kBoth);
    h.launch();
    auto doc = h.open("com.example.editor");
    int32_t viewer = h.addApp("com.example.viewer");
    auto view = h.addWindow(viewer, "View", {300, 300, 800, 600});
    auto gone = h.open("com.example.other", {400, 300, 800, 600});
    h.tickAndStep();
    Rect onBoth{144, 25, 1632, 1055};
    h.handMoveAndSettle(doc, onBoth);
    ASSERT_TRUE(h.store->get("EXT+PRIMARY|com.example.editor|"));
    h.step(1.5);

    // The external display goes away.
    size_t mark = h.logMark();
    h.server.clearWrites();
    h.changeDisplays(kLaptop);
    EXPECT_EQ(h.log("", mark), Lines{"display reconfigure — observe-only for 1.2s"});

    // While it settles: windows moved by the system are not corrected, a closed window keeps its
    // state, a new window is met but not moved, and nothing is stored.
    h.server.setFrame(view, {500, 300, 800, 600});
    h.server.removeWindow(gone);
    auto fresh = h.addWindow(viewer, "New", {600, 300, 800, 600});
    h.step(0.4, 2);
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.engine->trackedWindowCount(), 4u);
    EXPECT_EQ(h.store->count(), 1u);

    // The period is over: judged again, the closed window forgotten, every state flagged once.
    h.step(0.45);
    EXPECT_EQ(h.frame(view), kPrimaryVisibleAX);
    EXPECT_EQ(h.frame(fresh), kPrimaryVisibleAX);
    h.step(0.75, 4);
    EXPECT_EQ(h.log("config settled", mark), Lines{"config settled — re-adopting 3 windows"});
    // No placement for the laptop alone: the editor window is no longer a custom one.
    EXPECT_FALSE(h.state(doc)->rememberedTarget);

    // The external display comes back: the placement made with it is taken up again.
    h.changeDisplays(kBoth);
    h.step(0.6);
    h.step(0.65);  // settled
    h.step();      // re-adopted
    EXPECT_EQ(h.state(doc)->rememberedTarget, onBoth);
}

TEST(DisplayChangeScenario, SecondChangeExtendsThePeriodFromItself) {
    EngineHarness h(kBoth);
    h.launch();
    auto w = h.open("com.example.editor");
    h.tickAndStep();
    h.changeDisplays(kLaptop);
    h.advance(1.0);
    h.changeDisplays(kBoth);  // 1.0 s later: now settles at +2.2 s
    h.server.setFrame(w, {300, 200, 800, 600});
    h.step(0.4, 2);  // +1.8
    h.step(0.35);    // +2.15
    EXPECT_EQ(h.frame(w), (Rect{300, 200, 800, 600}));
    EXPECT_TRUE(h.log("config settled").empty());
    h.step(0.1);  // +2.25: over
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
}

}  // namespace
}  // namespace mavo::test

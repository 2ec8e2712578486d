// Stories of windows the user arranged: snapped into a zone, then dragged back.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kEditor = "com.example.editor";

struct ArrangedWindow {
    EngineHarness h;
    WindowHandle w;

    ArrangedWindow() {
        h.launch();
        int32_t pid = h.addApp(kEditor);
        w = h.addWindow(pid, "Doc", {0, 25, 960, 1055});  // left half
        h.tick();
        h.step();
        EXPECT_EQ(h.state(w)->disposition, Disposition::userArranged);
    }
};

TEST(UserArrangedScenario, DraggedToFiftyNinePercentStaysArrangedToSixtyIsReengaged) {
    ArrangedWindow a;
    EngineHarness& h = a.h;
    size_t mark = h.logMark();

    Rect fiftyNine{100, 25, 1132.8, 1055};
    h.handMoveAndSettle(a.w, fiftyNine);
    h.step();
    EXPECT_EQ(h.state(a.w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.frame(a.w), fiftyNine);
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_TRUE(h.linesSince(mark).empty());

    h.handMoveAndSettle(a.w, {100, 25, 1152, 1055});
    EXPECT_EQ(h.linesSince(mark),
              (std::vector<std::string>{"re-engage frame=(100.0,25.0 1152.0×1055.0) ov=60.0%",
                                        "apply \"Doc\" target=(0.0,25.0 1920.0×1055.0) "
                                        "achieved=(0.0,25.0 1920.0×1055.0) Δw=0.0 Δh=0.0 "
                                        "iters=0 mem=false"}));
    EXPECT_EQ(h.state(a.w)->disposition, Disposition::managed);
    EXPECT_EQ(h.frame(a.w), kPrimaryVisibleAX);
}

TEST(UserArrangedScenario, NoReengageWhileTheButtonIsHeldOrTheFrameIsMoving) {
    ArrangedWindow a;
    EngineHarness& h = a.h;
    h.input.press();
    h.server.setFrame(a.w, {100, 25, 1500, 1055});
    h.input.drag();
    for (int i = 0; i < 4; ++i) h.step();  // held down for three seconds
    EXPECT_EQ(h.state(a.w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(), 0u);

    h.input.release();
    h.step();
    EXPECT_EQ(h.state(a.w)->disposition, Disposition::managed);
    EXPECT_EQ(h.frame(a.w), kPrimaryVisibleAX);
}

TEST(UserArrangedScenario, LargeFrameStillInASnapZoneIsNotReengaged) {
    ArrangedWindow a;
    EngineHarness& h = a.h;
    // The right two thirds: 67 % of the display, but a zone the user chose.
    h.handMoveAndSettle(a.w, {640, 25, 1280, 1055});
    h.step();
    EXPECT_EQ(h.state(a.w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(), 0u);
}

// A new editor window, maximized and settled.
WindowHandle openMaximized(EngineHarness& h) {
    h.launch();
    auto w = h.addWindow(h.addApp(kEditor), "Doc", {200, 150, 800, 600});
    h.tick();
    h.step();
    return w;
}

TEST(UserArrangedScenario, SnappingAMaximizedWindowLeavesItToTheUser) {
    EngineHarness h;
    auto w = openMaximized(h);
    size_t mark = h.logMark();
    h.server.clearWrites();

    h.handMoveAndSettle(w, {960, 25, 960, 1055});
    EXPECT_EQ(h.linesSince(mark),
              (std::vector<std::string>{"userArranged(zone) frame=(960.0,25.0 960.0×1055.0)"}));
    auto s = h.state(w);
    EXPECT_EQ(s->disposition, Disposition::userArranged);
    EXPECT_EQ(s->lastTargetFrame, kPrimaryVisibleAX);
    for (int i = 0; i < 4; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
}

TEST(UserArrangedScenario, SnappingACustomWindowForgetsItsPlacement) {
    EngineHarness h;
    auto w = openMaximized(h);
    h.handMoveAndSettle(w, {144, 25, 1632, 1055});
    ASSERT_TRUE(h.store->get("PRIMARY|com.example.editor|"));

    h.step(1.5);
    h.handMoveAndSettle(w, {0, 25, 640, 1055});  // left third
    EXPECT_FALSE(h.store->get("PRIMARY|com.example.editor|"));
    auto s = h.state(w);
    EXPECT_EQ(s->disposition, Disposition::userArranged);
    EXPECT_FALSE(s->rememberedTarget);
}

}  // namespace
}  // namespace mavo::test

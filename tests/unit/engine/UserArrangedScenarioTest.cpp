// Stories of windows the user arranged: snapped into a zone, then dragged back.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

// An editor window opened at `frame`, met and settled.
struct Opened : EngineHarness {
    WindowHandle w;
    explicit Opened(const Rect& frame) {
        launch();
        w = open("com.example.editor", frame);
        tickAndStep();
    }
};

TEST(UserArrangedScenario, DraggedToFiftyNinePercentStaysArrangedToSixtyIsReengaged) {
    Opened h({0, 25, 960, 1055});  // left half
    ASSERT_EQ(h.state(h.w)->disposition, Disposition::userArranged);
    size_t mark = h.logMark();
    // 59 % of the display, then the right two thirds: 67 %, but a zone the user chose.
    for (Rect notBack : {Rect{100, 25, 1132.8, 1055}, Rect{640, 25, 1280, 1055}}) {
        h.handMoveAndSettle(h.w, notBack);
        h.step();
        EXPECT_EQ(h.state(h.w)->disposition, Disposition::userArranged);
        EXPECT_EQ(h.server.writeCount(), 0u);
    }
    EXPECT_TRUE(h.logLines(mark).empty());

    h.handMoveAndSettle(h.w, {100, 25, 1152, 1055});
    EXPECT_EQ(h.linesStartingWith("re-engage", mark),
              Lines{"re-engage frame=(100.0,25.0 1152.0×1055.0) ov=60.0%"});
    EXPECT_EQ(h.state(h.w)->disposition, Disposition::managed);
    EXPECT_EQ(h.frame(h.w), kPrimaryVisibleAX);
}

TEST(UserArrangedScenario, NoReengageWhileTheButtonIsHeldOrTheFrameIsMoving) {
    Opened h({0, 25, 960, 1055});
    h.input.press();
    h.server.setFrame(h.w, {100, 25, 1500, 1055});
    h.input.drag();
    h.step(0.75, 4);  // held down for three seconds
    EXPECT_EQ(h.state(h.w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(), 0u);

    h.input.release();
    h.step();
    EXPECT_EQ(h.state(h.w)->disposition, Disposition::managed);
    EXPECT_EQ(h.frame(h.w), kPrimaryVisibleAX);
}

TEST(UserArrangedScenario, SnappingLeavesTheWindowToTheUserAndForgetsItsPlacement) {
    Opened h({200, 150, 800, 600});
    h.handMoveAndSettle(h.w, {144, 25, 1632, 1055});
    ASSERT_TRUE(h.store->get("PRIMARY|com.example.editor|"));
    h.step(1.5);
    h.handMoveAndSettle(h.w, {0, 25, 640, 1055});  // left third
    EXPECT_FALSE(h.store->get("PRIMARY|com.example.editor|"));
    EXPECT_FALSE(h.state(h.w)->rememberedTarget);
    EXPECT_EQ(h.writesOver(4), 0u);
}

}  // namespace
}  // namespace mavo::test

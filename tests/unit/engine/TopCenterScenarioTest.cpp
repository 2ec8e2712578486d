// Top-centred windows: utility windows, focus windows on large displays, and what the user does
// to them by hand or by keyboard.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kNotes = "com.example.notes";
// 62 % × 80 % of the 1920×1055 visible frame, centred, 2 points below its top.
const Rect kUtility{(1920 - 0.62 * 1920) * 0.5, 27, 0.62 * 1920, 0.8 * 1055};
const Rect kBigVisible{0, 25, 2560, 1415};

// 2560×1440 at 600 mm: a large display.
ScreenInfo bigDisplay() {
    return makeScreen({0, 0, 2560, 1440}, "BIG", 25, 0, false, 600);
}

void expectNear(std::optional<Rect> a, const Rect& e) {
    ASSERT_TRUE(a);
    for (auto [got, want] :
         {std::pair{a->x, e.x}, {a->y, e.y}, {a->width, e.width}, {a->height, e.height}})
        EXPECT_NEAR(got, want, 1e-9);
}

// A window of an application on the top-center list, centred and settled.
struct UtilityWindow : EngineHarness {
    WindowHandle w;
    UtilityWindow() {
        launch();
        engine->settings().toggleTopCenter(kNotes);
        w = open(kNotes, {100, 100, 800, 600}, "Notes");
        tick();
        step(2.5);  // the engine's own write has aged
    }
};

TEST(TopCenterScenario, WindowWhoseSizeCannotBeSetIsMovedNotResized) {
    for (bool topCenter : {true, false}) {
        SCOPED_TRACE(topCenter);
        EngineHarness h;
        h.defaults.set("topCenterMode", topCenter);
        h.launch();
        auto w = h.open("com.example.panel", {100, 100, 600, 400});
        h.server.setResizeBehaviour(w, ResizeBehaviour::fixedSize());
        h.tick();
        EXPECT_EQ(h.frame(w), (topCenter ? Rect{660, 27, 600, 400} : Rect{100, 100, 600, 400}));
        EXPECT_EQ(h.writesOver(4), 0u);
    }
}

// Capped at 90 % of the display; not for an always-maximize or a cell-sized application.
TEST(TopCenterScenario, FocusSizeOnLargeDisplays) {
    const auto mid = makeScreen({0, 0, 1800, 1200}, "MID", 25, 0, false, 600);
    struct Row {
        ScreenInfo display;
        std::string bid;
        Rect expected;
    };
    for (const Row& row : {
             Row{mid, "Browser", {90, 27, 1620, 0.88 * 1175}},  // 1760 wide, but 90 % of 1800
             Row{bigDisplay(), "com.example.always", kBigVisible},
             Row{bigDisplay(), "Terminal", kBigVisible},
         }) {
        SCOPED_TRACE(row.bid);
        EngineHarness h({row.display});
        h.launch();
        h.engine->settings().toggleMaximizeApp("com.example.always");
        auto w = h.open(row.bid);
        h.tick();
        expectNear(h.frame(w), row.expected);
        EXPECT_EQ(h.events.count("focus_sized"), row.bid == "Browser");
    }
}

TEST(TopCenterScenario, ResizeByHandIsStoredAsATopCenterRecord) {
    UtilityWindow h;
    h.handMoveAndSettle(h.w, {364.8, 27, 1197.4, 844});
    auto record = h.store->get("PRIMARY|com.example.notes|");
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->topCenter);
    EXPECT_EQ(record->rel, (RelFrame{0, 0, 1197.4 / 1920, 844.0 / 1055}));
}

// A settled utility window is left alone; maximized by keyboard it is the user's, by anything
// else it is put back.
TEST(TopCenterScenario, KeyboardMaximizeCountsForUtilityWindowsOnly) {
    for (bool key : {true, false}) {
        SCOPED_TRACE(key);
        UtilityWindow h;
        EXPECT_EQ(h.writesOver(4), 0u);
        if (key) h.input.keyPress();
        h.server.setFrame(h.w, kPrimaryVisibleAX);
        h.step(0.1);
        h.step();
        EXPECT_EQ(h.state(h.w)->userMaximized, key);
        expectNear(h.frame(h.w), key ? kPrimaryVisibleAX : kUtility);
    }
}

}  // namespace
}  // namespace mavo::test

// Top-centred windows: utility windows, focus windows on large displays, and what the user does
// to them by hand or by keyboard.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kNotes = "com.example.notes";
const std::string kReader = "com.example.reader";
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
        EXPECT_EQ(h.events.count("focus_sized"), 0);
    }
}

// min(1280, 90 %) × 88 % of a large display, 1760 for an application on the wide list, none on a
// small display, when turned off, for an always-maximize or a cell-sized application; sent at first
// sight, even for a window already in place, and never again.
TEST(TopCenterScenario, FocusSizeOnLargeDisplays) {
    const auto mid = makeScreen({0, 0, 1800, 1200}, "MID", 25, 0, false, 600);
    struct Row {
        ScreenInfo display;
        std::string bid;
        Rect from, expected;
        bool focusOff = false, alwaysMaximize = false;
    };
    const Rect small{100, 100, 800, 600};
    for (const Row& row : {
             Row{bigDisplay(), kReader, small, {640, 27, 1280, 0.88 * 1415}},
             Row{bigDisplay(), "Browser", small, {400, 27, 1760, 0.88 * 1415}},
             Row{bigDisplay(), kReader, {640, 27, 1280, 0.88 * 1415}, {640, 27, 1280, 0.88 * 1415}},
             Row{mid, "Browser", small, {90, 27, 1620, 0.88 * 1175}},  // 90 % of 1800
             Row{primary1080(), kReader, small, kPrimaryVisibleAX},
             Row{bigDisplay(), kReader, small, kBigVisible, true},
             Row{bigDisplay(), kReader, small, kBigVisible, false, true},
             Row{bigDisplay(), "Terminal", small, kBigVisible},  // sized in cells
         }) {
        SCOPED_TRACE(row.display.uuid + " " + row.bid + " " + std::to_string(row.from.x));
        EngineHarness h({row.display});
        if (row.focusOff) h.defaults.set("focusSizeBigDisplays", false);
        h.launch();
        if (row.alwaysMaximize) h.engine->settings().toggleMaximizeApp(kReader);
        auto w = h.open(row.bid, row.from);
        h.tick();
        h.step(0.75, 4);
        expectNear(h.frame(w), row.expected);
        bool sized = row.expected.width < row.display.visibleFrame.width;
        EXPECT_EQ(h.events.named("focus_sized"),
                  std::vector<nlohmann::json>(sized, {{"display_class", "largeExternal"}}));
    }
}

TEST(TopCenterScenario, SevenPointResizeIsKeptPersistedAndRecentred) {
    UtilityWindow h;
    const Rect centred{(1920 - 1197.4) / 2, 27, 1197.4, 844};
    size_t mark = h.logMark();
    h.handMoveAndSettle(h.w, {364.8, 27, 1197.4, 844});
    EXPECT_EQ(h.linesStartingWith("topcenter", mark),
              Lines{"topcenter resize→recenter 1197.4×844.0"});
    expectNear(h.frame(h.w), centred);
    auto record = h.store->get("PRIMARY|com.example.notes|");
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->topCenter);
    EXPECT_FALSE(record->maximized);
    EXPECT_EQ(record->rel, (RelFrame{0, 0, 1197.4 / 1920, 844.0 / 1055}));

    // The next launch brings it back at the size the user chose.
    h.server.setFrame(h.w, {100, 100, 800, 600});
    h.relaunch();
    h.tick();
    expectNear(h.frame(h.w), centred);
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

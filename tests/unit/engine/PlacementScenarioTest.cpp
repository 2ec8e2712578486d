// Stories of a window the user places by hand: remembered, written to disk, restored on the next
// launch, and forgotten again when dragged back over the display.

#include <gtest/gtest.h>

#include <limits>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kKey = "PRIMARY|com.example.editor|";
const Rect kCustom{144, 25, 1632, 1055};  // 85 % of the visible frame

TEST(PlacementScenario, HandDragIsRememberedPersistedRestoredAndForgotten) {
    EngineHarness h;
    h.launch();
    auto w = h.open(kEditor);
    h.tickAndStep();
    h.handMoveAndSettle(w, kCustom);
    EXPECT_EQ(h.frame(w), kCustom);
    auto record = h.store->get(kKey);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->rel, (RelFrame{144.0 / 1920, 0, 1632.0 / 1920, 1}));
    EXPECT_DOUBLE_EQ(record->updatedAt, referenceDateFromUnix(h.clock.wallClock()));
    EXPECT_FALSE(record->topCenter || record->maximized);

    // Quit; the application later reopens its window at its own default frame.
    h.server.setFrame(w, {300, 200, 800, 600});
    h.relaunch();
    h.tick();
    EXPECT_EQ(h.frame(w), kCustom);
    EXPECT_EQ(h.state(w)->rememberedTarget, kCustom);
    EXPECT_EQ(h.events.count("placement_remembered"), 1);

    h.step(1.5);
    h.handMoveAndSettle(w, {96, 25, 1824, 1055});  // back over most of the display
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    EXPECT_FALSE(h.store->get(kKey));
}

// Two windows: titles join the keys, as the file holds them; names that are not UTF-8 arrive
// repaired.
TEST(PlacementScenario, TitlesKeyPlacementsOnlyForApplicationsWithSeveralWindows) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(
        "Bad\xff\xfe"
        "Class");
    auto a = h.addWindow(pid, "  R\xe2\x82port — Edited\n", {200, 150, 800, 600});
    auto b = h.addWindow(pid, "Notes", {220, 170, 800, 600});
    h.tickAndStep();
    h.handMoveAndSettle(a, kCustom);

    // Reopened later under the title it was saved as; the other window has no placement.
    h.server.change(a, [](WindowFacts& f) { f.title = "r\uFFFDport"; });
    h.server.setFrame(a, {300, 200, 800, 600});
    h.server.setFrame(b, {220, 170, 800, 600});
    h.relaunch();  // read back from disk
    EXPECT_TRUE(h.store->get("PRIMARY|Bad\uFFFD\uFFFDClass|r\uFFFDport"));
    h.tick();
    EXPECT_EQ(h.frame(a), kCustom);
    EXPECT_EQ(h.frame(b), kPrimaryVisibleAX);
}

// At least a tenth of the 1920×1055 visible frame each way, never past its edges, and never onto
// a display that is not attached.
TEST(PlacementScenario, DamagedRecordsRestoreAUsableFrameInsideTheDisplay) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        RelFrame rel;
        bool topCenter;
        Rect expected;  // the frame, or for a top-center record the size at its origin
        std::string display = "PRIMARY";
    };
    for (const Row& row : {
             Row{{0.1, 0.1, 0, 0.5}, false, {192, 130.5, 192, 527.5}},
             Row{{0.1, 0.1, 0.5, 1e-308}, false, {192, 130.5, 960, 105.5}},
             Row{{0.5, 0.5, -0.3, -1}, false, {960, 552.5, 192, 105.5}},
             Row{{1e308, -1e308, 1e308, 0.5}, false, {0, 25, 1920, 527.5}},
             Row{{nan, 0.1, 0.5, 0.5}, false, kPrimaryVisibleAX},
             Row{{0.1, 0.1, 0.5, 0.5}, false, kPrimaryVisibleAX, "GONE"},
             Row{{0, 0, 0, 0}, true, {0, 0, 192, 105.5}},
             Row{{0, 0, 1e308, 1e308}, true, {0, 0, 1920, 1055}},
         }) {
        SCOPED_TRACE(testing::Message() << row.rel.fx << " " << row.rel.fw << " " << row.rel.fh);
        EngineHarness h;
        h.launch();
        if (row.topCenter) h.engine->settings().toggleTopCenter(kEditor);
        h.store->put(kKey, PlacementRecord{row.display, row.rel, 1, row.topCenter, {}});
        auto w = h.open(kEditor);
        h.tick();
        if (row.topCenter) {
            EXPECT_EQ(h.state(w)->topCenterSize, row.expected.size());
        } else {
            EXPECT_EQ(h.frame(w), row.expected);
        }
    }
}

}  // namespace
}  // namespace mavo::test

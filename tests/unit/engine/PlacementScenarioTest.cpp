// Stories of a window the user places by hand: remembered, written to disk, restored on the next
// launch, and given up again when dragged back over the display.

#include <gtest/gtest.h>

#include <limits>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kKey = "PRIMARY|com.example.editor|";
const Rect kCustom{144, 25, 1632, 1055};  // 85 % of the visible frame

// A maximized, settled window of a single-window application.
struct MaximizedWindow : EngineHarness {
    WindowHandle w;
    MaximizedWindow() {
        launch();
        w = open(kEditor);
        tickAndStep();
    }
};

TEST(PlacementScenario, HandDragIsRememberedPersistedAndRestoredAfterRelaunch) {
    MaximizedWindow h;
    size_t mark = h.logMark();
    h.handMoveAndSettle(h.w, kCustom);
    EXPECT_EQ(h.logLines(mark), Lines{"remember(custom) frame=(144.0,25.0 1632.0×1055.0)"});
    EXPECT_EQ(h.events.count("placement_remembered"), 1);
    EXPECT_EQ(h.frame(h.w), kCustom);
    auto record = h.store->get(kKey);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->rel, (RelFrame{144.0 / 1920, 0, 1632.0 / 1920, 1}));
    EXPECT_DOUBLE_EQ(record->updatedAt, referenceDateFromUnix(h.clock.wallClock()));
    EXPECT_FALSE(record->topCenter || record->maximized);

    // Moved again by hand: stored again, but the first placement was the one worth telling.
    h.step(1.5);
    Rect second{200, 25, 1632, 1055};
    h.handMoveAndSettle(h.w, second);
    EXPECT_EQ(h.events.count("placement_remembered"), 1);

    // Quit; the application later reopens its window at its own default frame.
    h.server.setFrame(h.w, {300, 200, 800, 600});
    h.relaunch();
    mark = h.logMark();
    h.tick();
    EXPECT_EQ(h.frame(h.w), second);
    EXPECT_EQ(h.linesStartingWith("restore(", mark),
              Lines{"restore(persisted) frame=(200.0,25.0 1632.0×1055.0)"});
    auto s = h.state(h.w);
    EXPECT_EQ(s->rememberedTarget, second);
    EXPECT_EQ(s->bestFitFrame, second);
    EXPECT_EQ(s->lastTargetFrame, second);  // the apply's own target
}

TEST(PlacementScenario, DragBackOverNinetyPercentOfTheDisplayForgetsThePlacementAndMaximizes) {
    MaximizedWindow h;
    h.handMoveAndSettle(h.w, {0, 25, 1727.9, 1055});  // just under 90 %: a custom placement
    ASSERT_TRUE(h.store->get(kKey));

    h.step(1.5);
    size_t mark = h.logMark();
    h.handMoveAndSettle(h.w, {100, 25, 1728, 1055});  // exactly 90 %
    EXPECT_EQ(h.linesStartingWith("reclaim", mark),
              Lines{"reclaim→max frame=(100.0,25.0 1728.0×1055.0)"});
    EXPECT_EQ(h.frame(h.w), kPrimaryVisibleAX);
    EXPECT_FALSE(h.state(h.w)->rememberedTarget);
    EXPECT_FALSE(h.store->get(kKey));

    // A later hand drag is a new first placement again.
    h.step(1.5);
    h.handMoveAndSettle(h.w, kCustom);
    EXPECT_EQ(h.events.count("placement_remembered"), 2);
}

TEST(PlacementScenario, TitlesKeyPlacementsOnlyForApplicationsWithSeveralWindows) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto a = h.addWindow(pid, "  Report — Edited\n", {200, 150, 800, 600});
    auto b = h.addWindow(pid, "Notes", {220, 170, 800, 600});
    h.tickAndStep();
    h.handMoveAndSettle(a, kCustom);
    EXPECT_TRUE(h.store->get("PRIMARY|com.example.editor|report"));
    EXPECT_FALSE(h.store->get(kKey));

    // Reopened later under the title it was saved as, it finds the record made as
    // "Report — Edited"; the other window has none.
    h.server.change(a, [](WindowFacts& f) { f.title = "report"; });
    h.server.setFrame(a, {300, 200, 800, 600});
    h.server.setFrame(b, {220, 170, 800, 600});
    h.relaunch();
    h.tick();
    EXPECT_EQ(h.frame(a), kCustom);
    EXPECT_EQ(h.frame(b), kPrimaryVisibleAX);
}

TEST(PlacementScenario, FrameOnADisplayThatIsGoneIsNeitherRestoredNorKept) {
    const auto ext = rightOf(primary1080(), 1920, 1080, "EXT");
    const Rect custom{2100, 0, 1500, 1080}, extFull{1920, 0, 1920, 1080};
    const std::string key = "EXT+PRIMARY|" + kEditor + "|";
    for (bool reported : {true, false}) {
        SCOPED_TRACE(reported);
        EngineHarness h({primary1080(), ext});
        h.launch();
        auto w = h.open(kEditor, {2000, 100, 800, 600});
        h.tickAndStep();
        EXPECT_EQ(h.frame(w), extFull);
        h.handMoveAndSettle(w, custom);
        ASSERT_EQ(h.store->get(key)->displayUUID, "EXT");
        h.step(1.5);
        if (reported) {
            // The same arrangement's key, but EXT reports another identity: nothing to restore
            // onto.
            h.setScreens({primary1080(), rightOf(primary1080(), 1920, 1080, "EXT2")});
            h.store->put("EXT2+PRIMARY|" + kEditor + "|", *h.store->get(key));
            h.server.setFrame(w, {2000, 100, 800, 600});
            h.relaunch();
            h.tick();
            EXPECT_EQ(h.frame(w), extFull);
            continue;
        }
        // EXT is gone without a change being reported: the remembered frame is nowhere on screen
        // any more, and the window is brought onto the display that is left.
        h.setScreens({primary1080()});
        size_t mark = h.logMark();
        h.step();
        EXPECT_EQ(h.linesStartingWith("retire", mark),
                  Lines{"retire(offscreen) frame=(2100.0,0.0 1500.0×1080.0)"});
        EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
        EXPECT_FALSE(h.state(w)->rememberedTarget);
    }
}

TEST(PlacementScenario, DamagedRecordsRestoreAUsableFrameInsideTheDisplay) {
    // At least a tenth of the 1920×1055 visible frame each way, and never past its edges.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        RelFrame rel;
        bool topCenter;
        Rect expected;  // the frame, or for a top-center record the size at its origin
    };
    for (const Row& row : {
             Row{{0.1, 0.1, 0, 0.5}, false, {192, 130.5, 192, 527.5}},
             Row{{0.1, 0.1, 0.5, 1e-308}, false, {192, 130.5, 960, 105.5}},
             Row{{0.5, 0.5, -0.3, -1}, false, {960, 552.5, 192, 105.5}},
             Row{{1e308, -1e308, 1e308, 0.5}, false, {0, 25, 1920, 527.5}},
             Row{{nan, 0.1, 0.5, 0.5}, false, kPrimaryVisibleAX},
             Row{{0, 0, 0, 0}, true, {0, 0, 192, 105.5}},
             Row{{0, 0, 1e308, 1e308}, true, {0, 0, 1920, 1055}},
         }) {
        SCOPED_TRACE(testing::Message() << row.rel.fx << " " << row.rel.fw << " " << row.rel.fh);
        EngineHarness h;
        h.launch();
        if (row.topCenter) h.engine->settings().toggleTopCenter(kEditor);
        h.store->put(kKey, PlacementRecord{"PRIMARY", row.rel, 1, row.topCenter, {}});
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

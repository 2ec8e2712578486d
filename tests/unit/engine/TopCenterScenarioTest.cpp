// Stories of top-centred windows: utility windows, focus windows on large displays, and what the
// user does to them by hand or by keyboard.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kNotes = "com.example.notes";
// 62 % × 80 % of the 1920×1055 visible frame, centred, 2 points below its top.
const Rect kUtility{(1920 - 0.62 * 1920) * 0.5, 27, 0.62 * 1920, 0.8 * 1055};

// A 2560×1440 external display of 600 mm: a large one. Visible frame (0,25 2560×1415).
ScreenInfo bigDisplay() {
    return makeScreen({0, 0, 2560, 1440}, "BIG", 25, 0, false, 600);
}

void expectNear(const Rect& actual, const Rect& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-9);
    EXPECT_NEAR(actual.y, expected.y, 1e-9);
    EXPECT_NEAR(actual.width, expected.width, 1e-9);
    EXPECT_NEAR(actual.height, expected.height, 1e-9);
}

// A resizable window of an application on the top-center list, centred and settled.
struct UtilityWindow {
    EngineHarness h;
    int32_t pid = 0;
    WindowHandle w;

    explicit UtilityWindow(std::vector<ScreenInfo> screens = {primary1080()}) : h(screens) {
        h.launch();
        h.engine->toggleTopCenter(kNotes);
        pid = h.addApp(kNotes);
        w = h.addWindow(pid, "Notes", {100, 100, 800, 600});
        h.tick();
        h.step(2.5);  // the engine's own write has aged
    }
};

TEST(TopCenterScenario, WindowWhoseSizeCannotBeSetIsMovedNotResized) {
    EngineHarness h;
    h.launch();
    ASSERT_TRUE(h.engine->topCenterMode());
    int32_t pid = h.addApp("com.example.panel");
    auto w = h.addWindow(pid, "Panel", {100, 100, 600, 400});
    h.server.setResizeBehaviour(w, ResizeBehaviour::fixedSize());
    h.tick();

    EXPECT_EQ(h.frame(w), (Rect{660, 27, 600, 400}));
    EXPECT_EQ(h.logLines(),
              (std::vector<std::string>{"restore \"Panel\" target=(660.0,27.0 600.0×400.0) "
                                        "achieved=(660.0,27.0 600.0×400.0) Δw=0.0 Δh=0.0 "
                                        "iters=0 mem=false"}));
    EXPECT_EQ(h.events.count("focus_sized"), 0);
    EXPECT_TRUE(h.engine->cellSnapAppsSnapshot().count("com.example.panel") == 0);
    h.server.clearWrites();
    for (int i = 0; i < 4; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
}

TEST(TopCenterScenario, WindowWhoseSizeCannotBeSetIsLeftAloneWithTopCenterModeOff) {
    EngineHarness h;
    h.defaults.set("topCenterMode", false);
    h.launch();
    int32_t pid = h.addApp("com.example.panel");
    auto w = h.addWindow(pid, "Panel", {100, 100, 600, 400});
    h.server.setResizeBehaviour(w, ResizeBehaviour::fixedSize());
    h.tick();
    h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_FALSE(h.state(w));
}

TEST(TopCenterScenario, UtilityWindowTakesSixtyTwoByEightyPercent) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    expectNear(*h.frame(u.w), kUtility);
    EXPECT_EQ(h.logLines(),
              (std::vector<std::string>{"restore \"Notes\" target=(364.8,27.0 1190.4×844.0) "
                                        "achieved=(364.8,27.0 1190.4×844.0) Δw=0.0 Δh=0.0 "
                                        "iters=0 mem=false"}));
    auto s = h.state(u.w);
    EXPECT_EQ(s->disposition, Disposition::managed);
    EXPECT_FALSE(s->topCenterSize);
    h.server.clearWrites();
    for (int i = 0; i < 4; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.events.count("focus_sized"), 0);

    // The application nudging it is put back.
    h.server.setFrame(u.w, {300, 60, 1190.4, 844});
    h.step();
    h.step();
    expectNear(*h.frame(u.w), kUtility);
}

TEST(TopCenterScenario, FocusWindowOnALargeDisplayTakesTheFocusSize) {
    EngineHarness h({bigDisplay()});
    h.launch();
    int32_t reader = h.addApp("com.example.reader");
    int32_t browser = h.addApp("com.google.Chrome");
    auto r = h.addWindow(reader, "Article", {100, 100, 800, 600});
    auto b = h.addWindow(browser, "Tab", {100, 100, 800, 600});
    h.tick();

    // min(1280, 90 % of 2560) × 88 % of 1415, and 1760 for an application on the wide list.
    expectNear(*h.frame(r), {640, 27, 1280, 0.88 * 1415});
    expectNear(*h.frame(b), {400, 27, 1760, 0.88 * 1415});
    auto sized = h.events.named("focus_sized");
    ASSERT_EQ(sized.size(), 2u);
    EXPECT_EQ(sized[0], (nlohmann::json{{"display_class", "largeExternal"}}));
    EXPECT_EQ(sized[1], (nlohmann::json{{"display_class", "largeExternal"}}));
    EXPECT_EQ(h.linesStartingWith("restore \"Article\" target=(640.0,27.0 1280.0×1245.2)").size(),
              1u);

    // A focus window is sized once, at first sight; settling does not send the event again.
    for (int i = 0; i < 4; ++i) h.step();
    EXPECT_EQ(h.events.count("focus_sized"), 2);
}

TEST(TopCenterScenario, FocusWidthIsCappedAtNinetyPercentOfTheDisplay) {
    // 1800 wide and 600 mm: large, but 90 % of it (1620) is below the wide focus width.
    EngineHarness h({makeScreen({0, 0, 1800, 1200}, "MID", 25, 0, false, 600)});
    h.launch();
    int32_t browser = h.addApp("com.google.Chrome");
    auto b = h.addWindow(browser, "Tab", {100, 100, 800, 600});
    h.tick();
    expectNear(*h.frame(b), {90, 27, 1620, 0.88 * 1175});
}

TEST(TopCenterScenario, FocusSizedIsSentEvenWhenTheWindowIsAlreadyInPlace) {
    EngineHarness h({bigDisplay()});
    h.launch();
    int32_t reader = h.addApp("com.example.reader");
    h.addWindow(reader, "Article", {640, 27, 1280, 0.88 * 1415});
    h.tick();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.events.count("focus_sized"), 1);
}

TEST(TopCenterScenario, NoFocusSizeOnASmallDisplayOrWhenTurnedOffOrForAlwaysMaximizeApps) {
    {
        EngineHarness h;  // 1920 wide, no physical size: a small display
        h.launch();
        auto w = h.addWindow(h.addApp("com.example.reader"), "Article", {100, 100, 800, 600});
        h.tick();
        EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
        EXPECT_EQ(h.events.count("focus_sized"), 0);
    }
    {
        EngineHarness h({bigDisplay()});
        h.defaults.set("focusSizeBigDisplays", false);
        h.launch();
        auto w = h.addWindow(h.addApp("com.example.reader"), "Article", {100, 100, 800, 600});
        h.tick();
        EXPECT_EQ(h.frame(w), (Rect{0, 25, 2560, 1415}));
    }
    {
        EngineHarness h({bigDisplay()});
        h.launch();
        h.engine->toggleMaximizeApp("com.example.reader");
        auto w = h.addWindow(h.addApp("com.example.reader"), "Article", {100, 100, 800, 600});
        h.tick();
        EXPECT_EQ(h.frame(w), (Rect{0, 25, 2560, 1415}));
    }
}

TEST(TopCenterScenario, SixPointResizeIsAMoveThatIsRespected) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    size_t mark = h.logMark();
    Rect wider{364.8, 27, 1196.4, 844};
    h.handMoveAndSettle(u.w, wider);
    EXPECT_EQ(h.linesSince(mark),
              (std::vector<std::string>{"topcenter move→respect frame=(364.8,27.0 1196.4×844.0)"}));
    auto s = h.state(u.w);
    EXPECT_TRUE(s->userPositioned);
    EXPECT_EQ(s->rememberedTarget, wider);
    EXPECT_FALSE(s->topCenterSize);
    EXPECT_EQ(h.store->count(), 0u);

    // From now on it stays where the user put it.
    h.server.clearWrites();
    for (int i = 0; i < 4; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.frame(u.w), wider);
}

TEST(TopCenterScenario, SevenPointResizeIsKeptPersistedAndRecentred) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    size_t mark = h.logMark();
    h.handMoveAndSettle(u.w, {364.8, 27, 1197.4, 844});

    EXPECT_EQ(h.linesSince(mark),
              (std::vector<std::string>{"restore \"Notes\" target=(361.3,27.0 1197.4×844.0) "
                                        "achieved=(361.3,27.0 1197.4×844.0) Δw=0.0 Δh=0.0 "
                                        "iters=0 mem=false",
                                        "topcenter resize→recenter 1197.4×844.0"}));
    expectNear(*h.frame(u.w), {(1920 - 1197.4) / 2, 27, 1197.4, 844});
    EXPECT_EQ(h.state(u.w)->topCenterSize, (Size{1197.4, 844}));
    auto record = h.store->get("PRIMARY|com.example.notes|");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->displayUUID, "PRIMARY");
    EXPECT_EQ(record->topCenter, true);
    EXPECT_FALSE(record->maximized);
    EXPECT_EQ(record->rel, (RelFrame{0, 0, 1197.4 / 1920, 844.0 / 1055}));

    // On the next launch the window comes back at the size the user chose.
    h.server.setFrame(u.w, {100, 100, 800, 600});
    h.relaunch();
    auto doc = h.placementFile();
    ASSERT_TRUE(doc.has_value());
    EXPECT_EQ((*doc)["records"]["PRIMARY|com.example.notes|"]["topCenter"], true);
    mark = h.logMark();
    h.tick();
    auto lines = h.linesSince(mark);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "restore(topcenter) size=1197.4×844.0");
    EXPECT_EQ(lines[1].rfind("restore \"Notes\" target=(361.3,27.0 1197.4×844.0)", 0), 0u);
    expectNear(*h.frame(u.w), {(1920 - 1197.4) / 2, 27, 1197.4, 844});
}

TEST(TopCenterScenario, UserMaximizeByDragIsKeptAndRevertedWhenDraggedOut) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    size_t mark = h.logMark();
    h.handMoveAndSettle(u.w, kPrimaryVisibleAX);
    auto lines = h.linesSince(mark);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("apply \"Notes\" target=(0.0,25.0 1920.0×1055.0)", 0), 0u);
    EXPECT_EQ(lines[1], "user-maximized frame=(0.0,25.0 1920.0×1055.0)");
    EXPECT_EQ(h.events.count("window_user_maximized"), 1);
    EXPECT_TRUE(h.state(u.w)->userMaximized);

    // It stays maximized.
    h.server.clearWrites();
    for (int i = 0; i < 4; ++i) h.step();
    EXPECT_EQ(h.server.writeCount(), 0u);
    EXPECT_EQ(h.frame(u.w), kPrimaryVisibleAX);

    // Dragged back out to a smaller frame: centred again, at the size it was left.
    mark = h.logMark();
    h.handMoveAndSettle(u.w, {200, 100, 1000, 700});
    lines = h.linesSince(mark);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("restore \"Notes\" target=(460.0,27.0 1000.0×700.0)", 0), 0u);
    EXPECT_EQ(lines[1], "revert(user-maximize) frame=(200.0,100.0 1000.0×700.0) keptSmaller=true");
    auto s = h.state(u.w);
    EXPECT_FALSE(s->userMaximized);
    EXPECT_EQ(s->topCenterSize, (Size{1000, 700}));
    EXPECT_EQ(h.frame(u.w), (Rect{460, 27, 1000, 700}));
}

TEST(TopCenterScenario, DraggedOutOfMaximizeByLessThanFortyPointsTakesTheDefaultSize) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    h.handMoveAndSettle(u.w, kPrimaryVisibleAX);
    ASSERT_TRUE(h.state(u.w)->userMaximized);
    h.step(2.5);
    size_t mark = h.logMark();
    h.handMoveAndSettle(u.w, {20, 45, 1900, 1030});
    EXPECT_EQ(h.linesStartingWith("revert(user-maximize)", mark),
              (std::vector<std::string>{
                  "revert(user-maximize) frame=(20.0,45.0 1900.0×1030.0) keptSmaller=false"}));
    EXPECT_FALSE(h.state(u.w)->topCenterSize);
    expectNear(*h.frame(u.w), kUtility);
}

TEST(TopCenterScenario, KeyboardMaximizeCountsForUtilityWindows) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    h.input.keyPress();
    h.server.setFrame(u.w, kPrimaryVisibleAX);  // a keyboard shortcut maximized it
    h.step(0.1);
    h.step();
    EXPECT_TRUE(h.state(u.w)->userMaximized);
    EXPECT_EQ(h.events.count("window_user_maximized"), 1);
    EXPECT_EQ(h.frame(u.w), kPrimaryVisibleAX);
}

TEST(TopCenterScenario, MaximizeWithoutHandOrKeyIsUndone) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    h.server.setFrame(u.w, kPrimaryVisibleAX);  // the application did it by itself
    h.step(0.1);
    h.step();
    EXPECT_FALSE(h.state(u.w)->userMaximized);
    expectNear(*h.frame(u.w), kUtility);
}

TEST(TopCenterScenario, KeyboardMaximizeDoesNotCountForFocusWindows) {
    EngineHarness h({bigDisplay()});
    h.launch();
    auto w = h.addWindow(h.addApp("com.example.reader"), "Article", {100, 100, 800, 600});
    h.tick();
    h.step(2.5);
    Rect focus = *h.frame(w);
    h.input.keyPress();
    h.server.setFrame(w, {0, 25, 2560, 1415});
    h.step(0.1);
    h.step();
    EXPECT_FALSE(h.state(w)->userMaximized);
    EXPECT_EQ(h.frame(w), focus);
    EXPECT_EQ(h.events.count("window_user_maximized"), 0);

    // By hand it does.
    h.step(2.5);
    h.handMoveAndSettle(w, {0, 25, 2560, 1415});
    EXPECT_TRUE(h.state(w)->userMaximized);
}

TEST(TopCenterScenario, FocusWindowSnappedAwayIsTheUsersAndItsRecordIsDropped) {
    EngineHarness h({bigDisplay()});
    h.launch();
    auto w = h.addWindow(h.addApp("com.example.reader"), "Article", {100, 100, 800, 600});
    h.tick();
    h.step(2.5);
    h.store->put("BIG|com.example.reader|", PlacementRecord{"BIG", {0, 0, 0.5, 0.8}, 1, true, {}});
    size_t mark = h.logMark();
    h.handMoveAndSettle(w, {0, 25, 1280, 1415});  // left half
    EXPECT_EQ(
        h.linesSince(mark),
        (std::vector<std::string>{"userArranged(zone,topcenter) frame=(0.0,25.0 1280.0×1415.0)"}));
    EXPECT_EQ(h.events.count("focus_snapped_away"), 1);
    EXPECT_EQ(h.state(w)->disposition, Disposition::userArranged);
    EXPECT_FALSE(h.store->get("BIG|com.example.reader|"));
}

TEST(TopCenterScenario, MovedThenDraggedOverMostOfTheDisplayIsCentredAgain) {
    UtilityWindow u;
    EngineHarness& h = u.h;
    h.handMoveAndSettle(u.w, {300, 100, 1190.4, 844});  // moved only
    ASSERT_TRUE(h.state(u.w)->userPositioned);
    h.step(1.5);

    size_t mark = h.logMark();
    h.handMoveAndSettle(u.w, {76.8, 25, 1766.4, 1055});  // 92 %
    EXPECT_EQ(h.linesSince(mark),
              (std::vector<std::string>{"untop frame=(76.8,25.0 1766.4×1055.0)"}));
    auto s = h.state(u.w);
    EXPECT_FALSE(s->userPositioned);
    EXPECT_FALSE(s->rememberedTarget);
    EXPECT_EQ(h.frame(u.w), (Rect{76.8, 25, 1766.4, 1055}));

    h.step();  // the next tick centres it again
    expectNear(*h.frame(u.w), kUtility);
}

}  // namespace
}  // namespace mavo::test

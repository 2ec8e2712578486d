// Loading the settings at launch, the one-time built-in exclusions, and the menu's toggles.

#include <gtest/gtest.h>

#include <fstream>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

using Strings = std::vector<std::string>;

TEST(EnginePrefs, FirstLaunchSeedsInstalledBuiltInExclusionsOnce) {
    EngineHarness h;
    h.workspace.addInstalled("Calculator", "Calculator");
    h.workspace.addInstalled("Notes", "Notes");
    h.workspace.addInstalled("Chat", "Chat");
    h.workspace.addInstalled("com.example.editor", "Editor");
    h.launch();

    Strings seeded{"Calculator", "Chat", "Notes"};
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), seeded);
    EXPECT_EQ(h.defaults.strings("seededDefaultExcludes"), seeded);
    EXPECT_EQ(h.logLines(), (Strings{"seeded default excludes: "
                                     "Calculator,Chat,Notes"}));
    MaximizeEngine& e = *h.engine;
    EXPECT_TRUE(e.excludesBundleID("Notes"));
    EXPECT_FALSE(e.excludesBundleID("com.example.editor"));
    EXPECT_TRUE(e.topCenterMode());
    EXPECT_TRUE(e.focusSizeBigDisplays());
    EXPECT_TRUE(e.maximizeExistingOnStartup());
    EXPECT_FALSE(e.paused());

    // Second launch: nothing new to offer, nothing written or logged.
    h.defaults.clearWrites();
    size_t mark = h.logMark();
    h.relaunch();
    EXPECT_TRUE(h.defaults.writtenKeys().empty());
    EXPECT_TRUE(h.linesSince(mark).empty());
    EXPECT_TRUE(h.engine->excludesBundleID("Chat"));
}

TEST(EnginePrefs, ExclusionTheUserRemovedIsNeverAddedBack) {
    EngineHarness h;
    h.workspace.addInstalled("Notes", "Notes");
    h.launch();
    h.engine->toggleExclusion("Notes");
    EXPECT_FALSE(h.engine->excludesBundleID("Notes"));
    h.relaunch();
    h.relaunch();
    EXPECT_FALSE(h.engine->excludesBundleID("Notes"));
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), Strings{});
}

TEST(EnginePrefs, BuiltInExclusionInstalledLaterIsOfferedOnALaterLaunch) {
    EngineHarness h;
    h.workspace.addInstalled("Notes", "Notes");
    h.launch();
    h.workspace.addInstalled("Home", "Home");
    size_t mark = h.logMark();
    h.relaunch();
    EXPECT_EQ(h.linesSince(mark), (Strings{"seeded default excludes: Home"}));
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), (Strings{"Home", "Notes"}));
    EXPECT_EQ(h.defaults.strings("seededDefaultExcludes"), (Strings{"Home", "Notes"}));
}

TEST(EnginePrefs, TopCenterModeFallsBackToTheOlderKey) {
    {
        EngineHarness h;
        h.defaults.set("floatUtilityWindows", false);
        h.launch();
        EXPECT_FALSE(h.engine->topCenterMode());
    }
    {
        EngineHarness h;
        h.defaults.set("floatUtilityWindows", false);
        h.defaults.set("topCenterMode", true);
        h.launch();
        EXPECT_TRUE(h.engine->topCenterMode());
        // The older key is only read.
        h.engine->setTopCenterMode(false);
        h.engine->persistTopCenterMode();
        EXPECT_EQ(h.defaults.writeCount("floatUtilityWindows"), 1);  // the test's own write
        EXPECT_EQ(h.defaults.object("topCenterMode"), nlohmann::json(false));
    }
}

TEST(EnginePrefs, StoredValuesAreLoadedAndWrongTypesReadAsAbsentOrEmpty) {
    EngineHarness h;
    h.defaults.set("paused", true);
    h.defaults.set("focusSizeBigDisplays", false);
    h.defaults.set("maximizeExistingOnStartup", false);
    h.defaults.set("excludedBundleIDs", "com.example.a");              // not an array
    h.defaults.set("topCenterApps", nlohmann::json::array({"a", 3}));  // not all strings
    h.defaults.set("maximizeApps", nlohmann::json::array({"com.example.big"}));
    h.defaults.set("cellSnapApps", nlohmann::json::array({"org.example.term"}));
    h.launch();
    MaximizeEngine& e = *h.engine;
    EXPECT_TRUE(e.paused());
    EXPECT_FALSE(e.focusSizeBigDisplays());
    EXPECT_FALSE(e.maximizeExistingOnStartup());
    EXPECT_TRUE(e.excludedBundleIDs().empty());
    EXPECT_FALSE(e.topCentersBundleID("a"));
    EXPECT_TRUE(e.maximizesBundleID("com.example.big"));
    EXPECT_EQ(e.cellSnapAppsSnapshot(),
              (std::set<std::string>{"Console", "Terminal", "org.example.term"}));
}

TEST(EnginePrefs, SettersDoNotPersistButPersistOperationsDo) {
    EngineHarness h;
    h.launch();
    MaximizeEngine& e = *h.engine;
    h.defaults.clearWrites();
    e.setPaused(true);
    e.setTopCenterMode(false);
    e.setFocusSizeBigDisplays(false);
    EXPECT_TRUE(h.defaults.writtenKeys().empty());
    EXPECT_TRUE(e.paused());

    e.persistPaused();
    e.persistTopCenterMode();
    e.persistFocusSizeBigDisplays();
    EXPECT_EQ(h.defaults.object("paused"), nlohmann::json(true));
    EXPECT_EQ(h.defaults.object("topCenterMode"), nlohmann::json(false));
    EXPECT_EQ(h.defaults.object("focusSizeBigDisplays"), nlohmann::json(false));

    h.relaunch();
    EXPECT_TRUE(h.engine->paused());
    EXPECT_FALSE(h.engine->topCenterMode());
    EXPECT_FALSE(h.engine->focusSizeBigDisplays());
}

TEST(EnginePrefs, TogglesPersistThemselvesAndAreIndependent) {
    EngineHarness h;
    h.launch();
    MaximizeEngine& e = *h.engine;
    e.toggleExclusion("com.example.a");
    e.toggleTopCenter("com.example.a");
    e.toggleMaximizeApp("com.example.a");
    EXPECT_TRUE(e.excludesBundleID("com.example.a"));
    EXPECT_TRUE(e.topCentersBundleID("com.example.a"));
    EXPECT_TRUE(e.maximizesBundleID("com.example.a"));
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), Strings{"com.example.a"});
    EXPECT_EQ(h.defaults.strings("topCenterApps"), Strings{"com.example.a"});
    EXPECT_EQ(h.defaults.strings("maximizeApps"), Strings{"com.example.a"});

    e.toggleExclusion("com.example.a");
    EXPECT_FALSE(e.excludesBundleID("com.example.a"));
    EXPECT_TRUE(e.topCentersBundleID("com.example.a"));
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), Strings{});
    EXPECT_EQ(h.defaults.writeCount("excludedBundleIDs"), 2);

    h.relaunch();
    EXPECT_FALSE(h.engine->excludesBundleID("com.example.a"));
    EXPECT_TRUE(h.engine->topCentersBundleID("com.example.a"));
    EXPECT_TRUE(h.engine->maximizesBundleID("com.example.a"));
}

TEST(EnginePrefs, LoadingSettingsLoadsThePlacementStore) {
    EngineHarness h;
    std::filesystem::create_directories(h.dir / "Mavo");
    std::ofstream(h.placementPath())
        << R"({"version":1,"records":{"PRIMARY|com.example.editor|":{"displayUUID":"PRIMARY",)"
        << R"("rel":{"fx":0.1,"fy":0.1,"fw":0.5,"fh":0.5},"updatedAt":5}}})";
    EXPECT_EQ(h.store->count(), 0u);
    h.launch();
    EXPECT_EQ(h.store->count(), 1u);

    // And a window of that application is restored to it at first sight.
    auto w = h.addWindow(h.addApp("com.example.editor"), "Doc", {300, 150, 800, 600});
    h.tick();
    EXPECT_EQ(h.frame(w), (Rect{192, 25 + 105.5, 960, 527.5}));
}

}  // namespace
}  // namespace mavo::test

// Loading the settings at launch, the one-time built-in exclusions, and the menu's toggles.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(EnginePrefs, InstalledBuiltInExclusionsAreSeededOnceEach) {
    EngineHarness h;
    for (auto bid : {"Calculator", "Notes", "Chat", "com.example.editor"})
        h.workspace.addInstalled(bid, bid);
    h.launch();
    const Lines seeded{"Calculator", "Chat", "Notes"};
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), seeded);
    EXPECT_EQ(h.defaults.strings("seededDefaultExcludes"), seeded);
    EXPECT_EQ(h.logLines(), Lines{"seeded default excludes: Calculator,Chat,Notes"});
    EXPECT_FALSE(h.engine->excludesBundleID("com.example.editor"));

    // Nothing new to offer: nothing written or logged. One the user removed is never added back.
    h.engine->toggleExclusion("Notes");
    h.defaults.clearWrites();
    size_t mark = h.logMark();
    h.relaunch();
    EXPECT_TRUE(h.defaults.writtenKeys().empty());
    EXPECT_TRUE(h.logLines(mark).empty());
    EXPECT_TRUE(h.engine->excludesBundleID("Chat"));
    EXPECT_FALSE(h.engine->excludesBundleID("Notes"));

    // One installed later is offered on a later launch.
    h.workspace.addInstalled("Home", "Home");
    h.relaunch();
    EXPECT_EQ(h.logLines(mark), Lines{"seeded default excludes: Home"});
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), (Lines{"Calculator", "Chat", "Home"}));
    EXPECT_EQ(h.defaults.strings("seededDefaultExcludes"),
              (Lines{"Calculator", "Chat", "Home", "Notes"}));
}

TEST(EnginePrefs, TopCenterModeFallsBackToTheOlderKeyWhichIsOnlyRead) {
    for (bool newer : {false, true}) {
        EngineHarness h;
        h.defaults.set("floatUtilityWindows", false);
        if (newer) h.defaults.set("topCenterMode", true);
        h.launch();
        EXPECT_EQ(h.engine->topCenterMode(), newer);
        h.engine->setTopCenterMode(!newer);
        h.engine->persistTopCenterMode();
        EXPECT_EQ(h.defaults.writeCount("floatUtilityWindows"), 1);  // the test's own write
        EXPECT_EQ(h.defaults.object("topCenterMode"), nlohmann::json(!newer));
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

TEST(EnginePrefs, SettersWaitForPersistButTogglesPersistThemselvesIndependently) {
    EngineHarness h;
    h.launch();
    MaximizeEngine& e = *h.engine;
    h.defaults.clearWrites();
    e.setPaused(true);
    e.setTopCenterMode(false);
    e.setFocusSizeBigDisplays(false);
    EXPECT_TRUE(h.defaults.writtenKeys().empty());
    e.persistPaused();
    e.persistTopCenterMode();
    e.persistFocusSizeBigDisplays();

    const std::string a = "com.example.a";
    e.toggleExclusion(a);
    e.toggleTopCenter(a);
    e.toggleMaximizeApp(a);
    EXPECT_EQ(h.defaults.strings("topCenterApps"), Lines{a});
    EXPECT_EQ(h.defaults.strings("maximizeApps"), Lines{a});
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), Lines{a});
    e.toggleExclusion(a);
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), Lines{});

    h.relaunch();
    MaximizeEngine& again = *h.engine;
    EXPECT_TRUE(again.paused());
    EXPECT_FALSE(again.topCenterMode());
    EXPECT_FALSE(again.focusSizeBigDisplays());
    EXPECT_FALSE(again.excludesBundleID(a));
    EXPECT_TRUE(again.topCentersBundleID(a));
    EXPECT_TRUE(again.maximizesBundleID(a));
}

}  // namespace
}  // namespace mavo::test

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
    EXPECT_EQ(h.log(), Lines{"seeded default excludes: Calculator,Chat,Notes"});

    // Nothing new to offer: nothing written or logged. One the user removed is never added back.
    h.engine->settings().toggleExclusion("Notes");
    h.defaults.clearWrites();
    size_t mark = h.logMark();
    h.relaunch();
    EXPECT_TRUE(h.defaults.writtenKeys().empty());
    EXPECT_TRUE(h.log("", mark).empty());
    EXPECT_FALSE(h.engine->settings().excludesBundleID("Notes"));

    // One installed later is offered on a later launch.
    h.workspace.addInstalled("Home", "Home");
    h.relaunch();
    EXPECT_EQ(h.defaults.strings("excludedBundleIDs"), (Lines{"Calculator", "Chat", "Home"}));
    EXPECT_EQ(h.defaults.strings("seededDefaultExcludes"),
              (Lines{"Calculator", "Chat", "Home", "Notes"}));
}

// The settings as one line: the switches that are on, then x: excluded, t: top-centred and
// m: always-maximized applications.
std::string describe(const EngineSettings& settings) {
    const auto s = settings.snapshot();
    std::string out = std::string(s.paused ? "paused " : "") +
                      (s.topCenterMode ? "topCenter " : "") +
                      (s.focusSizeBigDisplays ? "focus " : "");
    for (const auto& [tag, set] :
         {std::pair{"x:", &s.excluded}, {"t:", &s.topCenterApps}, {"m:", &s.maximizeApps}})
        for (const auto& bid : *set) out += tag + bid + " ";
    return out;
}

TEST(EngineSettings, LoadingKeepsTheDefaultForWhatIsAbsentOrMalformed) {
    using Stored = std::vector<std::pair<std::string, nlohmann::json>>;
    const auto list = [](auto... ids) { return nlohmann::json::array({ids...}); };
    for (const auto& [stored, loaded] : std::vector<std::pair<Stored, std::string>>{
             {{}, "topCenter focus "},
             {{{"paused", true}, {"focusSizeBigDisplays", false}, {"maximizeApps", list("big")}},
              "paused topCenter m:big "},
             // The mode's older key is read when the newer one is absent.
             {{{"floatUtilityWindows", false}}, "focus "},
             {{{"floatUtilityWindows", false}, {"topCenterMode", true}}, "topCenter focus "},
             {{{"excludedBundleIDs", "a"}, {"topCenterApps", list("a", 3)}}, "topCenter focus "},
             {{{"excludedBundleIDs", list("b", "a")}, {"topCenterApps", list("c")}},
              "topCenter focus x:a x:b t:c "}}) {
        FakeUserDefaults defaults;
        for (const auto& [key, value] : stored) defaults.set(key, value);
        EngineSettings settings(defaults);
        settings.load();
        EXPECT_EQ(describe(settings), loaded) << nlohmann::json(stored).dump();
    }
}

TEST(EngineSettings, SettersWaitForPersistAndEachToggleStoresItsOwnList) {
    FakeUserDefaults defaults;
    EngineSettings s(defaults);
    s.setPaused(true);
    s.setTopCenterMode(false);
    s.setFocusSizeBigDisplays(false);
    EXPECT_TRUE(defaults.writtenKeys().empty());
    s.persistPaused();
    s.persistTopCenterMode();
    s.persistFocusSizeBigDisplays();
    EXPECT_EQ(defaults.writtenKeys(), (Lines{"paused", "topCenterMode", "focusSizeBigDisplays"}));

    for (auto toggle : {&EngineSettings::toggleExclusion, &EngineSettings::toggleTopCenter,
                        &EngineSettings::toggleMaximizeApp})
        (s.*toggle)("a");
    s.toggleExclusion("b");
    s.toggleTopCenter("a");
    EngineSettings again(defaults);
    again.load();
    EXPECT_EQ(describe(again), "paused x:a x:b m:a ");  // what was stored, and only that
}

}  // namespace
}  // namespace mavo::test

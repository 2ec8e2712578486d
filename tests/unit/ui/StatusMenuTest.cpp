#include <gtest/gtest.h>

#include <sstream>

#include "StatusTestEnv.h"

using namespace mavo;
using namespace mavo::test;
using Rows = std::vector<std::string>;

namespace {

// Rows as a person reads them: the title, " (off)" when disabled, " [x]" / " [ ]" for check boxes.
Rows rows(const MenuModel& menu, size_t count = 99) {
    Rows out;
    for (size_t i = 0; i < menu.size() && i < count; ++i) {
        const MenuItem& m = menu[i];
        out.push_back(m.isSeparator() ? "---"
                                      : m.title + (m.enabled ? "" : " (off)") +
                                            (m.checkable ? (m.checked ? " [x]" : " [ ]") : ""));
    }
    return out;
}

std::string joined(const Rows& words) {
    std::string out;
    for (const auto& w : words) out += (out.empty() ? "" : " ") + w;
    return out;
}

const MenuItem* find(const MenuModel& menu, const std::string& title) {
    auto it = std::ranges::find(menu, title, &MenuItem::title);
    return it == menu.end() ? nullptr : &*it;
}

const MenuItem& get(const MenuModel& menu, const std::string& title) {
    if (auto* item = find(menu, title)) return *item;
    throw std::runtime_error("no row titled " + title);
}

const std::string ed = "org.example.Editor";

// The editor is frontmost; `states` names what differs, e.g. "untrusted paused unfillable=2".
struct MenuEnv : StatusTestEnv {
    explicit MenuEnv(const std::string& states = "") {
        workspace.addRunning({42, ed, "Editor"});
        workspace.addRunning({43, "com.quastorn.mavo", "Mavo"});
        workspace.addRunning({44, std::nullopt, "Script"});
        workspace.addRunning({45, "org.example.NoName", std::nullopt});
        workspace.addRunning({46,
                              "Bad\xff"
                              "Class",
                              "N\xe2\x82me"});  // not UTF-8
        workspace.setFrontmost(42);
        std::istringstream words(states);
        for (std::string s; words >> s;) {
            if (s == "untrusted") permissions.setTrusted(false);
            if (s.starts_with("unfillable=")) engine.cannotFill = std::stoi(s.substr(11));
            if (s == "front=self") workspace.setFrontmost(43);
            if (s == "front=script") workspace.setFrontmost(44);
            if (s == "front=noname") workspace.setFrontmost(45);
            if (s == "front=none") workspace.setFrontmost(std::nullopt);
            if (s == "front=bad") workspace.setFrontmost(46);
            for (auto [name, flag] : {std::pair{"paused", &engine.isPaused},
                                      {"topCenter", &engine.topCenter},
                                      {"focusSize", &engine.focusSize},
                                      {"login", &login.enabled}})
                if (s == name) *flag = true;
            for (auto [name, list] : {std::pair{"excluded", &engine.excluded},
                                      {"topCenterApp", &engine.topCenterApps},
                                      {"maximizeApp", &engine.maximizeApps}})
                if (s == name) list->insert(ed);
            if (s == "autoHide") defaults.set("autoHideIcon", true);
        }
    }
};

const std::string kBlurb = "Keeps your app windows maximized, except ones you’ve snapped. (off)";

TEST(StatusMenu, TrustedActiveMenuHasEveryRowInOrderAndChecksFollowTheSettings) {
    MenuEnv env;
    env.engine.excluded = {"org.other"};
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    // Labels are disabled, commands enabled; only settings have a check box.
    EXPECT_EQ(rows(menu), (Rows{"Mavo: active (off)",
                                kBlurb,
                                "---",
                                "Pause",
                                "Maximize All Windows Now",
                                "---",
                                "Don’t Manage “Editor”",
                                "Top-Center “Editor” [ ]",
                                "Always Maximize “Editor” [ ]",
                                "Excluded Apps",
                                "---",
                                "Launch at Login [ ]",
                                "Hide Icon Until Hover [ ]",
                                "Show/hide delay",
                                "Smaller Windows Top Centered [ ]",
                                "Focus-Size on Large Displays [ ]",
                                "---",
                                "Show Diagnostic Log",
                                "Mavo 1.4.2 (off)",
                                "Quit Mavo"}));
    for (const auto& item : menu)
        EXPECT_EQ(item.keyEquivalent, item.title == "Quit Mavo" ? "q" : "") << item.title;
    EXPECT_EQ(get(menu, "Quit Mavo").action, MenuAction::quit);
    for (const auto* t :
         {"Don’t Manage “Editor”", "Top-Center “Editor”", "Always Maximize “Editor”"})
        EXPECT_EQ(get(menu, t).representedBundleID, ed) << t;

    MenuEnv all("login topCenter focusSize autoHide excluded topCenterApp maximizeApp");
    EXPECT_EQ(rows(all.start().menuNeedsUpdate(), 16),
              (Rows{"Mavo: active (off)", kBlurb, "---", "Pause", "Maximize All Windows Now", "---",
                    "Manage “Editor”", "Top-Center “Editor” [x]", "Always Maximize “Editor” [x]",
                    "Excluded Apps", "---", "Launch at Login [x]", "Hide Icon Until Hover [x]",
                    "Show/hide delay", "Smaller Windows Top Centered [x]",
                    "Focus-Size on Large Displays [x]"}));
}

TEST(StatusMenu, HeadRowsFollowTrustPauseUnfillableWindowsAndTheFrontmostApp) {
    // Both separators stay when the app rows are left out.
    const Rows noApp{"Mavo: active (off)",       kBlurb, "---", "Pause",
                     "Maximize All Windows Now", "---",  "---", "Launch at Login [ ]"};
    for (const auto& [states, head] : std::vector<std::pair<std::string, Rows>>{
             {"untrusted unfillable=3",
              {"Mavo: needs Accessibility (off)", "---", "Grant Accessibility…", "---", "Pause",
               "Maximize All Windows Now (off)"}},
             {"paused unfillable=2",
              {"Mavo: paused (off)", "2 windows can’t be maximized (off)", "---", "Resume"}},
             {"unfillable=1", {"Mavo: active (off)", kBlurb, "1 window can’t be maximized (off)"}},
             {"front=self", noApp},
             {"front=none", noApp},
             {"front=script", noApp},
             {"front=noname",
              {"Mavo: active (off)", kBlurb, "---", "Pause", "Maximize All Windows Now", "---",
               "Don’t Manage “org.example.NoName”"}}}) {
        MenuEnv env(states);
        EXPECT_EQ(rows(env.start().menuNeedsUpdate(), head.size()), head) << states;
    }

    MenuEnv env("untrusted unfillable=3");
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    EXPECT_FALSE(get(menu, "Smaller Windows Top Centered").enabled);
    EXPECT_FALSE(get(menu, "Focus-Size on Large Displays").enabled);
    EXPECT_EQ(find(menu, "3 windows can’t be maximized"), nullptr);
    c.perform(get(menu, "Grant Accessibility…"));
    EXPECT_EQ(env.permissions.requestTrustCount(), 1);
    EXPECT_EQ(env.permissions.openSettingsCount(), 1);
    EXPECT_TRUE(env.events.events().empty());
}

TEST(StatusMenu, EachActionMakesItsCallsSendsItsEventAndWritesItsStore) {
    struct Case {
        std::string title, states, calls, events;
    };
    for (const auto& tc : std::vector<Case>{
             {"Pause", "", "setPaused(true) persistPaused", "app_paused"},
             {"Resume", "paused", "setPaused(false) persistPaused", "app_resumed"},
             {"Maximize All Windows Now", "", "maximizeAllNow", "maximize_all_now"},
             {"Smaller Windows Top Centered", "", "setTopCenterMode(true) persistTopCenterMode",
              "topcenter_on"},
             {"Smaller Windows Top Centered", "topCenter",
              "setTopCenterMode(false) persistTopCenterMode", "topcenter_off"},
             {"Focus-Size on Large Displays", "",
              "setFocusSizeBigDisplays(true) persistFocusSizeBigDisplays reevaluateAll",
              "focus_mode_on"},
             {"Focus-Size on Large Displays", "focusSize",
              "setFocusSizeBigDisplays(false) persistFocusSizeBigDisplays reevaluateAll",
              "focus_mode_off"},
             {"Don’t Manage “Editor”", "", "toggleExclusion(" + ed + ")", "app_excluded"},
             {"Manage “Editor”", "excluded", "toggleExclusion(" + ed + ")", "app_included"},
             {"Top-Center “Editor”", "", "toggleTopCenter(" + ed + ")", "topcenter_app_on"},
             {"Top-Center “Editor”", "topCenterApp", "toggleTopCenter(" + ed + ")",
              "topcenter_app_off"},
             {"Always Maximize “Editor”", "", "toggleMaximizeApp(" + ed + ") reevaluateAll",
              "app_always_maximize"},
             {"Always Maximize “Editor”", "maximizeApp",
              "toggleMaximizeApp(" + ed + ") reevaluateAll", "app_focus_allowed"},
             {"Don’t Manage “N\uFFFDme”", "front=bad", "toggleExclusion(Bad\uFFFDClass)",
              "app_excluded"},
             // Settings outside the engine write their own stores.
             {"Launch at Login", "", "", ""},
             {"Hide Icon Until Hover", "", "", ""},
             {"Hide Icon Until Hover", "autoHide", "", ""},
             {"Show Diagnostic Log", "", "", ""},
             {"Quit Mavo", "", "", ""}}) {
        SCOPED_TRACE(tc.title + " " + tc.states);
        MenuEnv e(tc.states);
        auto& c = e.start();
        c.perform(get(c.menuNeedsUpdate(), tc.title));
        EXPECT_EQ(joined(e.engine.calls), tc.calls);
        EXPECT_EQ(joined(e.eventNames()), tc.events);
        for (const auto& ev : e.events.events()) EXPECT_TRUE(ev.props.empty());
        EXPECT_EQ(e.login.toggles, tc.title == "Launch at Login");
        EXPECT_EQ(e.terminations, tc.title == "Quit Mavo");
        EXPECT_EQ(e.logShows, tc.title == "Show Diagnostic Log");
        if (tc.title.starts_with("Hide")) {
            EXPECT_EQ(e.defaults.object("autoHideIcon"), nlohmann::json(tc.states.empty()));
        }
    }
}

TEST(StatusMenu, ExcludedAppsAreSortedByBundleIDAndNamedFromTheWorkspace) {
    MenuEnv env;
    env.workspace.addRunning({50, "org.b.Running", "Zebra"});
    env.workspace.addRunning({51, "org.c.Nameless", std::nullopt});
    env.workspace.addInstalled("org.c.Nameless", "Installed C");
    env.workspace.addInstalled("org.a.Installed", "Alpha");
    env.engine.excluded = {"org.d.Unknown", "org.b.Running", "org.a.Installed", "org.c.Nameless"};
    auto& c = env.start();
    const MenuItem& parent = get(c.menuNeedsUpdate(), "Excluded Apps");
    // Sorted by id, not by the names shown.
    EXPECT_EQ(rows(parent.submenu),
              (Rows{"Alpha [x]", "Zebra [x]", "Installed C [x]", "org.d.Unknown [x]"}));
    Rows bids;
    for (const auto& row : parent.submenu) {
        bids.push_back(row.representedBundleID.value_or("?"));
        EXPECT_EQ(row.action, MenuAction::removeExclusion);
    }
    EXPECT_EQ(bids, (Rows{"org.a.Installed", "org.b.Running", "org.c.Nameless", "org.d.Unknown"}));
    c.perform(parent.submenu[1]);
    EXPECT_EQ(env.engine.calls, Rows{"toggleExclusion(org.b.Running)"});
    EXPECT_EQ(env.eventNames(), Rows{"app_included"});
    env.engine.excluded.clear();
    EXPECT_EQ(find(c.menuNeedsUpdate(), "Excluded Apps"), nullptr);

    // The first running match names an app, else its installed name.
    env.workspace.setRunning({{1, "org.dup", std::nullopt}, {2, "org.dup", "Second"}});
    env.workspace.addInstalled("org.dup", "From Disk");
    EXPECT_EQ(c.appName("org.dup"), "From Disk");
    env.workspace.setRunning({{1, "org.dup", "First"}, {2, "org.dup", "Second"}});
    EXPECT_EQ(c.appName("org.dup"), "First");
    EXPECT_EQ(c.appName("org.none"), std::nullopt);

    // Rows for an app do nothing without its bundle id.
    env.engine.calls.clear();
    for (auto action : {MenuAction::toggleExcludeFrontmost, MenuAction::removeExclusion,
                        MenuAction::toggleTopCenterFrontmost, MenuAction::toggleMaximizeFrontmost})
        c.perform(MenuItem::command("x", action));
    EXPECT_TRUE(env.engine.calls.empty());
    EXPECT_EQ(env.events.events().size(), 1u);
}

TEST(StatusMenu, RememberedPlacementsListThisArrangementsWindowsAndChoosingOneForgetsIt) {
    PlacementStore store(::testing::TempDir() + "mavo-menu-placements");
    std::string arrangement = "A1";
    RememberedPlacements placements(store, [&] { return arrangement; });
    MenuEnv env;
    env.placements = &placements;
    auto& c = env.start();
    EXPECT_EQ(find(c.menuNeedsUpdate(), "Remembered Placements"), nullptr);  // none at all

    for (const std::string& key :
         std::vector<std::string>{"A1|" + ed + "|notes", "A1|org.gone.App|", "B2|" + ed + "|"})
        store.put(key, PlacementRecord{});
    const MenuItem& parent = get(c.menuNeedsUpdate(), "Remembered Placements");
    EXPECT_EQ(rows(parent.submenu), (Rows{"Editor — notes", "org.gone.App", "---", "Forget All"}));
    c.perform(parent.submenu[0]);
    EXPECT_EQ(store.count(), 2u);
    EXPECT_FALSE(store.get("A1|" + ed + "|notes"));

    arrangement = "C3";  // other displays: nothing of theirs to list, but all can be forgotten
    const MenuItem& other = get(c.menuNeedsUpdate(), "Remembered Placements");
    EXPECT_EQ(rows(other.submenu), (Rows{"None on These Displays (off)", "---", "Forget All"}));
    c.perform(other.submenu.back());
    EXPECT_EQ(store.count(), 0u);
    EXPECT_EQ(find(c.menuNeedsUpdate(), "Remembered Placements"), nullptr);
}

TEST(StatusMenu, DelayRowShowsWholeSecondsAndIsDimmedWhileAutoHideIsOff) {
    MenuEnv env;
    env.defaults.set("unhideDelay", 9.6);
    auto& c = env.start(std::nullopt);
    EXPECT_NE(find(c.menuNeedsUpdate(), "Mavo "), nullptr);  // no version: the bare name
    const MenuItem& row = get(c.menu(), "Show/hide delay");
    EXPECT_EQ(row.kind, MenuItem::Kind::delaySlider);
    EXPECT_EQ(std::tie(row.sliderValue, row.sliderMin, row.sliderMax, row.alpha),
              std::make_tuple(9.6, 0.0, 10.0, 0.4));
    EXPECT_EQ(row.valueLabel, "10s");
    env.defaults.set("autoHideIcon", true);
    EXPECT_DOUBLE_EQ(get(c.menuNeedsUpdate(), "Show/hide delay").alpha, 1.0);

    MenuItem moved = get(c.menu(), "Show/hide delay");
    moved.sliderValue = 2.4;
    const int before = env.item.invalidations;
    c.perform(moved);
    EXPECT_EQ(env.defaults.object("unhideDelay"), nlohmann::json(2.4));
    EXPECT_EQ(c.delayValueText(), "2s");
    EXPECT_EQ(get(c.menu(), "Show/hide delay").valueLabel, "2s");
    EXPECT_GT(env.item.invalidations, before);
    EXPECT_TRUE(env.events.events().empty());
}

TEST(StatusMenu, IconFollowsTrustAndPauseAndRedrawsOnlyOnChange) {
    MenuEnv env;
    auto& c = env.start();
    auto& icons = env.item.icons;
    auto last = [&] {
        return std::tie(icons.back().state, icons.back().dimmed, icons.back().description);
    };
    EXPECT_EQ(env.item.toolTip, "Mavo: auto-maximize windows");
    ASSERT_EQ(icons.size(), 1u);
    EXPECT_EQ(last(), std::make_tuple("active", false, "Mavo"));
    env.timers.advance(2.0);  // two housekeeping ticks in the same state
    EXPECT_EQ(icons.size(), 1u);
    // Pausing from the menu redraws at once rather than on the next tick.
    c.perform(get(c.menuNeedsUpdate(), "Pause"));
    ASSERT_EQ(icons.size(), 2u);
    EXPECT_EQ(std::get<0>(last()), "paused");
    EXPECT_TRUE(std::get<1>(last()));
    EXPECT_EQ(c.lastIconName(), "paused");
    env.permissions.setTrusted(false);  // trust outranks pause
    env.timers.advance(1.0);
    ASSERT_EQ(icons.size(), 3u);
    EXPECT_EQ(last(), std::make_tuple("warn", false, "Mavo: needs Accessibility"));
    env.timers.advance(3.0);
    EXPECT_EQ(icons.size(), 3u);

    MenuEnv noButton;
    noButton.item.button = false;
    noButton.start();
    noButton.timers.advance(2.0);
    EXPECT_TRUE(noButton.item.icons.empty());
    EXPECT_EQ(noButton.controller->lastIconName(), "");
}

}  // namespace

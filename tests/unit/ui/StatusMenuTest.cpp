#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "StatusTestEnv.h"

using namespace mavo;
using namespace mavo::test;

namespace {

std::vector<std::string> titles(const MenuModel& menu) {
    std::vector<std::string> out;
    for (const auto& item : menu) out.push_back(item.isSeparator() ? "---" : item.title);
    return out;
}

const MenuItem* find(const MenuModel& menu, const std::string& title) {
    for (const auto& item : menu)
        if (item.title == title) return &item;
    return nullptr;
}

const MenuItem& get(const MenuModel& menu, const std::string& title) {
    const MenuItem* item = find(menu, title);
    if (!item) throw std::runtime_error("no row titled " + title);
    return *item;
}

class StatusMenuTest : public ::testing::Test {
  protected:
    void SetUp() override {
        env.workspace.addRunning({42, "org.example.Editor", "Editor"});
        env.workspace.addRunning({43, "com.quastorn.mavo", "Mavo"});
        env.workspace.setFrontmost(42);
    }
    StatusTestEnv env;
};

TEST_F(StatusMenuTest, TrustedActiveMenuHasEveryRowInOrder) {
    env.engine.excluded = {"org.other"};
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    EXPECT_EQ(titles(menu), (std::vector<std::string>{
                                "Mavo: active",
                                "Keeps your app windows maximized, except ones you’ve snapped.",
                                "---",
                                "Pause",
                                "Maximize All Windows Now",
                                "---",
                                "Don’t Manage “Editor”",
                                "Top-Center “Editor”",
                                "Always Maximize “Editor”",
                                "Excluded Apps",
                                "---",
                                "Launch at Login",
                                "Hide Icon Until Hover",
                                "Show/hide delay",
                                "Smaller Windows Top Centered",
                                "Focus-Size on Large Displays",
                                "---",
                                "Mavo 1.4.2",
                                "Quit Mavo",
                            }));
    // Labels are disabled and inert; every command is enabled when trusted.
    for (const auto& item : menu) {
        if (item.isSeparator() || item.title == "Excluded Apps") continue;
        if (item.action == MenuAction::none) {
            EXPECT_FALSE(item.enabled) << item.title;
        } else {
            EXPECT_TRUE(item.enabled) << item.title;
        }
        EXPECT_EQ(item.keyEquivalent, item.title == "Quit Mavo" ? "q" : "") << item.title;
    }
    EXPECT_EQ(get(menu, "Quit Mavo").action, MenuAction::quit);
    // Only settings carry a check box; "Don’t Manage" is a command and never shows one.
    std::vector<std::string> checkable;
    for (const auto& item : menu)
        if (item.checkable) checkable.push_back(item.title);
    EXPECT_EQ(checkable, (std::vector<std::string>{
                             "Top-Center “Editor”", "Always Maximize “Editor”", "Launch at Login",
                             "Hide Icon Until Hover", "Smaller Windows Top Centered",
                             "Focus-Size on Large Displays"}));
    for (const auto* t :
         {"Don’t Manage “Editor”", "Top-Center “Editor”", "Always Maximize “Editor”"})
        EXPECT_EQ(get(menu, t).representedBundleID, "org.example.Editor") << t;
}

TEST_F(StatusMenuTest, UntrustedMenuOffersTheGrantAndDisablesEngineCommands) {
    env.permissions.setTrusted(false);
    env.engine.cannotFill = 3;
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    auto t = titles(menu);
    ASSERT_GE(t.size(), 6u);
    EXPECT_EQ(std::vector<std::string>(t.begin(), t.begin() + 6),
              (std::vector<std::string>{"Mavo: needs Accessibility", "---", "Grant Accessibility…",
                                        "---", "Pause", "Maximize All Windows Now"}));
    EXPECT_TRUE(get(menu, "Grant Accessibility…").enabled);
    EXPECT_TRUE(get(menu, "Pause").enabled);
    EXPECT_FALSE(get(menu, "Maximize All Windows Now").enabled);
    EXPECT_FALSE(get(menu, "Smaller Windows Top Centered").enabled);
    EXPECT_FALSE(get(menu, "Focus-Size on Large Displays").enabled);
    EXPECT_EQ(find(menu, "3 windows can’t be maximized"), nullptr);

    c.perform(get(menu, "Grant Accessibility…"));
    EXPECT_EQ(env.permissions.requestTrustCount(), 1);
    EXPECT_EQ(env.permissions.openSettingsCount(), 1);
    EXPECT_TRUE(env.events.events.empty());
}

TEST_F(StatusMenuTest, PausedMenuOffersResumeAndStillCountsUnfillableWindows) {
    env.engine.isPaused = true;
    env.engine.cannotFill = 2;
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    auto t = titles(menu);
    EXPECT_EQ(std::vector<std::string>(t.begin(), t.begin() + 4),
              (std::vector<std::string>{"Mavo: paused", "2 windows can’t be maximized", "---",
                                        "Resume"}));
    EXPECT_EQ(find(menu, "Pause"), nullptr);
    EXPECT_EQ(find(menu, "Grant Accessibility…"), nullptr);
}

TEST_F(StatusMenuTest, UnfillableCountIsSingularPluralOrAbsent) {
    auto& c = env.start();
    env.engine.cannotFill = 1;
    EXPECT_EQ(titles(c.menuNeedsUpdate())[2], "1 window can’t be maximized");
    env.engine.cannotFill = 3;
    EXPECT_EQ(titles(c.menuNeedsUpdate())[2], "3 windows can’t be maximized");
    EXPECT_FALSE(get(c.menu(), "3 windows can’t be maximized").enabled);
    env.engine.cannotFill = 0;
    for (const auto& t : titles(c.menuNeedsUpdate()))
        EXPECT_EQ(t.find("can’t be maximized"), std::string::npos) << t;
}

TEST_F(StatusMenuTest, FrontmostRowsNeedAnotherAppWithABundleID) {
    auto& c = env.start();
    ASSERT_EQ(titles(c.menuNeedsUpdate())[6], "Don’t Manage “Editor”");

    env.workspace.setFrontmost(43);  // Mavo itself
    EXPECT_EQ(titles(c.menuNeedsUpdate())[6], "---");
    EXPECT_EQ(titles(c.menu())[7], "Launch at Login");

    env.workspace.addRunning({44, std::nullopt, "Script"});
    env.workspace.setFrontmost(44);
    EXPECT_EQ(titles(c.menuNeedsUpdate())[7], "Launch at Login");

    env.workspace.setFrontmost(std::nullopt);
    EXPECT_EQ(titles(c.menuNeedsUpdate())[7], "Launch at Login");

    // Without a localized name the bundle id stands in.
    env.workspace.addRunning({45, "org.example.NoName", std::nullopt});
    env.workspace.setFrontmost(45);
    EXPECT_NE(find(c.menuNeedsUpdate(), "Top-Center “org.example.NoName”"), nullptr);
}

TEST_F(StatusMenuTest, FrontmostRowsReflectTheAppsListsAndTheirActionsReportTheChange) {
    env.engine.excluded = {"org.example.Editor"};
    env.engine.topCenterApps = {"org.example.Editor"};
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    const MenuItem& manage = get(menu, "Manage “Editor”");
    EXPECT_FALSE(manage.checked);
    EXPECT_TRUE(get(menu, "Top-Center “Editor”").checked);
    EXPECT_FALSE(get(menu, "Always Maximize “Editor”").checked);

    c.perform(manage);
    EXPECT_EQ(env.engine.calls, std::vector<std::string>{"toggleExclusion(org.example.Editor)"});
    EXPECT_EQ(env.events.names(), std::vector<std::string>{"app_included"});

    const MenuItem& dontManage = get(c.menuNeedsUpdate(), "Don’t Manage “Editor”");
    c.perform(dontManage);
    EXPECT_EQ(env.events.names().back(), "app_excluded");
    EXPECT_TRUE(env.engine.excluded.count("org.example.Editor"));
}

TEST_F(StatusMenuTest, ExcludedAppsAreSortedByBundleIDAndNamedFromTheWorkspace) {
    env.workspace.addRunning({50, "org.b.Running", "Zebra"});
    env.workspace.addRunning({51, "org.c.Nameless", std::nullopt});
    env.workspace.addInstalled("org.c.Nameless", "Installed C");
    env.workspace.addInstalled("org.a.Installed", "Alpha");
    env.engine.excluded = {"org.d.Unknown", "org.b.Running", "org.a.Installed", "org.c.Nameless"};
    auto& c = env.start();
    const MenuItem& parent = get(c.menuNeedsUpdate(), "Excluded Apps");
    ASSERT_EQ(parent.submenu.size(), 4u);
    std::vector<std::string> bids, names;
    for (const auto& row : parent.submenu) {
        bids.push_back(row.representedBundleID.value_or("?"));
        names.push_back(row.title);
        EXPECT_TRUE(row.checked);
        EXPECT_TRUE(row.checkable);
        EXPECT_EQ(row.action, MenuAction::removeExclusion);
    }
    // Sorted by id, not by the names shown.
    EXPECT_EQ(bids, (std::vector<std::string>{"org.a.Installed", "org.b.Running", "org.c.Nameless",
                                              "org.d.Unknown"}));
    EXPECT_EQ(names, (std::vector<std::string>{"Alpha", "Zebra", "Installed C", "org.d.Unknown"}));

    c.perform(parent.submenu[1]);
    EXPECT_EQ(env.engine.calls, std::vector<std::string>{"toggleExclusion(org.b.Running)"});
    EXPECT_EQ(env.events.names(), std::vector<std::string>{"app_included"});

    env.engine.excluded.clear();
    EXPECT_EQ(find(c.menuNeedsUpdate(), "Excluded Apps"), nullptr);
}

TEST_F(StatusMenuTest, AppNameStopsAtTheFirstRunningMatch) {
    env.workspace.setRunning({{1, "org.dup", std::nullopt}, {2, "org.dup", "Second"}});
    env.workspace.addInstalled("org.dup", "From Disk");
    auto& c = env.start();
    EXPECT_EQ(c.appName("org.dup"), "From Disk");
    env.workspace.setRunning({{1, "org.dup", "First"}, {2, "org.dup", "Second"}});
    EXPECT_EQ(c.appName("org.dup"), "First");
    EXPECT_EQ(c.appName("org.none"), std::nullopt);
}

TEST_F(StatusMenuTest, CheckMarksFollowTheSettings) {
    auto& c = env.start();
    auto checked = [&](const char* title) { return get(c.menuNeedsUpdate(), title).checked; };
    EXPECT_FALSE(checked("Launch at Login"));
    EXPECT_FALSE(checked("Hide Icon Until Hover"));
    EXPECT_FALSE(checked("Smaller Windows Top Centered"));
    EXPECT_FALSE(checked("Focus-Size on Large Displays"));
    EXPECT_FALSE(checked("Always Maximize “Editor”"));
    env.login.enabled = true;
    env.defaults.set("autoHideIcon", true);
    env.engine.topCenter = true;
    env.engine.focusSize = true;
    env.engine.maximizeApps = {"org.example.Editor"};
    EXPECT_TRUE(checked("Launch at Login"));
    EXPECT_TRUE(checked("Hide Icon Until Hover"));
    EXPECT_TRUE(checked("Smaller Windows Top Centered"));
    EXPECT_TRUE(checked("Focus-Size on Large Displays"));
    EXPECT_TRUE(checked("Always Maximize “Editor”"));
}

struct ActionCase {
    std::string title;
    std::function<void(StatusTestEnv&)> before;
    std::vector<std::string> calls;
    std::vector<std::string> events;
};

TEST_F(StatusMenuTest, EachActionMakesItsEngineCallsAndSendsItsEvent) {
    const std::string ed = "org.example.Editor";
    std::vector<ActionCase> cases = {
        {"Pause", nullptr, {"setPaused(true)", "persistPaused"}, {"app_paused"}},
        {"Resume",
         [](StatusTestEnv& e) { e.engine.isPaused = true; },
         {"setPaused(false)", "persistPaused"},
         {"app_resumed"}},
        {"Maximize All Windows Now", nullptr, {"maximizeAllNow"}, {"maximize_all_now"}},
        {"Smaller Windows Top Centered",
         nullptr,
         {"setTopCenterMode(true)", "persistTopCenterMode"},
         {"topcenter_on"}},
        {"Smaller Windows Top Centered",
         [](StatusTestEnv& e) { e.engine.topCenter = true; },
         {"setTopCenterMode(false)", "persistTopCenterMode"},
         {"topcenter_off"}},
        {"Focus-Size on Large Displays",
         nullptr,
         {"setFocusSizeBigDisplays(true)", "persistFocusSizeBigDisplays", "reevaluateAll"},
         {"focus_mode_on"}},
        {"Focus-Size on Large Displays",
         [](StatusTestEnv& e) { e.engine.focusSize = true; },
         {"setFocusSizeBigDisplays(false)", "persistFocusSizeBigDisplays", "reevaluateAll"},
         {"focus_mode_off"}},
        {"Top-Center “Editor”", nullptr, {"toggleTopCenter(" + ed + ")"}, {"topcenter_app_on"}},
        {"Top-Center “Editor”",
         [&](StatusTestEnv& e) { e.engine.topCenterApps = {ed}; },
         {"toggleTopCenter(" + ed + ")"},
         {"topcenter_app_off"}},
        {"Always Maximize “Editor”",
         nullptr,
         {"toggleMaximizeApp(" + ed + ")", "reevaluateAll"},
         {"app_always_maximize"}},
        {"Always Maximize “Editor”",
         [&](StatusTestEnv& e) { e.engine.maximizeApps = {ed}; },
         {"toggleMaximizeApp(" + ed + ")", "reevaluateAll"},
         {"app_focus_allowed"}},
        {"Launch at Login", nullptr, {}, {}},
        {"Hide Icon Until Hover", nullptr, {}, {}},
    };
    for (const auto& tc : cases) {
        StatusTestEnv e;
        e.workspace.addRunning({42, ed, "Editor"});
        e.workspace.setFrontmost(42);
        if (tc.before) tc.before(e);
        auto& c = e.start();
        c.perform(get(c.menuNeedsUpdate(), tc.title));
        EXPECT_EQ(e.engine.calls, tc.calls) << tc.title;
        EXPECT_EQ(e.events.names(), tc.events) << tc.title;
        for (const auto& ev : e.events.events) EXPECT_TRUE(ev.props.empty()) << tc.title;
    }
}

TEST_F(StatusMenuTest, SettingTogglesOutsideTheEngineWriteTheirStores) {
    auto& c = env.start();
    c.perform(get(c.menuNeedsUpdate(), "Launch at Login"));
    EXPECT_EQ(env.login.toggles, 1);
    EXPECT_TRUE(get(c.menuNeedsUpdate(), "Launch at Login").checked);

    c.perform(get(c.menuNeedsUpdate(), "Hide Icon Until Hover"));
    EXPECT_EQ(env.defaults.object("autoHideIcon"), nlohmann::json(true));
    c.perform(get(c.menuNeedsUpdate(), "Hide Icon Until Hover"));
    EXPECT_EQ(env.defaults.object("autoHideIcon"), nlohmann::json(false));

    c.perform(get(c.menuNeedsUpdate(), "Quit Mavo"));
    EXPECT_EQ(env.terminations, 1);
}

TEST_F(StatusMenuTest, ItemsWithoutABundleIDDoNothing) {
    auto& c = env.start();
    for (auto action :
         {MenuAction::toggleExcludeFrontmost, MenuAction::removeExclusion,
          MenuAction::toggleTopCenterFrontmost, MenuAction::toggleMaximizeFrontmost}) {
        MenuItem item = MenuItem::command("x", action);
        c.perform(item);
    }
    EXPECT_TRUE(env.engine.calls.empty());
    EXPECT_TRUE(env.events.events.empty());
}

TEST_F(StatusMenuTest, DelayRowShowsWholeSecondsAndIsDimmedWhileAutoHideIsOff) {
    env.defaults.set("unhideDelay", 9.6);
    auto& c = env.start();
    const MenuItem& row = get(c.menuNeedsUpdate(), "Show/hide delay");
    EXPECT_EQ(row.kind, MenuItem::Kind::delaySlider);
    EXPECT_DOUBLE_EQ(row.sliderValue, 9.6);
    EXPECT_EQ(row.valueLabel, "10s");
    EXPECT_DOUBLE_EQ(row.alpha, 0.4);
    EXPECT_EQ(row.sliderMin, 0);
    EXPECT_EQ(row.sliderMax, 10);

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
    EXPECT_TRUE(env.events.events.empty());
}

TEST_F(StatusMenuTest, VersionRowFallsBackToTheBareName) {
    auto& c = env.start(std::nullopt);
    EXPECT_NE(find(c.menuNeedsUpdate(), "Mavo "), nullptr);
}

// MARK: Icon

TEST_F(StatusMenuTest, IconFollowsTrustAndPauseAndRedrawsOnlyOnChange) {
    auto& c = env.start();
    EXPECT_EQ(env.item.toolTip, "Mavo: auto-maximize windows");
    ASSERT_EQ(env.item.icons.size(), 1u);
    EXPECT_EQ(env.item.icons[0].state, "active");
    EXPECT_FALSE(env.item.icons[0].dimmed);
    EXPECT_EQ(env.item.icons[0].description, "Mavo");

    env.timers.advance(2.0);  // two housekeeping ticks in the same state
    EXPECT_EQ(env.item.icons.size(), 1u);

    // Pausing from the menu redraws at once rather than on the next tick.
    c.perform(get(c.menuNeedsUpdate(), "Pause"));
    ASSERT_EQ(env.item.icons.size(), 2u);
    EXPECT_EQ(env.item.icons[1].state, "paused");
    EXPECT_TRUE(env.item.icons[1].dimmed);
    EXPECT_EQ(c.lastIconName(), "paused");

    env.permissions.setTrusted(false);  // trust outranks pause
    env.timers.advance(1.0);
    ASSERT_EQ(env.item.icons.size(), 3u);
    EXPECT_EQ(env.item.icons[2].state, "warn");
    EXPECT_FALSE(env.item.icons[2].dimmed);
    EXPECT_EQ(env.item.icons[2].description, "Mavo: needs Accessibility");
    env.timers.advance(3.0);
    EXPECT_EQ(env.item.icons.size(), 3u);
}

TEST_F(StatusMenuTest, IconIsLeftAloneWithoutAButton) {
    env.item.button = false;
    auto& c = env.start();
    env.timers.advance(2.0);
    EXPECT_TRUE(env.item.icons.empty());
    EXPECT_EQ(c.lastIconName(), "");
}

}  // namespace

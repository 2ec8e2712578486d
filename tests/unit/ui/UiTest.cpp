// The menu's controller, the remote control and the pointer polling over fakes, the editor
// frontmost.

#include <gtest/gtest.h>

#include <ranges>
#include <sstream>

#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeEventTracker.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeTimers.h"
#include "fakes/FakeUserDefaults.h"
#include "fakes/FakeWorkspace.h"
#include "ui/PollingPointerSource.h"
#include "ui/RemoteControl.h"
#include "ui/StatusItem.h"
#include "ui/StatusItemController.h"

namespace mavo::test {
namespace {

// The status item's platform side: the item, the pointer and the login switch.
struct FakeStatusItem final : StatusItem {
    bool button = true, visible = true;
    int visibilityWrites = 0, invalidations = 0;
    std::vector<StatusIcon> icons;
    std::string toolTip;

    bool hasButton() const override { return button; }
    bool isVisible() const override { return visible; }
    void setVisible(bool v) override { visible = v, ++visibilityWrites; }
    void setIcon(const StatusIcon& icon) override { icons.push_back(icon); }
    void setToolTip(const std::string& text) override { toolTip = text; }
    void invalidateMenu() override { ++invalidations; }
};

// Each monitor holds its handler; the pointer calls those of the monitors still alive.
struct FakePointer final : PointerSource {
    std::optional<Point> location;
    std::vector<std::weak_ptr<std::function<void()>>> handlers;

    void moveTo(std::optional<Point> p) {
        location = p;
        for (auto& handler : std::vector(handlers))
            if (auto h = handler.lock()) (*h)();
    }
    size_t monitorCount() const {
        return std::ranges::count_if(handlers, [](auto& h) { return !h.expired(); });
    }

    std::optional<Point> pointerLocation() override { return location; }
    std::unique_ptr<PointerMonitor> addMovedMonitor(std::function<void()> handler) override {
        struct Monitor : PointerMonitor {
            std::shared_ptr<std::function<void()>> handler;
        };
        auto m = std::make_unique<Monitor>();
        handlers.push_back(m->handler = std::make_shared<std::function<void()>>(handler));
        return m;
    }
};

struct FakeLogin final : LoginControl {
    bool enabled = false;
    int toggles = 0;
    bool isEnabled() override { return enabled; }
    void toggle() override { enabled = !enabled, ++toggles; }
};

const std::string ed = "org.example.Editor";

std::string joined(const auto& range, auto text, const char* by = " ") {
    std::string out;
    for (const auto& x : range) out.append(out.empty() ? "" : by).append(text(x));
    return out;
}

// `states` names what differs, e.g. "untrusted paused unfillable=2". The primary screen's hover
// band starts at y = 1080 - 25 - 2.
struct Env {
    FakeUserDefaults defaults;
    EngineSettings settings{defaults};
    std::vector<std::string> started;  // the bulk actions, in order
    EngineActions actions{[this] { started.push_back("reevaluateAll"); },
                          [this] { started.push_back("maximizeAllNow"); }};
    FakeStatusItem item;
    FakePermissions permissions{true};
    FakeWorkspace workspace;
    FakeLogin login;
    FakeEventTracker events;
    FakeTimers timers;
    FakePointer pointer;
    FakeDisplaySource displays{{primary1080()}};
    PlacementStore store{::testing::TempDir() + "mavo-ui-placements"};
    std::string arrangement = "A1";
    RememberedPlacements remembered{store, [this] { return arrangement; }};
    RememberedPlacements* placements = nullptr;  // the menu lists none unless a test sets it
    bool tray = false;
    RemoteControl control{
        {settings, actions, permissions, remembered, events, [this] { return tray; }, [] {}}};
    std::unique_ptr<StatusItemController> controller;

    explicit Env(const std::string& states = "") {
        // "front=43": Mavo itself, 44: no ID, 45: no name, 46: neither is UTF-8.
        workspace.setRunning({{42, ed, "Editor"},
                              {43, "com.quastorn.mavo", "Mavo"},
                              {44, std::nullopt, "Script"},
                              {45, "org.example.NoName", std::nullopt},
                              {46, "Bad\377Class", "N\xe2\x82me"}});
        workspace.setFrontmost(42);
        settings.setTopCenterMode(false);  // every switch starts off
        settings.setFocusSizeBigDisplays(false);
        std::istringstream words(states);
        for (std::string s; words >> s;) {
            if (s == "untrusted") permissions.setTrusted(false);
            if (s.starts_with("unfillable=")) settings.setCannotFillCount(std::stoi(s.substr(11)));
            if (s == "front=none") workspace.setFrontmost(std::nullopt);
            if (s.starts_with("front=4")) workspace.setFrontmost(std::stoi(s.substr(6)));
            for (auto [name, set] : {std::pair{"paused", &EngineSettings::setPaused},
                                     {"topCenter", &EngineSettings::setTopCenterMode},
                                     {"focusSize", &EngineSettings::setFocusSizeBigDisplays}})
                if (s == name) (settings.*set)(true);
            if (s == "login") login.enabled = true;
            for (auto toggle : {std::pair{"excluded", &EngineSettings::toggleExclusion},
                                {"topCenterApp", &EngineSettings::toggleTopCenter},
                                {"maximizeApp", &EngineSettings::toggleMaximizeApp}})
                if (s == toggle.first) (settings.*toggle.second)(ed);
            if (s == "autoHide") defaults.set("autoHideIcon", true);
        }
        defaults.clearWrites();
    }
    StatusItemController& start(std::optional<std::string> version = "1.4.2") {
        controller = std::make_unique<StatusItemController>(StatusControllerEnvironment{
            settings, actions, item, permissions, workspace, login, events, defaults, timers,
            pointer, displays, "com.quastorn.mavo", std::move(version), [] {}, placements, [] {}});
        return *controller;
    }
    StatusItemController& startHiding(double delay, Point at) {
        defaults.set("autoHideIcon", true);
        defaults.set("unhideDelay", delay);
        pointer.location = at;
        return start();
    }
    // Each store write as key=value, then the bulk actions started.
    std::string calls() const {
        std::vector<std::string> out;
        for (const auto& key : defaults.writtenKeys())
            out.push_back(key + "=" + defaults.object(key)->dump());
        out.insert(out.end(), started.begin(), started.end());
        return joined(out, std::identity());
    }
    std::string eventNames() const {
        return joined(events.events(), [](const auto& e) { return e.name; });
    }
};

// A row as a person reads it: " (off)" when disabled, " [x]" / " [ ]" for check boxes.
std::string text(const MenuItem& m) {
    if (m.isSeparator()) return "---";
    return m.title + (m.enabled ? "" : " (off)") +
           (m.checkable ? (m.checked ? " [x]" : " [ ]") : "");
}

std::string rows(const MenuModel& menu, size_t from = 0, size_t count = 99) {
    return joined(menu | std::views::drop(from) | std::views::take(count), text, "|");
}

const MenuItem& get(const MenuModel& menu, const std::string& title) {
    auto it = std::ranges::find(menu, title, &MenuItem::title);
    if (it == menu.end()) throw std::runtime_error("no row titled " + title);
    return *it;
}

const std::string kBlurb = "Keeps your app windows maximized, except ones you’ve snapped. (off)";

TEST(StatusMenu, RowsComeInOrderWithChecksFollowingTheSettingsAndOnlyQuitHasAKey) {
    Env env("login topCenter focusSize autoHide excluded topCenterApp maximizeApp");
    const auto& menu = env.start().menuNeedsUpdate();
    EXPECT_EQ(rows(menu), "Mavo: active (off)|" + kBlurb +
                              "|---|Pause|Maximize All Windows Now|---|Manage “Editor”|"
                              "Top-Center “Editor” [x]|Always Maximize “Editor” [x]|"
                              "Excluded Apps|---|Launch at Login [x]|Hide Icon Until Hover [x]|"
                              "Show/hide delay|Smaller Windows Top Centered [x]|"
                              "Focus-Size on Large Displays [x]|---|Show Diagnostic Log|"
                              "Mavo 1.4.2 (off)|Quit Mavo");
    for (const auto& item : menu)
        EXPECT_EQ(item.keyEquivalent, item.title == "Quit Mavo" ? "q" : "") << item.title;
    EXPECT_EQ(rows(Env().start().menuNeedsUpdate()).find("[x]"), std::string::npos);
}

TEST(StatusMenu, HeadRowsFollowTrustPauseUnfillableWindowsAndTheFrontmostApp) {
    // Both separators stay when the app rows are left out.
    const std::string noApp = "Mavo: active (off)|" + kBlurb +
                              "|---|Pause|Maximize All Windows Now|---|---|Launch at Login [ ]";
    for (const auto& [states, head] : std::vector<std::pair<std::string, std::string>>{
             {"untrusted unfillable=3",
              "Mavo: needs Accessibility (off)|---|Grant Accessibility…|---|Pause|"
              "Maximize All Windows Now (off)"},
             {"paused unfillable=2",
              "Mavo: paused (off)|2 windows can’t be maximized (off)|---|Resume"},
             {"unfillable=1",
              "Mavo: active (off)|" + kBlurb + "|1 window can’t be maximized (off)"},
             {"front=43", noApp},
             {"front=none", noApp},
             {"front=44", noApp},
             {"front=45", "---|Don’t Manage “org.example.NoName”"}}) {
        Env env(states);
        const size_t from = states == "front=45" ? 5 : 0;
        EXPECT_EQ(rows(env.start().menuNeedsUpdate(), from, std::ranges::count(head, '|') + 1),
                  head)
            << states;
    }

    Env env("untrusted unfillable=3");
    auto& c = env.start();
    const auto& menu = c.menuNeedsUpdate();
    EXPECT_FALSE(get(menu, "Smaller Windows Top Centered").enabled ||
                 get(menu, "Focus-Size on Large Displays").enabled);
    c.perform(get(menu, "Grant Accessibility…"));
    EXPECT_EQ(env.permissions.requestTrustCount(), 1);
    EXPECT_EQ(env.permissions.openSettingsCount(), 1);
    EXPECT_TRUE(env.events.events().empty());
}

// A menu row and the remote control's verb for the same thing make the same calls.
TEST(StatusMenu, EachActionWritesItsStoreStartsItsActionAndSendsItsEvent) {
    const std::string edList = "=[\"" + ed + "\"]";
    struct Case {
        std::string title, states, calls, events;
        std::function<void(RemoteControl&)> verb = {};
    };
    int row = 0;
    for (const auto& tc : std::vector<Case>{
             {"Pause", "", "paused=true", "app_paused", [](auto& c) { c.pause(); }},
             {"Resume", "paused", "paused=false", "app_resumed", [](auto& c) { c.resume(); }},
             {"Maximize All Windows Now", "", "maximizeAllNow", "maximize_all_now",
              [](auto& c) { c.maximizeAll(); }},
             {"Smaller Windows Top Centered", "", "topCenterMode=true", "topcenter_on"},
             {"Smaller Windows Top Centered", "topCenter", "topCenterMode=false", "topcenter_off"},
             {"Focus-Size on Large Displays", "", "focusSizeBigDisplays=true reevaluateAll",
              "focus_mode_on"},
             {"Focus-Size on Large Displays", "focusSize",
              "focusSizeBigDisplays=false reevaluateAll", "focus_mode_off"},
             {"Don’t Manage “Editor”", "", "excludedBundleIDs" + edList, "app_excluded",
              [](auto& c) { c.setManaged(ed, false); }},
             {"Manage “Editor”", "excluded", "excludedBundleIDs=[]", "app_included",
              [](auto& c) { c.setManaged(ed, true); }},
             {"Top-Center “Editor”", "", "topCenterApps" + edList, "topcenter_app_on",
              [](auto& c) { c.setTopCenter(ed, true); }},
             {"Top-Center “Editor”", "topCenterApp", "topCenterApps=[]", "topcenter_app_off",
              [](auto& c) { c.setTopCenter(ed, false); }},
             {"Always Maximize “Editor”", "", "maximizeApps" + edList + " reevaluateAll",
              "app_always_maximize", [](auto& c) { c.setAlwaysMaximize(ed, true); }},
             {"Always Maximize “Editor”", "maximizeApp", "maximizeApps=[] reevaluateAll",
              "app_focus_allowed", [](auto& c) { c.setAlwaysMaximize(ed, false); }},
             {"Don’t Manage “N\uFFFDme”", "front=46", "excludedBundleIDs=[\"Bad\uFFFDClass\"]",
              "app_excluded"},
             {"Launch at Login", "", "", ""},
             {"Hide Icon Until Hover", "", "autoHideIcon=true", ""},
             // Verbs only: one that finds its state already set does nothing.
             {"", "paused", "", "", [](auto& c) { c.pause(); }},
             {"", "", "", "", [](auto& c) { c.setManaged(ed, true); }},
             {"", "", "", "", [](auto& c) { c.setTopCenter(ed, false); }},
             {"", "", "reevaluateAll", "", [](auto& c) { c.reevaluateAll(); }}}) {
        SCOPED_TRACE(testing::Message() << "row " << row++ << " " << tc.title);
        auto expectCalls = [&](const Env& e) {
            EXPECT_EQ(e.calls(), tc.calls);
            EXPECT_EQ(e.eventNames(), tc.events);
            for (const auto& ev : e.events.events()) EXPECT_TRUE(ev.props.empty());
            EXPECT_EQ(e.login.toggles, tc.title == "Launch at Login");
        };
        if (!tc.title.empty()) {
            Env e(tc.states);
            auto& c = e.start();
            c.perform(get(c.menuNeedsUpdate(), tc.title));
            expectCalls(e);
        }
        if (tc.verb) {
            Env e(tc.states);
            tc.verb(e.control);
            expectCalls(e);
        }
    }
}

TEST(StatusMenu, ExcludedAppsAreSortedByBundleIDAndNamedFromTheWorkspace) {
    Env env;
    env.workspace.addRunning({50, "org.b.Running", "Zebra"});
    env.workspace.addRunning({51, "org.c.Nameless", std::nullopt});
    env.workspace.addInstalled("org.c.Nameless", "Installed C");
    env.workspace.addInstalled("org.a.Installed", "Alpha");
    for (auto bid : {"org.d.Unknown", "org.b.Running", "org.a.Installed", "org.c.Nameless"})
        env.settings.toggleExclusion(bid);
    auto& c = env.start();
    const MenuItem& parent = get(c.menuNeedsUpdate(), "Excluded Apps");
    EXPECT_EQ(rows(parent.submenu), "Alpha [x]|Zebra [x]|Installed C [x]|org.d.Unknown [x]");
    c.perform(parent.submenu[1]);
    EXPECT_EQ(env.settings.excludedBundleIDs(),
              (std::vector<std::string>{"org.a.Installed", "org.c.Nameless", "org.d.Unknown"}));
    EXPECT_EQ(env.eventNames(), "app_included");
    for (const auto& bid : env.settings.excludedBundleIDs()) env.settings.toggleExclusion(bid);
    EXPECT_EQ(rows(c.menuNeedsUpdate()).find("Excluded"), std::string::npos);

    // The first running match names an app, else its installed name.
    env.workspace.setRunning({{1, "org.dup", std::nullopt}, {2, "org.dup", "Second"}});
    env.workspace.addInstalled("org.dup", "From Disk");
    EXPECT_EQ(c.appName("org.dup"), "From Disk");
    env.workspace.setRunning({{1, "org.dup", "First"}, {2, "org.dup", "Second"}});
    EXPECT_EQ(c.appName("org.dup"), "First");
    EXPECT_EQ(c.appName("org.none"), std::nullopt);
}

TEST(StatusMenu, RememberedPlacementsListThisArrangementsWindowsAndAllCanBeForgotten) {
    Env env;
    env.placements = &env.remembered;
    auto& c = env.start();
    EXPECT_EQ(rows(c.menuNeedsUpdate()).find("Remembered"), std::string::npos);

    for (const std::string& key :
         {"A1|" + ed + "|notes", std::string("A1|org.gone.App|"), "B2|" + ed + "|"})
        env.store.put(key, PlacementRecord{});
    const MenuItem& parent = get(c.menuNeedsUpdate(), "Remembered Placements");
    EXPECT_EQ(rows(parent.submenu), "Editor — notes|org.gone.App|---|Forget All");

    env.arrangement = "C3";  // other displays: nothing of theirs to list, but all can be forgotten
    const MenuItem& other = get(c.menuNeedsUpdate(), "Remembered Placements");
    EXPECT_EQ(rows(other.submenu), "None on These Displays (off)|---|Forget All");
    c.perform(other.submenu.back());
    EXPECT_EQ(env.store.count(), 0u);
}

TEST(StatusMenu, DelayRowShowsWholeSecondsAndIsDimmedWhileAutoHideIsOff) {
    Env env;
    env.defaults.set("unhideDelay", 9.6);
    auto& c = env.start(std::nullopt);
    EXPECT_NE(rows(c.menuNeedsUpdate()).find("|Mavo  (off)|"), std::string::npos);  // no version
    const MenuItem& row = get(c.menu(), "Show/hide delay");
    EXPECT_EQ(row.kind, MenuItem::Kind::delaySlider);
    EXPECT_EQ(std::tie(row.sliderValue, row.sliderMin, row.sliderMax, row.alpha, row.valueLabel),
              std::make_tuple(9.6, 0.0, 10.0, 0.4, "10s"));
    env.defaults.set("autoHideIcon", true);
    EXPECT_DOUBLE_EQ(get(c.menuNeedsUpdate(), "Show/hide delay").alpha, 1.0);

    MenuItem moved = get(c.menu(), "Show/hide delay");
    moved.sliderValue = 2.4;
    const int before = env.item.invalidations;
    c.perform(moved);
    EXPECT_EQ(env.defaults.object("unhideDelay"), nlohmann::json(2.4));
    EXPECT_EQ(get(c.menu(), "Show/hide delay").valueLabel, "2s");
    EXPECT_GT(env.item.invalidations, before);
}

TEST(StatusMenu, IconFollowsTrustAndPauseAndRedrawsOnlyOnChange) {
    Env env;
    auto& c = env.start();
    auto& icons = env.item.icons;
    auto icon = [&] {
        const auto& i = icons.back();
        return std::to_string(icons.size()) + " " + i.state + (i.dimmed ? " dimmed " : " ") +
               i.description;
    };
    EXPECT_EQ(env.item.toolTip, "Mavo: auto-maximize windows");
    EXPECT_EQ(icon(), "1 active Mavo");
    env.timers.advance(2.0);  // housekeeping ticks in the same state
    EXPECT_EQ(icon(), "1 active Mavo");
    c.perform(get(c.menuNeedsUpdate(), "Pause"));  // at once, not on the next tick
    EXPECT_EQ(icon(), "2 paused dimmed Mavo");
    env.permissions.setTrusted(false);  // trust outranks pause
    env.timers.advance(1.0);
    EXPECT_EQ(icon(), "3 warn Mavo: needs Accessibility");

    Env noButton;
    noButton.item.button = false;
    noButton.start();
    noButton.timers.advance(2.0);
    EXPECT_TRUE(noButton.item.icons.empty());
}

constexpr Point inBand{500, 1060}, away{500, 400};

// A pointer story: "in" / "out" move the pointer into or out of the hover band ("in2" elsewhere
// in it), "+s" lets s seconds pass, "shown" / "hidden" check the icon.
void play(Env& env, const std::string& story) {
    std::istringstream steps(story);
    int step = 0;
    for (std::string s; steps >> s; ++step) {
        if (s.starts_with("in") || s == "out")
            env.pointer.moveTo(s == "out" ? away : s == "in" ? inBand : Point{700, 1070});
        else if (s[0] == '+')
            env.timers.advance(std::stod(s.substr(1)));
        else
            EXPECT_EQ(env.item.visible, s == "shown") << "step " << step << " of: " << story;
    }
}

TEST(AutoHide, TheOptionHidesAndShowsAtOnceAndOnlyThenWatchesThePointer) {
    Env env;
    env.item.visible = false;
    auto& c = env.start();
    auto seen = [&] { return std::pair(env.item.visible, env.pointer.monitorCount()); };
    EXPECT_EQ(seen(), std::pair(true, size_t{0}));
    c.perform(MenuItem::command("Hide Icon Until Hover", MenuAction::toggleAutoHide));
    EXPECT_EQ(seen(), std::pair(false, size_t{1}));
    // Off again while a show is pending: the countdown is dropped and the icon shows now.
    env.defaults.set("unhideDelay", 3.0);
    env.pointer.moveTo(inBand);
    c.toggleAutoHide();
    EXPECT_EQ(seen(), std::pair(true, size_t{0}));
    EXPECT_FALSE(c.hasPendingShow());
}

TEST(AutoHide, EachScreenHasABandBelowItsBarAndStrayPointersUseTheMainOne) {
    Env env;
    env.startHiding(0, away);
    ScreenInfo main = primary1080();
    using Row = std::tuple<const char*, std::vector<ScreenInfo>, std::string>;
    for (const auto& [name, screens, moves] : std::vector<Row>{
             // moves: x y shown ...
             {"two points below the bar", {main}, "10 1053 1  10 1052.5 0"},
             // No bar, or a one-point strip, gives a band of 24 points.
             {"no bar", {makeScreen({0, 0, 1920, 1080}, "A", 0)}, "10 1054 1  10 1053.5 0"},
             {"one-point bar", {makeScreen({0, 0, 1920, 1080}, "A", 1)}, "10 1054 1"},
             // The lower screen's top is no band of the upper one's; pointers off every screen
             // use the main screen's band.
             {"stacked",
              {main, above(main, 1920, 1200, "UP", 40)},
              "10 400 0  10 1079 1  10 2239 1  10 2237 0  5000 1060 1  5000 100 0"}}) {
        env.displays.setScreens(screens);
        std::istringstream in(moves);
        for (double x, y, shown; in >> x >> y >> shown;) {
            env.pointer.moveTo(Point{x, y});
            EXPECT_EQ(env.item.visible, shown) << name << " " << x << "," << y;
        }
    }
    play(env, "in");
    env.pointer.moveTo(std::nullopt);
    EXPECT_FALSE(env.item.visible);
}

TEST(AutoHide, ShowAndHideDelaysRunFromTheCrossingAndAreCancelledByGoingBack) {
    Env env;
    auto& c = env.startHiding(3, away);
    // Shown at start: hiding waits for the delay as well.
    play(env, "shown +3 hidden in +1 out +10 hidden");
    EXPECT_EQ(env.item.visibilityWrites, 1);
    // 3 s after entering the band, not after the last move in it.
    play(env, "in +2 in2 +0.9 hidden +0.2 shown out +2 in");
    EXPECT_FALSE(c.hasPendingHide());
    play(env, "out +2.9 shown +0.2 hidden");
}

TEST(AutoHide, HousekeepingCatchesSilentMovesAndDestroyingStopsEverything) {
    Env env;
    env.startHiding(0, away);
    env.pointer.location = inBand;  // no moved event
    play(env, "+0.5 hidden +0.6 shown");
    env.controller.reset();
    EXPECT_EQ(env.timers.pending() + env.pointer.monitorCount(), 0u);
}

TEST(AutoHide, OpenMenuKeepsTheIconAndClosingAppliesTheRuleAndRefreshesTheIcon) {
    Env env;
    auto& c = env.startHiding(3, inBand);
    c.menuWillOpen();
    play(env, "out +10 shown");
    env.settings.setPaused(true);
    c.menuDidClose();  // with a delay, closing schedules the hide rather than doing it
    EXPECT_EQ(c.lastIconName(), "paused");
    play(env, "shown +3.1 hidden in");
    // Opening while hidden with a show pending shows now and drops the countdown.
    c.menuWillOpen();
    EXPECT_TRUE(env.item.visible);
    EXPECT_FALSE(c.hasPendingShow());
}

TEST(RemoteControl, AppSwitchesAreEachApplicationsOwn) {
    Env env;
    env.settings.toggleExclusion(ed);
    env.settings.toggleTopCenter(ed);
    env.settings.toggleTopCenter("org.other");
    auto s = env.control.appSwitches(ed);
    EXPECT_EQ(std::tie(s.managed, s.topCenter, s.alwaysMaximize), std::tuple(false, true, false));
    s = env.control.appSwitches("org.other");
    EXPECT_EQ(std::tie(s.managed, s.topCenter, s.alwaysMaximize), std::tuple(true, true, false));
}

TEST(RemoteControl, PropertiesFollowTheStateAndOnlyTheirChangesAreAnnounced) {
    using P = RemoteControl::Properties;
    Env env;
    for (int i = 0; i < 3; ++i) env.settings.countWindowMaximized();
    env.settings.setCannotFillCount(1);
    const P first{{"State", "active"},
                  {"WindowsMaximized", 3},
                  {"WindowsCannotBeMaximized", 1},
                  {"TrayPresent", false},
                  {"DisplayArrangement", "A1"}};
    EXPECT_EQ(env.control.changedProperties(), first);
    EXPECT_EQ(env.control.changedProperties(), P{});

    env.settings.setPaused(true);
    EXPECT_EQ(env.control.changedProperties(), (P{{"State", "paused"}}));
    env.permissions.setTrusted(false);  // lacking access outranks pause
    env.settings.countWindowMaximized();
    env.tray = true;
    env.arrangement = "A1+B2";
    EXPECT_EQ(env.control.changedProperties(), (P{{"State", "needs-access"},
                                                  {"WindowsMaximized", 4},
                                                  {"TrayPresent", true},
                                                  {"DisplayArrangement", "A1+B2"}}));
    EXPECT_EQ(env.control.property("WindowsCannotBeMaximized"), RemoteControl::Value(1));
    EXPECT_EQ(env.control.property("Nothing"), std::nullopt);
}

TEST(RemoteControl, PlacementsAreListedByKeyWithTheKeySplit) {
    Env env;
    for (const std::string& key :
         std::vector<std::string>{"B2|" + ed + "|", "A1+B2|org.app|doc | two", "A1|XTerm|", "odd"})
        env.store.put(key, {"D", {0.1, 0.2, 0.5, 0.6}, 0, {}, {}});
    std::vector<std::tuple<std::string, std::string, std::string, std::string>> seen;
    for (const auto& p : env.control.placements()) {
        seen.emplace_back(p.key, p.arrangement, p.application, p.title);
        EXPECT_EQ(p.frame, (RelFrame{0.1, 0.2, 0.5, 0.6}));
    }
    EXPECT_EQ(seen, (decltype(seen){{"A1+B2|org.app|doc | two", "A1+B2", "org.app", "doc | two"},
                                    {"A1|XTerm|", "A1", "XTerm", ""},
                                    {"B2|" + ed + "|", "B2", ed, ""},
                                    {"odd", "odd", "", ""}}));
    EXPECT_EQ(env.remembered.ofCurrentArrangement().size(), 1u);
}

TEST(PollingPointerSource, ReportsMovesOnlyWhileSomeoneListens) {
    FakeTimers timers;
    std::optional<Point> where = Point{1, 1};
    int asked = 0, moves = 0;
    PollingPointerSource source(timers, [&] { return ++asked, where; });
    timers.advance(1.0);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(timers.pending(), 0u);

    auto monitor = source.addMovedMonitor([&] { ++moves; });
    timers.advance(0.35);
    EXPECT_EQ(moves, 0);  // standing still is not a move
    where = Point{2, 1};
    timers.advance(0.1);
    EXPECT_EQ(moves, 1);
    where = std::nullopt;  // the pointer left every screen we know
    timers.advance(0.1);
    EXPECT_EQ(moves, 2);
    EXPECT_EQ(source.pointerLocation(), std::nullopt);

    monitor.reset();  // no timer left, so nothing polls
    EXPECT_EQ(timers.pending(), 0u);

    // A monitor may outlive its source.
    auto orphan = std::make_unique<PollingPointerSource>(timers, [] {
                      return Point{0, 0};
                  })->addMovedMonitor([] {});
    orphan.reset();
    EXPECT_EQ(timers.pending(), 0u);
}

}  // namespace
}  // namespace mavo::test

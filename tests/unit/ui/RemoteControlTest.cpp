#include "ui/RemoteControl.h"

#include <gtest/gtest.h>

#include "fakes/FakeEventTracker.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeUserDefaults.h"

using namespace mavo;
using namespace mavo::test;

namespace {

const std::string app = "org.example.Editor";

struct ControlEnv {
    FakeUserDefaults defaults;
    EngineSettings settings{defaults};
    std::vector<std::string> started;  // the bulk actions, in order
    EngineActions actions{[this] { started.push_back("reevaluateAll"); },
                          [this] { started.push_back("maximizeAllNow"); }};
    FakePermissions permissions{true};
    FakeEventTracker events;
    PlacementStore store{::testing::TempDir() + "mavo-remote-control"};
    std::string arrangement = "A1";
    RememberedPlacements placements{store, [this] { return arrangement; }};
    bool tray = false;
    RemoteControl control{
        {settings, actions, permissions, placements, events, [this] { return tray; }, [] {}}};

    // Each store write as key=value, then the bulk actions started.
    std::string calls() const {
        std::string out;
        for (const auto& key : defaults.writtenKeys())
            out += " " + key + "=" + defaults.object(key)->dump();
        for (const auto& a : started) out += " " + a;
        return out.empty() ? out : out.substr(1);
    }
    std::string eventNames() const {
        std::string out;
        for (const auto& e : events.events()) out += (out.empty() ? "" : " ") + e.name;
        return out;
    }
};

TEST(RemoteControl, VerbsMakeTheMenusCallsAndDoNothingWhenAlreadyInTheirState) {
    struct Case {
        std::string states, calls, events;
        std::function<void(RemoteControl&)> verb;
    };
    const std::string list = "=[\"" + app + "\"]";
    int row = 0;
    for (const auto& tc : std::vector<Case>{
             {"", "paused=true", "app_paused", [](auto& c) { c.pause(); }},
             {"paused", "", "", [](auto& c) { c.pause(); }},
             {"paused", "paused=false", "app_resumed", [](auto& c) { c.resume(); }},
             {"", "", "", [](auto& c) { c.resume(); }},
             {"", "maximizeAllNow", "maximize_all_now", [](auto& c) { c.maximizeAll(); }},
             {"", "reevaluateAll", "", [](auto& c) { c.reevaluateAll(); }},
             {"", "excludedBundleIDs" + list, "app_excluded",
              [](auto& c) { c.setManaged(app, false); }},
             {"", "", "", [](auto& c) { c.setManaged(app, true); }},
             {"excluded", "excludedBundleIDs=[]", "app_included",
              [](auto& c) { c.setManaged(app, true); }},
             {"", "topCenterApps" + list, "topcenter_app_on",
              [](auto& c) { c.setTopCenter(app, true); }},
             {"", "", "", [](auto& c) { c.setTopCenter(app, false); }},
             {"", "maximizeApps" + list + " reevaluateAll", "app_always_maximize",
              [](auto& c) { c.setAlwaysMaximize(app, true); }},
             {"maximize", "maximizeApps=[] reevaluateAll", "app_focus_allowed",
              [](auto& c) { c.setAlwaysMaximize(app, false); }}}) {
        SCOPED_TRACE(testing::Message() << "row " << row++);
        ControlEnv env;
        env.settings.setPaused(tc.states == "paused");
        if (tc.states == "excluded") env.settings.toggleExclusion(app);
        if (tc.states == "maximize") env.settings.toggleMaximizeApp(app);
        env.defaults.clearWrites();
        tc.verb(env.control);
        EXPECT_EQ(env.calls(), tc.calls);
        EXPECT_EQ(env.eventNames(), tc.events);
    }

    ControlEnv env;
    env.settings.toggleExclusion(app);
    env.settings.toggleTopCenter(app);
    env.settings.toggleTopCenter("org.other");
    auto s = env.control.appSwitches(app);
    EXPECT_EQ(std::tie(s.managed, s.topCenter, s.alwaysMaximize), std::tuple(false, true, false));
    s = env.control.appSwitches("org.other");
    EXPECT_EQ(std::tie(s.managed, s.topCenter, s.alwaysMaximize), std::tuple(true, true, false));
}

TEST(RemoteControl, PropertiesFollowTheStateAndOnlyTheirChangesAreAnnounced) {
    using P = RemoteControl::Properties;
    ControlEnv env;
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
    ControlEnv env;
    for (const std::string& key :
         std::vector<std::string>{"B2|" + app + "|", "A1+B2|org.app|doc | two", "A1|XTerm|", "odd"})
        env.store.put(key, {"D", {0.1, 0.2, 0.5, 0.6}, 0, {}, {}});
    std::vector<std::tuple<std::string, std::string, std::string, std::string>> seen;
    for (const auto& p : env.control.placements()) {
        seen.emplace_back(p.key, p.arrangement, p.application, p.title);
        EXPECT_EQ(p.frame, (RelFrame{0.1, 0.2, 0.5, 0.6}));
    }
    EXPECT_EQ(seen, (decltype(seen){{"A1+B2|org.app|doc | two", "A1+B2", "org.app", "doc | two"},
                                    {"A1|XTerm|", "A1", "XTerm", ""},
                                    {"B2|" + app + "|", "B2", app, ""},
                                    {"odd", "odd", "", ""}}));
    EXPECT_EQ(env.placements.ofCurrentArrangement().size(), 1u);
}

}  // namespace

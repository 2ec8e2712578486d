#include "ui/RemoteControl.h"

#include <gtest/gtest.h>

#include "fakes/FakeEventTracker.h"
#include "fakes/FakeMenuEngine.h"
#include "fakes/FakePermissions.h"

using namespace mavo;
using namespace mavo::test;

namespace {

const std::string app = "org.example.Editor";

struct ControlEnv {
    FakeMenuEngine engine;
    FakePermissions permissions{true};
    FakeEventTracker events;
    PlacementStore store{::testing::TempDir() + "mavo-remote-control"};
    std::string arrangement = "A1";
    RememberedPlacements placements{store, [this] { return arrangement; }};
    bool tray = false;
    int terminations = 0;
    RemoteControl control{{engine, permissions, placements, events, [this] { return tray; },
                           [this] { ++terminations; }}};

    std::string calls() const {
        std::string out;
        for (const auto& c : engine.calls) out += (out.empty() ? "" : " ") + c;
        return out;
    }
    std::string eventNames() const {
        std::string out;
        for (const auto& e : events.events()) out += (out.empty() ? "" : " ") + e.name;
        return out;
    }
};

TEST(RemoteControl, VerbsMakeTheMenusCallsAndDoNothingWhenAlreadyInTheirState) {
    struct Case {
        const char* name;
        std::string states, calls, events;
        std::function<void(RemoteControl&)> verb;
    };
    for (const auto& tc : std::vector<Case>{
             {"pause", "", "setPaused(true) persistPaused", "app_paused",
              [](auto& c) { c.pause(); }},
             {"pause", "paused", "", "", [](auto& c) { c.pause(); }},
             {"resume", "paused", "setPaused(false) persistPaused", "app_resumed",
              [](auto& c) { c.resume(); }},
             {"resume", "", "", "", [](auto& c) { c.resume(); }},
             {"maximizeAll", "", "maximizeAllNow", "maximize_all_now",
              [](auto& c) { c.maximizeAll(); }},
             {"reevaluateAll", "", "reevaluateAll", "", [](auto& c) { c.reevaluateAll(); }},
             {"unmanage", "", "toggleExclusion(" + app + ")", "app_excluded",
              [](auto& c) { c.setManaged(app, false); }},
             {"manage", "", "", "", [](auto& c) { c.setManaged(app, true); }},
             {"manage", "excluded", "toggleExclusion(" + app + ")", "app_included",
              [](auto& c) { c.setManaged(app, true); }},
             {"topCenter", "", "toggleTopCenter(" + app + ")", "topcenter_app_on",
              [](auto& c) { c.setTopCenter(app, true); }},
             {"topCenter off", "", "", "", [](auto& c) { c.setTopCenter(app, false); }},
             {"alwaysMaximize", "", "toggleMaximizeApp(" + app + ") reevaluateAll",
              "app_always_maximize", [](auto& c) { c.setAlwaysMaximize(app, true); }},
             {"alwaysMaximize off", "maximize", "toggleMaximizeApp(" + app + ") reevaluateAll",
              "app_focus_allowed", [](auto& c) { c.setAlwaysMaximize(app, false); }},
             {"quit", "", "", "", [](auto& c) { c.quit(); }}}) {
        SCOPED_TRACE(std::string(tc.name) + " " + tc.states);
        ControlEnv env;
        env.engine.isPaused = tc.states == "paused";
        if (tc.states == "excluded") env.engine.excluded.insert(app);
        if (tc.states == "maximize") env.engine.maximizeApps.insert(app);
        tc.verb(env.control);
        EXPECT_EQ(env.calls(), tc.calls);
        EXPECT_EQ(env.eventNames(), tc.events);
        EXPECT_EQ(env.terminations, std::string(tc.name) == "quit");
    }

    ControlEnv env;
    env.engine.excluded = {app};
    env.engine.topCenterApps = {app, "org.other"};
    auto s = env.control.appSwitches(app);
    EXPECT_EQ(std::tie(s.managed, s.topCenter, s.alwaysMaximize), std::tuple(false, true, false));
    s = env.control.appSwitches("org.other");
    EXPECT_EQ(std::tie(s.managed, s.topCenter, s.alwaysMaximize), std::tuple(true, true, false));
}

TEST(RemoteControl, PropertiesFollowTheStateAndOnlyTheirChangesAreAnnounced) {
    using P = RemoteControl::Properties;
    ControlEnv env;
    env.engine.maximized = 3;
    env.engine.cannotFill = 1;
    const P first{{"State", "active"},
                  {"WindowsMaximized", 3},
                  {"WindowsCannotBeMaximized", 1},
                  {"TrayPresent", false},
                  {"DisplayArrangement", "A1"}};
    EXPECT_EQ(env.control.changedProperties(), first);
    EXPECT_EQ(env.control.changedProperties(), P{});

    env.engine.isPaused = true;
    EXPECT_EQ(env.control.changedProperties(), (P{{"State", "paused"}}));
    env.permissions.setTrusted(false);  // lacking access outranks pause
    env.engine.maximized = 4;
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

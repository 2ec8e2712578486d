// The remote control's verbs are checked against the menu's rows in StatusMenuTest.cpp.

#include "UiEnv.h"

using namespace mavo;
using namespace mavo::test;

namespace {

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

}  // namespace

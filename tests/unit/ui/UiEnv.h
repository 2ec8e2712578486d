#pragma once

// The menu's controller and the remote control over fakes, the editor frontmost.

#include <gtest/gtest.h>

#include <sstream>

#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeEventTracker.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeTimers.h"
#include "fakes/FakeUserDefaults.h"
#include "fakes/FakeWorkspace.h"
#include "ui/RemoteControl.h"
#include "ui/StatusItemController.h"

namespace mavo::test {

inline const std::string ed = "org.example.Editor";

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

}  // namespace mavo::test

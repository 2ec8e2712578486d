#pragma once

#include <memory>

#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeEventTracker.h"
#include "fakes/FakeMenuEngine.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeUserDefaults.h"
#include "fakes/FakeWorkspace.h"
#include "ui/StatusItemController.h"

namespace mavo::test {

// One controller over fakes. The primary screen is 1920 x 1080 with a 25-point menu bar, so the
// hover band starts at y = 1080 - 25 - 2 = 1053.
struct StatusTestEnv {
    FakeMenuEngine engine;
    FakeStatusItem item;
    FakePermissions permissions{true};
    FakeWorkspace workspace;
    FakeLogin login;
    FakeEventTracker events;
    FakeUserDefaults defaults;
    FakeTimers timers;
    FakePointer pointer;
    FakeDisplaySource displays{{primary1080()}};
    int terminations = 0, logShows = 0;
    RememberedPlacements* placements = nullptr;
    std::unique_ptr<StatusItemController> controller;

    StatusItemController& start(std::optional<std::string> version = "1.4.2") {
        controller = std::make_unique<StatusItemController>(StatusControllerEnvironment{
            engine, item, permissions, workspace, login, events, defaults, timers, pointer,
            displays, "com.quastorn.mavo", std::move(version), [this] { ++terminations; },
            placements, [this] { ++logShows; }});
        return *controller;
    }
    std::vector<std::string> eventNames() const {
        std::vector<std::string> names;
        for (const auto& e : events.events()) names.push_back(e.name);
        return names;
    }
};

}  // namespace mavo::test

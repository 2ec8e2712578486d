#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "analytics/EventTracker.h"
#include "engine/EngineSettings.h"
#include "ui/EngineActions.h"
#include "ui/RememberedPlacements.h"
#include "windowaccess/Permissions.h"

namespace mavo {

// What the remote control reaches. All of it is used on the main thread.
struct RemoteControlEnvironment {
    EngineSettings& settings;
    EngineActions engine;
    Permissions& permissions;
    RememberedPlacements& placements;
    EventTracker& events;
    std::function<bool()> trayPresent;
    std::function<void()> terminate;
};

// Mavo steered from outside its menu (a script, a shell extension, the `mavo` command): the menu's
// verbs, the per-application switches and the remembered placements, and the status as named
// properties whose changes a bus can announce. Platform-neutral; the bus glue only translates.
class RemoteControl {
  public:
    using Value = std::variant<std::string, int, bool>;
    using Properties = std::vector<std::pair<std::string, Value>>;

    struct AppSwitches {
        bool managed = true;
        bool topCenter = false;
        bool alwaysMaximize = false;
    };

    explicit RemoteControl(RemoteControlEnvironment env) : env_(std::move(env)) {}

    // "State" ("active", "paused" or "needs-access"), "WindowsMaximized",
    // "WindowsCannotBeMaximized", "TrayPresent", "DisplayArrangement".
    Properties properties();
    std::optional<Value> property(const std::string& name);
    // The properties whose values differ from the last call's (all of them on the first call).
    Properties changedProperties();

    // Each does nothing when Mavo is already in the asked-for state.
    void pause();
    void resume();
    void maximizeAll();
    void reevaluateAll();
    void quit();

    AppSwitches appSwitches(const std::string& app) const;
    void setManaged(const std::string& app, bool on);
    void setTopCenter(const std::string& app, bool on);
    void setAlwaysMaximize(const std::string& app, bool on);

    std::vector<RememberedPlacement> placements() { return env_.placements.all(); }
    bool forgetPlacement(const std::string& key) { return env_.placements.forget(key); }
    size_t forgetAllPlacements() { return env_.placements.forgetAll(); }

  private:
    void setPaused(bool paused);

    RemoteControlEnvironment env_;
    Properties published_;
};

}  // namespace mavo

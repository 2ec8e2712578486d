#include "ui/RemoteControl.h"

#include <algorithm>

namespace mavo {

RemoteControl::Properties RemoteControl::properties() {
    const std::string state = !env_.permissions.isTrusted() ? "needs-access"
                              : env_.settings.paused()      ? "paused"
                                                            : "active";
    return {{"State", state},
            {"WindowsMaximized", env_.settings.windowsMaximizedCount()},
            {"WindowsCannotBeMaximized", env_.settings.cannotFillCount()},
            {"TrayPresent", env_.trayPresent && env_.trayPresent()},
            {"DisplayArrangement", env_.placements.currentArrangement()}};
}

std::optional<RemoteControl::Value> RemoteControl::property(const std::string& name) {
    for (auto& [n, value] : properties())
        if (n == name) return value;
    return std::nullopt;
}

RemoteControl::Properties RemoteControl::changedProperties() {
    Properties now = properties();
    Properties changed;
    for (const auto& entry : now)
        if (std::ranges::find(published_, entry) == published_.end()) changed.push_back(entry);
    published_ = std::move(now);
    return changed;
}

void RemoteControl::setPaused(bool paused) {
    if (env_.settings.paused() == paused) return;
    env_.settings.setPaused(paused);
    env_.settings.persistPaused();
    env_.events.trackEvent(paused ? "app_paused" : "app_resumed");
}

void RemoteControl::pause() {
    setPaused(true);
}

void RemoteControl::resume() {
    setPaused(false);
}

void RemoteControl::maximizeAll() {
    env_.engine.maximizeAllNow();
    env_.events.trackEvent("maximize_all_now");
}

void RemoteControl::reevaluateAll() {
    env_.engine.reevaluateAll();
}

void RemoteControl::quit() {
    if (env_.terminate) env_.terminate();
}

RemoteControl::AppSwitches RemoteControl::appSwitches(const std::string& app) const {
    return {!env_.settings.excludesBundleID(app), env_.settings.topCentersBundleID(app),
            env_.settings.maximizesBundleID(app)};
}

// The same calls and events as the menu's rows for the frontmost application.
void RemoteControl::setManaged(const std::string& app, bool on) {
    if (appSwitches(app).managed == on) return;
    env_.settings.toggleExclusion(app);
    env_.events.trackEvent(on ? "app_included" : "app_excluded");
}

void RemoteControl::setTopCenter(const std::string& app, bool on) {
    if (appSwitches(app).topCenter == on) return;
    env_.settings.toggleTopCenter(app);
    env_.events.trackEvent(on ? "topcenter_app_on" : "topcenter_app_off");
}

void RemoteControl::setAlwaysMaximize(const std::string& app, bool on) {
    if (appSwitches(app).alwaysMaximize == on) return;
    env_.settings.toggleMaximizeApp(app);
    env_.engine.reevaluateAll();
    env_.events.trackEvent(on ? "app_always_maximize" : "app_focus_allowed");
}

}  // namespace mavo

#include "engine/EngineSettings.h"

#include "engine/EngineTypes.h"

namespace mavo {

std::set<std::string> EngineSettings::storedSet(const UserDefaults& defaults,
                                                const std::string& key) {
    auto value = defaults.object(key);
    if (!value || !value->is_array()) return {};
    std::set<std::string> result;
    for (const auto& item : *value) {
        if (!item.is_string()) return {};
        result.insert(item.get<std::string>());
    }
    return result;
}

std::optional<bool> EngineSettings::storedBool(const UserDefaults& defaults,
                                               const std::string& key) {
    if (!defaults.object(key)) return std::nullopt;
    return defaults.boolean(key);
}

void EngineSettings::load() {
    bool paused = defaults_.boolean("paused");
    // "floatUtilityWindows" is the older name of the mode; it is read, never written.
    bool topCenterMode = storedBool(defaults_, "topCenterMode")
                             .value_or(storedBool(defaults_, "floatUtilityWindows").value_or(true));
    std::optional<bool> focusSize = storedBool(defaults_, "focusSizeBigDisplays");
    std::set<std::string> excluded = storedSet(defaults_, "excludedBundleIDs");
    std::set<std::string> topCenterApps = storedSet(defaults_, "topCenterApps");
    std::set<std::string> maximizeApps = storedSet(defaults_, "maximizeApps");
    std::lock_guard<std::mutex> guard(lock_);
    _paused = paused;
    _topCenterMode = topCenterMode;
    if (focusSize) _focusSizeBigDisplays = *focusSize;
    _excluded = std::move(excluded);
    _topCenterApps = std::move(topCenterApps);
    _maximizeApps = std::move(maximizeApps);
}

bool EngineSettings::contains(const std::set<std::string>& set, const std::string& bid) const {
    std::lock_guard<std::mutex> guard(lock_);
    return set.count(bid) > 0;
}

void EngineSettings::toggle(std::set<std::string>& set, const std::string& bid, const char* key) {
    std::vector<std::string> members;
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (!set.erase(bid)) set.insert(bid);
        members.assign(set.begin(), set.end());
    }
    defaults_.set(key, members);
}

bool EngineSettings::paused() const {
    return get(_paused);
}

void EngineSettings::setPaused(bool value) {
    put(_paused, value);
}

void EngineSettings::persistPaused() {
    defaults_.set("paused", paused());
}

bool EngineSettings::topCenterMode() const {
    return get(_topCenterMode);
}

void EngineSettings::setTopCenterMode(bool value) {
    put(_topCenterMode, value);
}

void EngineSettings::persistTopCenterMode() {
    defaults_.set("topCenterMode", topCenterMode());
}

bool EngineSettings::focusSizeBigDisplays() const {
    return get(_focusSizeBigDisplays);
}

void EngineSettings::setFocusSizeBigDisplays(bool value) {
    put(_focusSizeBigDisplays, value);
}

void EngineSettings::persistFocusSizeBigDisplays() {
    defaults_.set("focusSizeBigDisplays", focusSizeBigDisplays());
}

bool EngineSettings::excludesBundleID(const std::string& bid) const {
    return contains(_excluded, bid);
}

std::vector<std::string> EngineSettings::excludedBundleIDs() const {
    std::lock_guard<std::mutex> guard(lock_);
    return {_excluded.begin(), _excluded.end()};
}

void EngineSettings::toggleExclusion(const std::string& bid) {
    toggle(_excluded, bid, "excludedBundleIDs");
}

bool EngineSettings::topCentersBundleID(const std::string& bid) const {
    return contains(_topCenterApps, bid);
}

void EngineSettings::toggleTopCenter(const std::string& bid) {
    toggle(_topCenterApps, bid, "topCenterApps");
}

bool EngineSettings::maximizesBundleID(const std::string& bid) const {
    return contains(_maximizeApps, bid);
}

void EngineSettings::toggleMaximizeApp(const std::string& bid) {
    toggle(_maximizeApps, bid, "maximizeApps");
}

int EngineSettings::cannotFillCount() const {
    return get(_cannotFillCount);
}

int EngineSettings::windowsMaximizedCount() const {
    return get(_windowsMaximized);
}

EngineSettings::Snapshot EngineSettings::snapshot() const {
    std::lock_guard<std::mutex> guard(lock_);
    return {_paused,   _topCenterMode, _focusSizeBigDisplays,
            _excluded, _topCenterApps, _maximizeApps};
}

void EngineSettings::setCannotFillCount(int count) {
    put(_cannotFillCount, count);
}

void EngineSettings::countWindowMaximized() {
    std::lock_guard<std::mutex> guard(lock_);
    incrementCounter(_windowsMaximized);
}

}  // namespace mavo

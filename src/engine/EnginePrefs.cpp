#include "engine/MaximizeEngine.h"

namespace mavo {

namespace {

// A stored array that is missing, or is not an array of strings, counts as empty.
std::set<std::string> stringSet(const UserDefaults& defaults, const std::string& key) {
    auto value = defaults.object(key);
    if (!value || !value->is_array()) return {};
    std::set<std::string> result;
    for (const auto& item : *value) {
        if (!item.is_string()) return {};
        result.insert(item.get<std::string>());
    }
    return result;
}

// Presence first, then the value: an absent key keeps the built-in default instead of reading
// as false.
std::optional<bool> storedBool(const UserDefaults& defaults, const std::string& key) {
    if (!defaults.object(key)) return std::nullopt;
    return defaults.boolean(key);
}

nlohmann::json sortedArray(const std::set<std::string>& set) {
    return nlohmann::json(std::vector<std::string>(set.begin(), set.end()));  // set is sorted
}

std::string joined(const std::set<std::string>& set) {
    std::string out;
    for (const auto& id : set) {
        if (!out.empty()) out += ",";
        out += id;
    }
    return out;
}

}  // namespace

void MaximizeEngine::loadPrefs() {
    UserDefaults& defaults = env_.defaults;
    std::set<std::string> excluded = stringSet(defaults, "excludedBundleIDs");
    std::set<std::string> seeded = stringSet(defaults, "seededDefaultExcludes");

    // Each built-in exclusion is offered once, when first found installed; one the user removes
    // later is never added back. One not installed yet waits for a later launch.
    std::set<std::string> fresh;
    for (const auto& id : env_.builtIns.defaultExcluded) {
        if (!seeded.count(id) && env_.workspace.isInstalled(id)) fresh.insert(id);
    }
    if (!fresh.empty()) {
        excluded.insert(fresh.begin(), fresh.end());
        defaults.set("excludedBundleIDs", sortedArray(excluded));
        seeded.insert(fresh.begin(), fresh.end());
        defaults.set("seededDefaultExcludes", sortedArray(seeded));
        diag("seeded default excludes: " + joined(fresh));
    }

    bool paused = defaults.boolean("paused");
    bool topCenterMode = storedBool(defaults, "topCenterMode")
                             .value_or(storedBool(defaults, "floatUtilityWindows").value_or(true));
    std::set<std::string> topCenterApps = stringSet(defaults, "topCenterApps");
    std::optional<bool> focusSize = storedBool(defaults, "focusSizeBigDisplays");
    std::set<std::string> maximizeApps = stringSet(defaults, "maximizeApps");
    {
        std::lock_guard<std::mutex> guard(lock_);
        _paused = paused;
        _excluded = std::move(excluded);
        _topCenterMode = topCenterMode;
        _topCenterApps = std::move(topCenterApps);
        if (focusSize) _focusSizeBigDisplays = *focusSize;
        _maximizeApps = std::move(maximizeApps);
    }

    std::optional<bool> existing = storedBool(defaults, "maximizeExistingOnStartup");
    std::set<std::string> learnt = stringSet(defaults, "cellSnapApps");
    // These belong to the engine queue; going through it keeps them race-free even if the timer
    // were already running.
    queue_->sync([&] {
        if (existing) maximizeExistingOnStartup_ = *existing;
        cellSnapApps_.insert(learnt.begin(), learnt.end());
    });

    env_.store.loadIfNeeded();
}

bool MaximizeEngine::lockedContains(const std::set<std::string>& set,
                                    const std::string& bid) const {
    std::lock_guard<std::mutex> guard(lock_);
    return set.count(bid) > 0;
}

std::vector<std::string> MaximizeEngine::lockedToggle(std::set<std::string>& set,
                                                      const std::string& bid) {
    std::lock_guard<std::mutex> guard(lock_);
    if (!set.erase(bid)) set.insert(bid);
    return {set.begin(), set.end()};
}

bool MaximizeEngine::paused() const {
    return locked(_paused);
}

void MaximizeEngine::setPaused(bool value) {
    std::lock_guard<std::mutex> guard(lock_);
    _paused = value;
}

void MaximizeEngine::persistPaused() {
    env_.defaults.set("paused", locked(_paused));
}

bool MaximizeEngine::excludesBundleID(const std::string& bid) const {
    return lockedContains(_excluded, bid);
}

std::vector<std::string> MaximizeEngine::excludedBundleIDs() const {
    std::lock_guard<std::mutex> guard(lock_);
    return {_excluded.begin(), _excluded.end()};
}

void MaximizeEngine::toggleExclusion(const std::string& bid) {
    auto members = lockedToggle(_excluded, bid);
    env_.defaults.set("excludedBundleIDs", members);
}

bool MaximizeEngine::topCenterMode() const {
    return locked(_topCenterMode);
}

void MaximizeEngine::setTopCenterMode(bool value) {
    std::lock_guard<std::mutex> guard(lock_);
    _topCenterMode = value;
}

void MaximizeEngine::persistTopCenterMode() {
    env_.defaults.set("topCenterMode", locked(_topCenterMode));
}

bool MaximizeEngine::topCentersBundleID(const std::string& bid) const {
    return lockedContains(_topCenterApps, bid);
}

void MaximizeEngine::toggleTopCenter(const std::string& bid) {
    auto members = lockedToggle(_topCenterApps, bid);
    env_.defaults.set("topCenterApps", members);
}

bool MaximizeEngine::focusSizeBigDisplays() const {
    return locked(_focusSizeBigDisplays);
}

void MaximizeEngine::setFocusSizeBigDisplays(bool value) {
    std::lock_guard<std::mutex> guard(lock_);
    _focusSizeBigDisplays = value;
}

void MaximizeEngine::persistFocusSizeBigDisplays() {
    env_.defaults.set("focusSizeBigDisplays", locked(_focusSizeBigDisplays));
}

bool MaximizeEngine::maximizesBundleID(const std::string& bid) const {
    return lockedContains(_maximizeApps, bid);
}

void MaximizeEngine::toggleMaximizeApp(const std::string& bid) {
    auto members = lockedToggle(_maximizeApps, bid);
    env_.defaults.set("maximizeApps", members);
}

int MaximizeEngine::cannotFillCount() const {
    return locked(_cannotFillCount);
}

int MaximizeEngine::windowsMaximizedCount() const {
    return locked(_windowsMaximized);
}

}  // namespace mavo

#include "engine/MaximizeEngine.h"

namespace mavo {

namespace {

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
    std::set<std::string> seeded = EngineSettings::storedSet(defaults, "seededDefaultExcludes");

    // Each built-in exclusion is offered once, when first found installed; one the user removes
    // later is never added back. One not installed yet waits for a later launch.
    std::set<std::string> fresh;
    for (const auto& id : env_.builtIns.defaultExcluded) {
        if (!seeded.count(id) && env_.workspace.isInstalled(id)) fresh.insert(id);
    }
    if (!fresh.empty()) {
        std::set<std::string> excluded = EngineSettings::storedSet(defaults, "excludedBundleIDs");
        excluded.insert(fresh.begin(), fresh.end());
        defaults.set("excludedBundleIDs", sortedArray(excluded));
        seeded.insert(fresh.begin(), fresh.end());
        defaults.set("seededDefaultExcludes", sortedArray(seeded));
        diag("seeded default excludes: " + joined(fresh));
    }
    settings_.load();

    std::optional<bool> existing =
        EngineSettings::storedBool(defaults, "maximizeExistingOnStartup");
    std::set<std::string> learnt = EngineSettings::storedSet(defaults, "cellSnapApps");
    // These belong to the engine queue; going through it keeps them race-free even if the timer
    // were already running.
    queue_->sync([&] {
        if (existing) maximizeExistingOnStartup_ = *existing;
        cellSnapApps_.insert(learnt.begin(), learnt.end());
    });

    env_.store.loadIfNeeded();
}

}  // namespace mavo

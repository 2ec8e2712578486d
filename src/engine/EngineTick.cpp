#include <unordered_set>

#include "app/Diag.h"
#include "engine/MaximizeEngine.h"

namespace mavo {

namespace {

// Only ordinary, movable document windows: dialogs, sheets, panels, minimized and full-screen
// windows are never touched. The checks stop at the first that fails.
bool isCandidate(const AX& ax, const WindowHandle& w) {
    return ax.string(w, Attr::role) == std::string(Attr::windowRole) &&
           ax.string(w, Attr::subrole) == std::string(Attr::standardWindow) &&
           !ax.boolean(w, Attr::minimized) && !ax.boolean(w, Attr::fullScreen) &&
           ax.isSettable(w, Attr::position);
}

}  // namespace

void MaximizeEngine::tick(bool force) {
    ticks_.fetch_add(1);
    // The flag is used up before the pause check on purpose: a paused first tick still counts.
    bool isFirstTick = firstTick_;
    firstTick_ = false;

    if (!force && locked(_paused)) return;

    bool mouseDown = env_.drag.isMouseDown();
    bool topCenterMode = locked(_topCenterMode);
    bool focusSizeBig = locked(_focusSizeBigDisplays);

    std::unordered_set<WindowKey, WindowKeyHash> seen;
    for (const RunningApplication& app : env_.workspace.runningApplications()) {
        if (app.activationPolicy != ActivationPolicy::regular) continue;
        const std::string bid = app.bundleID.value_or("");
        if (app.bundleID && bid == env_.selfBundleID) continue;

        bool inExcluded = lockedContains(_excluded, bid);
        bool inTopCenterApps = lockedContains(_topCenterApps, bid);
        bool isDefaultExcluded = env_.builtIns.defaultExcluded.count(bid) > 0;
        // Global top-center mode brings back only excluded apps from the built-in list; an app
        // the user excluded by hand returns only through its own top-center entry.
        if (inExcluded && !inTopCenterApps && !(isDefaultExcluded && topCenterMode)) continue;
        bool inMaximizeApps = lockedContains(_maximizeApps, bid);
        if (app.pid < 1) continue;

        std::vector<WindowHandle> candidates;
        for (const WindowHandle& w : env_.ax.windows(app.pid)) {
            if (isCandidate(env_.ax, w)) candidates.push_back(w);
        }
        int windowCount = static_cast<int>(candidates.size());

        for (const WindowHandle& w : candidates) {
            bool sizeSettable = env_.ax.isSettable(w, Attr::size);
            // A window whose size cannot be set is moved (top-centred), never resized.
            bool topCenter =
                inTopCenterApps || (topCenterMode && (isDefaultExcluded || !sizeSettable));
            bool focusEligible = false;
            if (!topCenter) {
                if (inExcluded || !sizeSettable) continue;
                focusEligible = focusSizeBig && !inMaximizeApps && !cellSnapApps_.count(bid);
            }
            WindowKey key{w};
            seen.insert(key);
            evaluate(w, key, bid, windowCount, topCenter, focusEligible, mouseDown, isFirstTick,
                     force);
        }
    }

    double now = env_.clock.uptime();
    if (!(reconfiguringUntil_ > now)) {
        // While displays settle nothing is forgotten: windows may vanish and come back.
        for (auto it = states_.begin(); it != states_.end();) {
            it = seen.count(it->first) ? std::next(it) : states_.erase(it);
        }
        if (wasReconfiguring_) {
            for (auto& entry : states_) entry.second->needsStoreReadopt = true;
            Diag::log("config settled — re-adopting " + std::to_string(states_.size()) +
                      " windows");
        }
    }
    wasReconfiguring_ = now < reconfiguringUntil_;

    int cannotFill = 0;
    for (const auto& entry : states_) {
        if (entry.second->disposition == Disposition::cannotFill) ++cannotFill;
    }
    std::lock_guard<std::mutex> guard(lock_);
    _cannotFillCount = cannotFill;
}

}  // namespace mavo

#include <unordered_set>

#include "common/Utf8.h"
#include "engine/MaximizeEngine.h"

namespace mavo {

namespace {

// Only ordinary, movable document windows: dialogs, sheets, panels, minimized and full-screen
// windows are never touched.
bool isCandidate(const WindowFacts& f) {
    return f.role == Attr::windowRole && f.subrole == Attr::standardWindow && !f.minimized &&
           !f.fullScreen && f.positionSettable;
}

}  // namespace

std::vector<MaximizeEngine::Candidate> MaximizeEngine::candidates(
    const EngineSettings::Snapshot& settings) {
    std::vector<Candidate> found;
    for (const RunningApplication& app : env_.workspace.runningApplications()) {
        if (app.activationPolicy != ActivationPolicy::regular) continue;
        // A class name is another program's bytes: made UTF-8 before it reaches a key or a file.
        const std::string bid = validUtf8(app.bundleID.value_or(""));
        if (app.bundleID && bid == env_.selfBundleID) continue;

        bool inExcluded = settings.excluded.count(bid) > 0;
        bool inTopCenterApps = settings.topCenterApps.count(bid) > 0;
        bool isDefaultExcluded = env_.builtIns.defaultExcluded.count(bid) > 0;
        // Global top-center mode brings back only excluded apps from the built-in list; an app
        // the user excluded by hand returns only through its own top-center entry.
        if (inExcluded && !inTopCenterApps && !(isDefaultExcluded && settings.topCenterMode))
            continue;
        bool inMaximizeApps = settings.maximizeApps.count(bid) > 0;
        if (app.pid < 1) continue;

        std::vector<std::pair<WindowHandle, WindowFacts>> windows;
        for (const WindowHandle& w : env_.ax.windows(app.pid)) {
            if (stopped()) return found;
            auto facts = env_.ax.facts(w);
            if (facts && isCandidate(*facts)) windows.emplace_back(w, std::move(*facts));
        }
        int windowCount = static_cast<int>(windows.size());
        bool cellSnap = cellSnapApps_.count(bid) > 0;
        bool wideFocus = env_.builtIns.wideFocus.count(bid) > 0;

        for (auto& [w, facts] : windows) {
            // A window whose size cannot be set is moved (top-centred), never resized.
            bool sizeSettable = facts.sizeSettable;
            bool topCenter =
                inTopCenterApps || (settings.topCenterMode && (isDefaultExcluded || !sizeSettable));
            bool focusEligible = false;
            if (!topCenter) {
                if (inExcluded || !sizeSettable) continue;
                focusEligible = settings.focusSizeBigDisplays && !inMaximizeApps && !cellSnap;
            }
            found.push_back({w, std::move(facts), bid, windowCount, topCenter, focusEligible,
                             wideFocus, cellSnap});
        }
    }
    return found;
}

MaximizeEngine::Pass MaximizeEngine::beginPass(bool firstTick, bool force) const {
    return {firstTick, force, env_.drag.isMouseDown(), env_.drag.secondsSinceDrag(),
            env_.drag.recentlyKeyed(tunables.userMaximizeDragWindow)};
}

void MaximizeEngine::evaluate(Candidate& c, const Pass& pass) {
    if (!c.facts.frame) return;  // unreadable this time; no state is created

    Observation seen{
        *c.facts.frame,        std::move(c.facts.title), c.facts.sizeSettable, pass.mouseDown,
        pass.secondsSinceDrag, pass.recentlyKeyed,       std::nullopt,         std::nullopt};
    WindowKey key{c.window};
    auto it = states_.find(key);
    std::optional<ManagedState> known;
    if (it != states_.end()) known = std::move(it->second);
    // Only a new window and one re-adopted after a display change read the placement store.
    if (!known || known->needsStoreReadopt) lookUpRemembered(seen, c.bid, c.windowCount);
    PolicySettings settings{c.topCenter,
                            c.focusEligible,
                            c.wideFocus,
                            c.cellSnap,
                            pass.firstTick,
                            pass.force,
                            maximizeExistingOnStartup_,
                            reconfiguringUntil_};
    Decision d = decide(std::move(known), seen, settings, env_.screens, env_.clock.uptime());
    ManagedState& state = it != states_.end()
                              ? (it->second = std::move(d.state))
                              : states_.emplace(key, std::move(d.state)).first->second;
    for (const Effect& effect : d.effects) perform(effect, c, seen, state);
}

void MaximizeEngine::tick(bool force) {
    ticks_.fetch_add(1);
    // Once stopped, a tick ends between two windows: nothing is pruned or counted from a partial
    // walk.
    if (stopped()) return;
    // The flag is used up before the pause check on purpose: a paused first tick still counts.
    bool isFirstTick = firstTick_;
    firstTick_ = false;

    const EngineSettings::Snapshot settings = settings_.snapshot();
    if (!force && settings.paused) return;

    Pass pass = beginPass(isFirstTick, force);
    std::unordered_set<WindowKey, WindowKeyHash> seen;
    for (Candidate& c : candidates(settings)) {
        if (stopped()) return;
        seen.insert(WindowKey{c.window});
        evaluate(c, pass);
    }

    double now = env_.clock.uptime();
    if (!(reconfiguringUntil_ > now)) {
        // While displays settle nothing is forgotten: windows may vanish and come back.
        for (auto it = states_.begin(); it != states_.end();) {
            it = seen.count(it->first) ? std::next(it) : states_.erase(it);
        }
        if (wasReconfiguring_) {
            for (auto& entry : states_) entry.second.needsStoreReadopt = true;
            diag("config settled — re-adopting " + std::to_string(states_.size()) + " windows");
        }
    }
    wasReconfiguring_ = now < reconfiguringUntil_;

    int cannotFill = 0;
    for (const auto& entry : states_) {
        if (entry.second.disposition == Disposition::cannotFill) ++cannotFill;
    }
    settings_.setCannotFillCount(cannotFill);
}

void MaximizeEngine::evaluateNewWindows() {
    // A burst of new windows needs one pass, not one per window.
    if (firstSightQueued_.exchange(true)) return;
    submit([](MaximizeEngine& self) {
        self.firstSightQueued_ = false;
        // Windows open at launch are the first tick's to judge, by its own rules.
        if (self.firstTick_) return;
        const EngineSettings::Snapshot settings = self.settings_.snapshot();
        if (settings.paused) return;
        Pass pass = self.beginPass(false, false);
        for (Candidate& c : self.candidates(settings)) {
            if (self.stopped()) return;
            WindowKey key{c.window};
            if (self.states_.count(key)) continue;
            self.firstSight_ = true;
            self.firstSightMissed_ = false;
            self.evaluate(c, pass);
            self.firstSight_ = false;
            if (self.firstSightMissed_) self.states_.erase(key);
        }
    });
}

}  // namespace mavo

// The write side: move and size a window, correct applications that overshoot, learn the ones
// that size in character cells, and give up on windows that will not fill.

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <variant>

#include "engine/MaximizeEngine.h"
#include "engine/RectStr.h"
#include "geometry/Geo.h"
#include "windowaccess/WindowProbe.h"

namespace mavo {

namespace {

constexpr const EngineTunables& T = MaximizeEngine::tunables;

}  // namespace

void MaximizeEngine::perform(const Effect& effect, const Candidate& c, const Observation& seen,
                             ManagedState& state) {
    auto key = [&] { return placementKey(c.bid, c.windowCount, seen.title); };
    std::visit(
        [&](const auto& e) {
            using E = std::decay_t<decltype(e)>;
            if constexpr (std::is_same_v<E, effect::Apply>) {
                applyMaximize(c.window, e.target, state, c.bid, e.customRestore);
            } else if constexpr (std::is_same_v<E, effect::RememberPlacement>) {
                if (auto k = key()) {
                    env_.store.put(
                        *k, PlacementRecord{
                                e.displayUUID, e.rel, referenceDateFromUnix(env_.clock.wallClock()),
                                e.topCenter ? std::optional(true) : std::nullopt, std::nullopt});
                }
            } else if constexpr (std::is_same_v<E, effect::ForgetPlacement>) {
                if (auto k = key()) env_.store.remove(*k);
            } else if constexpr (std::is_same_v<E, effect::RememberBestFit>) {
                rememberBestFit(e.accepted, c.bid, e.target);
            } else if constexpr (std::is_same_v<E, effect::Log>) {
                diag(e.line);
            } else {
                env_.events.trackEvent(e.name, e.props);
            }
        },
        effect);
}

void MaximizeEngine::applyMaximize(const WindowHandle& element, const Rect& target,
                                   ManagedState& state, const std::string& bid,
                                   bool isCustomRestore) {
    const double now = env_.clock.uptime();

    // An application that undid the engine this often lately is fighting it: leave it alone.
    auto& stamps = state.reassertStamps;
    stamps.erase(std::remove_if(stamps.begin(), stamps.end(),
                                [&](double s) { return now - s > T.oscillationWindow; }),
                 stamps.end());
    if (static_cast<int>(stamps.size()) >= T.oscillationLimit) {
        state.disposition = Disposition::cannotFill;
        auto current = env_.ax.frame(element);
        state.recordedSize = current ? current->size() : target.size();
        probeCannotFill(element, target, "oscillation");
        return;
    }
    stamps.push_back(now);

    Size requested = target.size();
    bool mem = false;
    if (!isCustomRestore && !bid.empty()) {
        auto it = bestFitMemory_.find(BestFitKey::make(bid, target));
        if (it != bestFitMemory_.end()) {
            requested = it->second.size();
            mem = true;
        }
    }

    // The second position write undoes the shift some applications make when resized near an edge.
    env_.ax.set(element, Attr::position, target.origin());
    env_.ax.set(element, Attr::size, requested);
    env_.ax.set(element, Attr::position, target.origin());

    auto read = env_.ax.frame(element);
    if (!read) return;
    Rect achieved = *read;

    const char* label = isCustomRestore ? "restore" : "apply";
    int iters = 0;
    if (!isCustomRestore) {
        while (iters < T.maxCorrections) {
            bool overshoot = false;
            if (achieved.width > target.width + T.overshootSlack) {
                requested.width -= achieved.width - target.width + T.overshootSlack;
                overshoot = true;
            }
            if (achieved.height > target.height + T.overshootSlack) {
                requested.height -= achieved.height - target.height + T.overshootSlack;
                overshoot = true;
            }
            if (!overshoot) break;
            env_.ax.set(element, Attr::size, requested);
            env_.ax.set(element, Attr::position, target.origin());
            auto again = env_.ax.frame(element);
            if (!again) break;
            achieved = *again;
            ++iters;
        }

        // An application that needed correcting, or that settled on another size than asked,
        // sizes its windows its own way (cells, increments): accept its near-misses from now on.
        bool tookRequest = iters == 0 &&
                           std::abs(achieved.width - requested.width) <= T.bestFitEpsilon &&
                           std::abs(achieved.height - requested.height) <= T.bestFitEpsilon;
        if (firstSight_ && !tookRequest) {
            firstSightMissed_ = true;
        } else if (!bid.empty() && !tookRequest && !cellSnapApps_.count(bid)) {
            cellSnapApps_.insert(bid);
            env_.defaults.set("cellSnapApps",
                              std::vector<std::string>(cellSnapApps_.begin(), cellSnapApps_.end()));
            diag("learned cell-snap app: " + bid);
        }
    }

    std::string title = env_.ax.string(element, Attr::title).value_or("?");
    diag(std::string(label) + " \"" + title + "\" target=" + rectStr(target) +
         " achieved=" + rectStr(achieved) + " Δw=" + oneDecimal(target.width - achieved.width) +
         " Δh=" + oneDecimal(target.height - achieved.height) + " iters=" + std::to_string(iters) +
         " mem=" + (mem ? "true" : "false"));

    settings_.countWindowMaximized();

    state.expectedFrame = achieved;
    state.expectedFrameStamp = now;
    state.lastFrame = achieved;
    state.lastTargetFrame = target;
    state.bestFitFrame = achieved;

    if (Geo::overlapFraction(achieved, target) >= T.overlapKeep) {
        state.disposition = Disposition::managed;
        state.resistCount = 0;
        return;
    }
    incrementCounter(state.resistCount);
    if (state.resistCount < T.resistLimit) return;
    state.disposition = Disposition::cannotFill;
    state.recordedSize = achieved.size();
    probeCannotFill(element, achieved, "resist");
}

void MaximizeEngine::rememberBestFit(const Rect& accepted, const std::string& bid,
                                     const Rect& target) {
    if (bid.empty()) return;
    // Per application and target, keep the largest frame it has accepted.
    auto key = BestFitKey::make(bid, target);
    auto it = bestFitMemory_.find(key);
    if (it != bestFitMemory_.end() && it->second.area() >= accepted.area()) return;
    bestFitMemory_[key] = accepted;
}

void MaximizeEngine::probeCannotFill(const WindowHandle& element, const Rect& frame,
                                     const std::string& reason) {
    int32_t pid = env_.ax.pid(element).value_or(0);
    std::string title = env_.ax.string(element, Attr::title).value_or("?");
    diag("PROBE cannot-fill[" + reason + "] \"" + title + "\" " +
         WindowProbe::spaceVerdict(env_.windowList, frame, pid, T.cellFitPosTol));
}

}  // namespace mavo

// The per-window decision. The engine never fights the user: every frame change it did not make
// itself is read as a possible gesture, and the checks below, in a fixed order, decide what the
// gesture meant.

#include <cmath>
#include <limits>

#include "engine/MaximizeEngine.h"
#include "engine/RectStr.h"
#include "geometry/Geo.h"

namespace mavo {

namespace {
constexpr const EngineTunables& T = MaximizeEngine::tunables;
}

struct MaximizeEngine::WindowContext {
    MaximizeEngine& engine;
    const WindowHandle& element;
    const WindowKey& key;
    const std::string& bid;
    int windowCount;
    bool topCenter;
    bool mouseDown;
    bool firstTick;
    bool force;
    Rect frame;
    double now;
    DisplayClass displayClass;
    bool centered;
    CenterKind kind;
    ManagedState* state = nullptr;

    const EngineEnvironment& env() const { return engine.env_; }

    bool equal(const Rect& a, const Rect& b, double epsilon = T.driftEpsilon) const {
        return Geo::approxEqual(a, b, epsilon);
    }
    // Seconds from the last press or drag to when the change being judged was first seen.
    double changeDragAge = std::numeric_limits<double>::infinity();

    bool notReconfiguring() const { return engine.reconfiguringUntil_ <= now; }
    // Measured from when the change was first seen, not from now: whatever the phase of the tick,
    // a gesture is judged the user's.
    bool dragged(double within) const { return changeDragAge <= within; }
    std::optional<Rect> maxTarget() const { return env().screens.maximizeTargetAX(frame); }
    std::optional<OwningDisplay> owning() const { return env().screens.owningDisplayAX(frame); }
    // In a half, quarter or third of the display whose visible frame is `work`.
    bool snapped(const Rect& work) const {
        return Geo::isAtSnapZone(frame, work, T.zonePosTol, T.zoneSizeTol);
    }
    // The engine's own write, seen again shortly after it was made.
    bool selfWrite() const {
        return state->expectedFrame && now - state->expectedFrameStamp <= T.selfWriteWindow &&
               equal(frame, *state->expectedFrame, T.bestFitEpsilon);
    }
    std::string title() const { return env().ax.string(element, Attr::title).value_or(""); }
    std::optional<std::string> placementKey(const std::string& title) const {
        return engine.placementKey(bid, windowCount, title);
    }
    void forget(const std::string& title) const {
        if (auto k = placementKey(title)) env().store.remove(*k);
    }

    // The size a top-centred window is kept at; nothing when no display owns the frame.
    std::optional<Size> centerSize() const {
        auto display = owning();
        if (!display) return std::nullopt;
        if (state->topCenterSize) return state->topCenterSize;
        bool sizeFixed = !env().ax.isSettable(element, Attr::size);
        double cap = env().builtIns.wideFocus.count(bid) ? T.focusWidthWide : T.focusWidthDefault;
        return Geo::centerDefaultSize(sizeFixed, kind == CenterKind::focus, frame.size(),
                                      display->visibleFrame, T.topCenterFillW, T.topCenterFillH,
                                      cap, T.focusMaxFraction, T.focusFillH);
    }
    std::optional<Rect> centerTarget() const {
        auto size = centerSize();
        if (!size) return std::nullopt;
        return env().screens.smartPlaceTargetAX(makeRect(frame.origin(), *size), true,
                                                T.topCenterInset, T.topCenterFillW,
                                                T.topCenterFillH);
    }
    void apply(const Rect& target, bool isCustomRestore) const {
        engine.applyMaximize(element, target, *state, bid, isCustomRestore);
    }
};

void MaximizeEngine::evaluate(const WindowHandle& element, const WindowKey& key,
                              const std::string& bid, int windowCount, bool topCenter,
                              bool focusEligible, bool mouseDown, bool firstTick, bool force) {
    auto frame = env_.ax.frame(element);
    if (!frame) return;  // unreadable this tick; no state is created

    DisplayClass cls = env_.screens.owningClassAX(*frame).value_or(DisplayClass::builtInSmall);
    bool focusOnBig = focusEligible && cls != DisplayClass::builtInSmall;
    WindowContext w{*this,
                    element,
                    key,
                    bid,
                    windowCount,
                    topCenter,
                    mouseDown,
                    firstTick,
                    force,
                    *frame,
                    env_.clock.uptime(),
                    cls,
                    topCenter || focusOnBig,
                    topCenter ? CenterKind::utility : CenterKind::focus};

    auto it = states_.find(key);
    if (it == states_.end()) {
        evaluateFirstSight(w);
    } else {
        w.state = it->second.get();
        evaluateKnown(w);
    }
}

void MaximizeEngine::evaluateFirstSight(WindowContext& w) {
    auto fresh = std::make_shared<ManagedState>();
    fresh->lastFrame = w.frame;
    states_[w.key] = fresh;
    ManagedState& s = *fresh;
    w.state = &s;

    auto maxTarget = w.maxTarget();
    if (!maxTarget) {
        s.disposition = Disposition::userArranged;
        return;
    }
    // Already in a snap zone when first seen: the user put it there.
    if (w.snapped(*maxTarget)) {
        s.disposition = Disposition::userArranged;
        s.lastTargetFrame = maxTarget;
        diag("userArranged(zone,new) frame=" + rectStr(w.frame));
        return;
    }

    if (!w.centered) {
        std::string title = w.title();
        if (auto rp = restoredPlacement(w.bid, w.windowCount, title)) {
            s.disposition = Disposition::managed;
            s.rememberedTarget = rp;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = rp;
            if (w.notReconfiguring() && !w.equal(w.frame, *rp)) w.apply(*rp, true);
            diag("restore(persisted) frame=" + rectStr(*rp));
            return;
        }
        if (w.equal(w.frame, *maxTarget)) {
            s.disposition = Disposition::managed;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = w.frame;
            return;
        }
        if (cellSnapApps_.count(w.bid) &&
            Geo::isAcceptableCellFit(w.frame, *maxTarget, T.cellFitPosTol, T.cellGapMax)) {
            s.disposition = Disposition::managed;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = w.frame;
            rememberBestFit(w.frame, w.bid, *maxTarget);
            return;
        }
        if (!w.firstTick || maximizeExistingOnStartup_ || w.force) {
            s.disposition = Disposition::managed;
            if (w.notReconfiguring()) w.apply(*maxTarget, false);
            return;
        }
        // A window that was open before the engine started, with maximizing of existing windows
        // off: a nearly full one stays managed, anything else is the user's.
        s.disposition = Geo::overlapFraction(w.frame, *maxTarget) < T.overlapKeep
                            ? Disposition::userArranged
                            : Disposition::managed;
        return;
    }

    s.disposition = Disposition::managed;
    s.rememberedTarget.reset();
    std::string title = w.title();
    if (auto ts = restoredTopCenterSize(w.bid, w.windowCount, title)) {
        s.topCenterSize = ts;
        diag("restore(topcenter) size=" + oneDecimal(ts->width) + "×" + oneDecimal(ts->height));
    }
    if (w.notReconfiguring() && w.owning()) {
        auto target = w.centerTarget();
        if (target && !w.equal(w.frame, *target)) w.apply(*target, true);
    }
    if (w.kind == CenterKind::focus) {
        env_.events.trackEvent("focus_sized",
                               {{"display_class", std::string(rawValue(w.displayClass))}});
    }
}

void MaximizeEngine::evaluateKnown(WindowContext& w) {
    ManagedState& s = *w.state;
    if (w.equal(w.frame, s.lastFrame)) {
        s.stableTicks += 1;
    } else {
        s.stableTicks = 0;
        s.changeDragAge = w.mouseDown ? 0.0 : env_.drag.secondsSinceDrag();
    }
    s.lastFrame = w.frame;
    w.changeDragAge = s.changeDragAge;

    // While displays settle, known windows are only tracked, never judged.
    if (w.now < reconfiguringUntil_) return;

    // A window the user maximized or moved is handled by the maximize branch even when it would
    // otherwise be top-centred.
    bool centeredNow = w.centered && !s.userMaximized && !s.userPositioned;

    if (s.needsStoreReadopt) {
        s.needsStoreReadopt = false;
        std::string title = w.title();
        if (!centeredNow) {
            auto rp = restoredPlacement(w.bid, w.windowCount, title);
            if (!rp) {
                s.rememberedTarget.reset();
                s.userPositioned = false;
            } else {
                s.rememberedTarget = rp;
                diag("readopt(config) frame=" + rectStr(*rp));
            }
        } else {
            s.topCenterSize = restoredTopCenterSize(w.bid, w.windowCount, title);
            s.rememberedTarget.reset();
        }
    }

    switch (s.disposition) {
        case Disposition::userArranged: {
            if (!(w.force || (!w.mouseDown && s.stableTicks >= 1))) return;
            auto maxTarget = w.maxTarget();
            if (!maxTarget || w.snapped(*maxTarget)) return;
            double overlap = Geo::overlapFraction(w.frame, *maxTarget);
            if (overlap < T.reengageOverlap) return;
            // Dragged most of the way back over its display: the engine takes it back.
            s.disposition = Disposition::managed;
            diag("re-engage frame=" + rectStr(w.frame) + " ov=" + oneDecimal(overlap * 100) + "%");
            w.apply(*maxTarget, false);
            return;
        }
        case Disposition::cannotFill: {
            // Only a visible hand resize brings a given-up window back.
            if (s.recordedSize &&
                (std::abs(w.frame.width - s.recordedSize->width) > T.handResizeThreshold ||
                 std::abs(w.frame.height - s.recordedSize->height) > T.handResizeThreshold) &&
                w.dragged(T.reconfigureSettle)) {
                s.disposition = Disposition::managed;
                s.resistCount = 0;
                s.recordedSize.reset();
            }
            return;
        }
        case Disposition::managed:
            break;
    }

    // Never act in the middle of a gesture, nor on the first tick after a change.
    if (!w.force && (w.mouseDown || s.stableTicks < 1)) return;
    // The change is judged now, once: a later tick must not read it as a fresh gesture.
    s.changeDragAge = std::numeric_limits<double>::infinity();

    if (w.centered && !s.userMaximized && detectUserMaximize(w)) return;

    if (centeredNow) {
        centeredBranch(w);
    } else {
        maximizeBranch(w);
    }
}

// A top-centred window that the user blew up to (nearly) full size, by mouse or, for utility
// windows, by keyboard, is left maximized.
bool MaximizeEngine::detectUserMaximize(WindowContext& w) {
    ManagedState& s = *w.state;
    if (w.selfWrite()) return false;
    auto maxTarget = w.maxTarget();
    if (!maxTarget) return false;
    if (w.frame.width < T.maximizeFillFraction * maxTarget->width ||
        w.frame.height < T.maximizeFillFraction * maxTarget->height) {
        return false;
    }
    if (!w.dragged(T.userMaximizeDragWindow) &&
        !(w.topCenter && env_.drag.recentlyKeyed(T.userMaximizeDragWindow))) {
        return false;
    }
    // A centred size that is itself almost full cannot be told apart from a maximize.
    Size centered;
    if (w.owning()) {
        if (auto target = w.centerTarget()) centered = target->size();
    }
    if (centered.width >= T.maximizeFillFraction * maxTarget->width &&
        centered.height >= T.maximizeFillFraction * maxTarget->height) {
        return false;
    }

    s.userMaximized = true;
    s.userPositioned = false;
    s.topCenterSize.reset();
    s.rememberedTarget.reset();
    w.apply(*maxTarget, false);
    env_.events.trackEvent("window_user_maximized");
    diag("user-maximized frame=" + rectStr(w.frame));
    return true;
}

void MaximizeEngine::maximizeBranch(WindowContext& w) {
    ManagedState& s = *w.state;
    auto maxTarget = w.maxTarget();
    if (!maxTarget) return;

    if (s.rememberedTarget && !env_.screens.isOnScreenAX(*s.rememberedTarget, T.onScreenCoverage)) {
        diag("retire(offscreen) frame=" + rectStr(*s.rememberedTarget));
        s.rememberedTarget.reset();
    }
    const bool custom = s.rememberedTarget.has_value();
    const Rect effective = custom ? *s.rememberedTarget : *maxTarget;

    if (w.selfWrite()) {
        s.resistCount = 0;
        return;
    }

    // The user dragged a maximized top-centred window back out of full size.
    if (s.userMaximized && w.dragged(T.userMaximizeDragWindow) && !w.equal(w.frame, *maxTarget) &&
        !w.snapped(*maxTarget)) {
        s.userMaximized = false;
        w.forget(w.title());
        bool keptSmaller = w.frame.width < maxTarget->width - T.handResizeThreshold ||
                           w.frame.height < maxTarget->height - T.handResizeThreshold;
        if (keptSmaller) {
            s.topCenterSize = w.frame.size();
        } else {
            s.topCenterSize.reset();
        }
        s.rememberedTarget.reset();
        if (w.owning()) {
            if (auto target = w.centerTarget()) w.apply(*target, true);
        }
        diag("revert(user-maximize) frame=" + rectStr(w.frame) +
             " keptSmaller=" + (keptSmaller ? "true" : "false"));
        return;
    }

    if (w.equal(w.frame, effective)) {
        s.lastTargetFrame = maxTarget;
        s.bestFitFrame = w.frame;
        s.resistCount = 0;
        return;
    }

    if (!custom) {
        if (cellSnapApps_.count(w.bid) &&
            Geo::isAcceptableCellFit(w.frame, *maxTarget, T.cellFitPosTol, T.cellGapMax)) {
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = w.frame;
            s.resistCount = 0;
            rememberBestFit(w.frame, w.bid, *maxTarget);
            return;
        }
        // Where the application settled last time for the same target.
        if (s.bestFitFrame && s.lastTargetFrame && w.equal(*maxTarget, *s.lastTargetFrame) &&
            w.equal(w.frame, *s.bestFitFrame, T.bestFitEpsilon)) {
            s.resistCount = 0;
            return;
        }
    }

    if (w.snapped(*maxTarget)) {
        if (custom || s.userMaximized) w.forget(w.title());
        s.userMaximized = false;
        s.userPositioned = false;
        s.rememberedTarget.reset();
        s.disposition = Disposition::userArranged;
        s.lastTargetFrame = maxTarget;
        diag("userArranged(zone) frame=" + rectStr(w.frame));
        return;
    }

    if (w.dragged(T.reconfigureSettle)) {
        if (Geo::overlapFraction(w.frame, *maxTarget) < T.maximizeReclaim) {
            // Placed by hand somewhere smaller: keep it there, across launches too.
            s.userMaximized = false;
            s.rememberedTarget = w.frame;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = w.frame;
            s.resistCount = 0;
            if (!s.userPositioned) {
                auto key = w.placementKey(w.title());
                auto display = w.owning();
                if (key && display) {
                    if (auto rel = PlacementStore::relative(w.frame, display->visibleFrame)) {
                        env_.store.put(
                            *key, PlacementRecord{display->uuid, *rel,
                                                  referenceDateFromUnix(env_.clock.wallClock()),
                                                  std::nullopt, std::nullopt});
                    }
                }
            }
            diag("remember(custom) frame=" + rectStr(w.frame));
            if (!custom) env_.events.trackEvent("placement_remembered");
            return;
        }
        // Dragged back over most of the display: full maximize again.
        if (custom) w.forget(w.title());
        s.rememberedTarget.reset();
        s.userPositioned = false;
        if (w.topCenter) {
            // The next tick centres it again.
            diag("untop frame=" + rectStr(w.frame));
            return;
        }
        diag("reclaim→max frame=" + rectStr(w.frame));
        w.apply(*maxTarget, false);
        return;
    }

    // Moved without the user's hand: the application or the system drifted it.
    w.apply(effective, custom);
}

void MaximizeEngine::centeredBranch(WindowContext& w) {
    ManagedState& s = *w.state;
    s.rememberedTarget.reset();
    auto display = w.owning();
    if (!display) return;
    auto centerTarget = w.centerTarget();
    if (!centerTarget) return;
    std::string title = w.title();

    if (w.selfWrite()) {
        s.resistCount = 0;
        return;
    }
    auto maxTarget = w.maxTarget();
    if (!maxTarget) return;

    if (w.snapped(*maxTarget)) {
        s.disposition = Disposition::userArranged;
        s.topCenterSize.reset();
        w.forget(title);
        if (w.kind == CenterKind::focus) env_.events.trackEvent("focus_snapped_away");
        diag("userArranged(zone,topcenter) frame=" + rectStr(w.frame));
        return;
    }
    if (w.equal(w.frame, *centerTarget, T.bestFitEpsilon)) {
        s.resistCount = 0;
        return;
    }

    if (w.dragged(T.reconfigureSettle)) {
        bool resized = std::abs(w.frame.width - centerTarget->width) > T.topCenterSizeTol ||
                       std::abs(w.frame.height - centerTarget->height) > T.topCenterSizeTol;
        if (resized) {
            // Keep the new size, remembered per window, and centre the window again at it.
            s.topCenterSize = w.frame.size();
            if (auto key = w.placementKey(title)) {
                const Rect& vf = display->visibleFrame;
                Rect sized{vf.minX(), vf.minY(), std::min(w.frame.width, vf.width),
                           std::min(w.frame.height, vf.height)};
                if (auto rel = PlacementStore::relative(sized, vf)) {
                    env_.store.put(
                        *key, PlacementRecord{display->uuid, *rel,
                                              referenceDateFromUnix(env_.clock.wallClock()), true,
                                              std::nullopt});
                }
            }
            if (w.owning()) {
                if (auto target = w.centerTarget()) w.apply(*target, true);
            }
            diag("topcenter resize→recenter " + oneDecimal(w.frame.width) + "×" +
                 oneDecimal(w.frame.height));
            return;
        }
        // Moved only: the user put it where they want it; from now on it is a custom window.
        s.userPositioned = true;
        s.rememberedTarget = w.frame;
        s.lastTargetFrame = maxTarget;
        s.bestFitFrame = w.frame;
        s.resistCount = 0;
        diag("topcenter move→respect frame=" + rectStr(w.frame));
        return;
    }

    w.apply(*centerTarget, true);
}

}  // namespace mavo

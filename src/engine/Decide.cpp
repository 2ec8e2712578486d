// The per-window decision. The engine never fights the user: every frame change it did not make
// itself is read as a possible gesture, and the checks below, in a fixed order, decide what the
// gesture meant.

#include "engine/Decide.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "engine/RectStr.h"
#include "geometry/Geo.h"
#include "placements/PlacementStore.h"

namespace mavo {

namespace {

constexpr EngineTunables T{};

struct Judgement {
    ManagedState& s;
    const Observation& seen;
    const PolicySettings& settings;
    const ScreenCache& displays;
    double now;
    std::vector<Effect>& effects;
    const Rect& frame = seen.frame;
    // Only a window that may be focus-sized needs its display's class; asking copies the list.
    DisplayClass displayClass =
        settings.focusEligible && !settings.topCenter
            ? displays.owningClassAX(seen.frame).value_or(DisplayClass::builtInSmall)
            : DisplayClass::builtInSmall;
    bool centered = settings.topCenter ||
                    (settings.focusEligible && displayClass != DisplayClass::builtInSmall);
    CenterKind kind = settings.topCenter ? CenterKind::utility : CenterKind::focus;
    // Seconds from the last press or drag to when the change being judged was first seen.
    double changeDragAge = std::numeric_limits<double>::infinity();

    static bool equal(const Rect& a, const Rect& b, double epsilon = T.driftEpsilon) {
        return Geo::approxEqual(a, b, epsilon);
    }
    bool notReconfiguring() const { return settings.reconfiguringUntil <= now; }
    // Measured from when the change was first seen, not from now: whatever the phase of the tick,
    // a gesture is judged the user's.
    bool dragged(double within) const { return changeDragAge <= within; }
    std::optional<Rect> maxTarget() const { return displays.maximizeTargetAX(frame); }
    std::optional<OwningDisplay> owning() const { return displays.owningDisplayAX(frame); }
    // In a half, quarter or third of the display whose visible frame is `work`.
    bool snapped(const Rect& work) const {
        return Geo::isAtSnapZone(frame, work, T.zonePosTol, T.zoneSizeTol);
    }
    // The engine's own write, seen again shortly after it was made.
    bool selfWrite() const {
        return s.expectedFrame && now - s.expectedFrameStamp <= T.selfWriteWindow &&
               equal(frame, *s.expectedFrame, T.bestFitEpsilon);
    }

    // The size a top-centred window is kept at; nothing when no display owns the frame.
    std::optional<Size> centerSize() const {
        auto display = owning();
        if (!display) return std::nullopt;
        if (s.topCenterSize) return s.topCenterSize;
        double cap = settings.wideFocus ? T.focusWidthWide : T.focusWidthDefault;
        return Geo::centerDefaultSize(!seen.sizeSettable, kind == CenterKind::focus, frame.size(),
                                      display->visibleFrame, T.topCenterFillW, T.topCenterFillH,
                                      cap, T.focusMaxFraction, T.focusFillH);
    }
    std::optional<Rect> centerTarget() const {
        auto size = centerSize();
        if (!size) return std::nullopt;
        return displays.smartPlaceTargetAX(makeRect(frame.origin(), *size), true, T.topCenterInset,
                                           T.topCenterFillW, T.topCenterFillH);
    }

    void apply(const Rect& target, bool customRestore) {
        effects.push_back(effect::Apply{target, customRestore});
    }
    void log(std::string line) { effects.push_back(effect::Log{std::move(line)}); }
    void track(std::string name, nlohmann::json props = nlohmann::json::object()) {
        effects.push_back(effect::Track{std::move(name), std::move(props)});
    }
    void forget() { effects.push_back(effect::ForgetPlacement{}); }
    void remember(const Rect& placed, const OwningDisplay& display, bool topCenter) {
        if (auto rel = PlacementStore::relative(placed, display.visibleFrame)) {
            effects.push_back(effect::RememberPlacement{display.uuid, *rel, topCenter});
        }
    }
    // The application settled a cell short of the target: that is as full as it gets.
    bool acceptsCellFit(const Rect& maxTarget) {
        if (!settings.cellSnap ||
            !Geo::isAcceptableCellFit(frame, maxTarget, T.cellFitPosTol, T.cellGapMax)) {
            return false;
        }
        s.lastTargetFrame = maxTarget;
        s.bestFitFrame = frame;
        effects.push_back(effect::RememberBestFit{frame, maxTarget});
        return true;
    }

    void firstSight();
    void known();
    bool userMaximize();
    void maximizeBranch();
    void centeredBranch();
};

void Judgement::firstSight() {
    s.lastFrame = frame;
    auto maxTarget = this->maxTarget();
    if (!maxTarget) {
        s.disposition = Disposition::userArranged;
        return;
    }
    // Already in a snap zone when first seen: the user put it there.
    if (snapped(*maxTarget)) {
        s.disposition = Disposition::userArranged;
        s.lastTargetFrame = maxTarget;
        log("userArranged(zone,new) frame=" + rectStr(frame));
        return;
    }

    if (!centered) {
        if (auto rp = seen.rememberedFrame) {
            s.disposition = Disposition::managed;
            s.rememberedTarget = rp;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = rp;
            if (notReconfiguring() && !equal(frame, *rp)) apply(*rp, true);
            log("restore(persisted) frame=" + rectStr(*rp));
            return;
        }
        if (equal(frame, *maxTarget)) {
            s.disposition = Disposition::managed;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = frame;
            return;
        }
        if (acceptsCellFit(*maxTarget)) {
            s.disposition = Disposition::managed;
            return;
        }
        if (!settings.firstTick || settings.maximizeExistingOnStartup || settings.force) {
            s.disposition = Disposition::managed;
            if (notReconfiguring()) apply(*maxTarget, false);
            return;
        }
        // A window that was open before the engine started, with maximizing of existing windows
        // off: a nearly full one stays managed, anything else is the user's.
        s.disposition = Geo::overlapFraction(frame, *maxTarget) < T.overlapKeep
                            ? Disposition::userArranged
                            : Disposition::managed;
        return;
    }

    s.disposition = Disposition::managed;
    s.rememberedTarget.reset();
    if (auto ts = seen.rememberedTopCenterSize) {
        s.topCenterSize = ts;
        log("restore(topcenter) size=" + oneDecimal(ts->width) + "×" + oneDecimal(ts->height));
    }
    if (notReconfiguring() && owning()) {
        auto target = centerTarget();
        if (target && !equal(frame, *target)) apply(*target, true);
    }
    if (kind == CenterKind::focus) {
        track("focus_sized", {{"display_class", std::string(rawValue(displayClass))}});
    }
}

void Judgement::known() {
    if (equal(frame, s.lastFrame)) {
        s.stableTicks += 1;
    } else {
        s.stableTicks = 0;
        s.changeDragAge = seen.mouseDown ? 0.0 : seen.secondsSinceDrag;
    }
    s.lastFrame = frame;
    changeDragAge = s.changeDragAge;

    // While displays settle, known windows are only tracked, never judged.
    if (now < settings.reconfiguringUntil) return;

    // A window the user maximized or moved is handled by the maximize branch even when it would
    // otherwise be top-centred.
    bool centeredNow = centered && !s.userMaximized && !s.userPositioned;

    if (s.needsStoreReadopt) {
        s.needsStoreReadopt = false;
        if (!centeredNow) {
            if (auto rp = seen.rememberedFrame) {
                s.rememberedTarget = rp;
                log("readopt(config) frame=" + rectStr(*rp));
            } else {
                s.rememberedTarget.reset();
                s.userPositioned = false;
            }
        } else {
            s.topCenterSize = seen.rememberedTopCenterSize;
            s.rememberedTarget.reset();
        }
    }

    switch (s.disposition) {
        case Disposition::userArranged: {
            if (!(settings.force || (!seen.mouseDown && s.stableTicks >= 1))) return;
            auto maxTarget = this->maxTarget();
            if (!maxTarget || snapped(*maxTarget)) return;
            double overlap = Geo::overlapFraction(frame, *maxTarget);
            if (overlap < T.reengageOverlap) return;
            // Dragged most of the way back over its display: the engine takes it back.
            s.disposition = Disposition::managed;
            log("re-engage frame=" + rectStr(frame) + " ov=" + oneDecimal(overlap * 100) + "%");
            apply(*maxTarget, false);
            return;
        }
        case Disposition::cannotFill: {
            // Only a visible hand resize brings a given-up window back.
            if (s.recordedSize &&
                (std::abs(frame.width - s.recordedSize->width) > T.handResizeThreshold ||
                 std::abs(frame.height - s.recordedSize->height) > T.handResizeThreshold) &&
                dragged(T.reconfigureSettle)) {
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
    if (!settings.force && (seen.mouseDown || s.stableTicks < 1)) return;
    // Judged now, once: a later tick must not read the same change as a fresh gesture. The
    // checks below still see when it happened.
    s.changeDragAge = std::numeric_limits<double>::infinity();

    if (centered && !s.userMaximized && userMaximize()) return;

    if (centeredNow) {
        centeredBranch();
    } else {
        maximizeBranch();
    }
}

// A top-centred window that the user blew up to (nearly) full size, by mouse or, for utility
// windows, by keyboard, is left maximized.
bool Judgement::userMaximize() {
    if (selfWrite()) return false;
    auto maxTarget = this->maxTarget();
    if (!maxTarget) return false;
    if (frame.width < T.maximizeFillFraction * maxTarget->width ||
        frame.height < T.maximizeFillFraction * maxTarget->height) {
        return false;
    }
    if (!dragged(T.userMaximizeDragWindow) && !(settings.topCenter && seen.recentlyKeyed)) {
        return false;
    }
    // A centred size that is itself almost full cannot be told apart from a maximize.
    Size centeredSize;
    if (owning()) {
        if (auto target = centerTarget()) centeredSize = target->size();
    }
    if (centeredSize.width >= T.maximizeFillFraction * maxTarget->width &&
        centeredSize.height >= T.maximizeFillFraction * maxTarget->height) {
        return false;
    }

    s.userMaximized = true;
    s.userPositioned = false;
    s.topCenterSize.reset();
    s.rememberedTarget.reset();
    apply(*maxTarget, false);
    track("window_user_maximized");
    log("user-maximized frame=" + rectStr(frame));
    return true;
}

void Judgement::maximizeBranch() {
    auto maxTarget = this->maxTarget();
    if (!maxTarget) return;

    if (s.rememberedTarget && !displays.isOnScreenAX(*s.rememberedTarget, T.onScreenCoverage)) {
        log("retire(offscreen) frame=" + rectStr(*s.rememberedTarget));
        s.rememberedTarget.reset();
    }
    const bool custom = s.rememberedTarget.has_value();
    const Rect effective = custom ? *s.rememberedTarget : *maxTarget;

    if (selfWrite()) {
        s.resistCount = 0;
        return;
    }

    // The user dragged a maximized top-centred window back out of full size.
    if (s.userMaximized && dragged(T.userMaximizeDragWindow) && !equal(frame, *maxTarget) &&
        !snapped(*maxTarget)) {
        s.userMaximized = false;
        forget();
        bool keptSmaller = frame.width < maxTarget->width - T.handResizeThreshold ||
                           frame.height < maxTarget->height - T.handResizeThreshold;
        if (keptSmaller) {
            s.topCenterSize = frame.size();
        } else {
            s.topCenterSize.reset();
        }
        s.rememberedTarget.reset();
        if (owning()) {
            if (auto target = centerTarget()) apply(*target, true);
        }
        log("revert(user-maximize) frame=" + rectStr(frame) +
            " keptSmaller=" + (keptSmaller ? "true" : "false"));
        return;
    }

    if (equal(frame, effective)) {
        s.lastTargetFrame = maxTarget;
        s.bestFitFrame = frame;
        s.resistCount = 0;
        return;
    }

    if (!custom) {
        if (acceptsCellFit(*maxTarget)) {
            s.resistCount = 0;
            return;
        }
        // Where the application settled last time for the same target.
        if (s.bestFitFrame && s.lastTargetFrame && equal(*maxTarget, *s.lastTargetFrame) &&
            equal(frame, *s.bestFitFrame, T.bestFitEpsilon)) {
            s.resistCount = 0;
            return;
        }
    }

    if (snapped(*maxTarget)) {
        if (custom || s.userMaximized) forget();
        s.userMaximized = false;
        s.userPositioned = false;
        s.rememberedTarget.reset();
        s.disposition = Disposition::userArranged;
        s.lastTargetFrame = maxTarget;
        log("userArranged(zone) frame=" + rectStr(frame));
        return;
    }

    if (dragged(T.reconfigureSettle)) {
        if (Geo::overlapFraction(frame, *maxTarget) < T.maximizeReclaim) {
            // Placed by hand somewhere smaller: keep it there, across launches too.
            s.userMaximized = false;
            s.rememberedTarget = frame;
            s.lastTargetFrame = maxTarget;
            s.bestFitFrame = frame;
            s.resistCount = 0;
            if (!s.userPositioned) {
                if (auto display = owning()) remember(frame, *display, false);
            }
            log("remember(custom) frame=" + rectStr(frame));
            if (!custom) track("placement_remembered");
            return;
        }
        // Dragged back over most of the display: full maximize again.
        if (custom) forget();
        s.rememberedTarget.reset();
        s.userPositioned = false;
        if (settings.topCenter) {
            // The next tick centres it again.
            log("untop frame=" + rectStr(frame));
            return;
        }
        log("reclaim→max frame=" + rectStr(frame));
        apply(*maxTarget, false);
        return;
    }

    // Moved without the user's hand: the application or the system drifted it.
    apply(effective, custom);
}

void Judgement::centeredBranch() {
    s.rememberedTarget.reset();
    auto display = owning();
    if (!display) return;
    auto centerTarget = this->centerTarget();
    if (!centerTarget) return;

    if (selfWrite()) {
        s.resistCount = 0;
        return;
    }
    auto maxTarget = this->maxTarget();
    if (!maxTarget) return;

    if (snapped(*maxTarget)) {
        s.disposition = Disposition::userArranged;
        s.topCenterSize.reset();
        forget();
        if (kind == CenterKind::focus) track("focus_snapped_away");
        log("userArranged(zone,topcenter) frame=" + rectStr(frame));
        return;
    }
    if (equal(frame, *centerTarget, T.bestFitEpsilon)) {
        s.resistCount = 0;
        return;
    }

    if (dragged(T.reconfigureSettle)) {
        bool resized = std::abs(frame.width - centerTarget->width) > T.topCenterSizeTol ||
                       std::abs(frame.height - centerTarget->height) > T.topCenterSizeTol;
        if (resized) {
            // Keep the new size, remembered per window, and centre the window again at it.
            s.topCenterSize = frame.size();
            const Rect& vf = display->visibleFrame;
            remember({vf.minX(), vf.minY(), std::min(frame.width, vf.width),
                      std::min(frame.height, vf.height)},
                     *display, true);
            if (auto target = this->centerTarget()) apply(*target, true);
            log("topcenter resize→recenter " + oneDecimal(frame.width) + "×" +
                oneDecimal(frame.height));
            return;
        }
        // Moved only: the user put it where they want it; from now on it is a custom window.
        s.userPositioned = true;
        s.rememberedTarget = frame;
        s.lastTargetFrame = maxTarget;
        s.bestFitFrame = frame;
        s.resistCount = 0;
        log("topcenter move→respect frame=" + rectStr(frame));
        return;
    }

    apply(*centerTarget, true);
}

}  // namespace

Decision decide(std::optional<ManagedState> state, const Observation& seen,
                const PolicySettings& settings, const ScreenCache& displays, double now) {
    const bool known = state.has_value();
    Decision d{known ? std::move(*state) : ManagedState{}, {}};
    Judgement j{d.state, seen, settings, displays, now, d.effects};
    if (known) {
        j.known();
    } else {
        j.firstSight();
    }
    return d;
}

}  // namespace mavo

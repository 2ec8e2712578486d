#include "geometry/ScreenCache.h"

#include <algorithm>

#include "geometry/Geo.h"

namespace mavo {

ScreenCache& ScreenCache::shared() {
    static ScreenCache instance;
    return instance;
}

void ScreenCache::setSource(DisplaySource* source) {
    std::lock_guard<std::mutex> guard(lock_);
    source_ = source;
}

void ScreenCache::refresh() {
    DisplaySource* source = nullptr;
    {
        std::lock_guard<std::mutex> guard(lock_);
        source = source_;
    }
    std::vector<Display> fresh;
    if (source != nullptr) {
        for (const ScreenInfo& s : source->screens()) {
            double aspect = s.frame.width / std::max(1.0, s.frame.height);
            DisplayClass cls =
                Geo::displayClass(aspect, s.isBuiltIn, s.visibleFrame.width, s.physWidthMM);
            fresh.push_back({s.frame, s.visibleFrame, s.uuid, cls});
        }
    }
    // The primary screen's origin is (0, 0), so its top edge is the axis between conventions.
    double axis = fresh.empty() ? 0.0 : fresh.front().frame.maxY();
    std::lock_guard<std::mutex> guard(lock_);
    displays_.swap(fresh);
    axisY_ = axis;
}

std::pair<std::vector<Display>, double> ScreenCache::snapshot() const {
    std::lock_guard<std::mutex> guard(lock_);
    return {displays_, axisY_};
}

std::vector<Display> ScreenCache::displays() const {
    return snapshot().first;
}

double ScreenCache::axisY() const {
    std::lock_guard<std::mutex> guard(lock_);
    return axisY_;
}

std::string ScreenCache::configSignature() const {
    std::vector<std::string> uuids;
    for (const Display& d : displays()) {
        if (!d.uuid.empty()) uuids.push_back(d.uuid);
    }
    std::sort(uuids.begin(), uuids.end());
    std::string sig;
    for (const std::string& u : uuids) {
        if (!sig.empty()) sig += '+';
        sig += u;
    }
    return sig;
}

std::optional<ScreenCache::Owner> ScreenCache::owningDisplay(const Rect& axFrame) const {
    auto [list, axis] = snapshot();
    if (list.empty()) return std::nullopt;
    Rect cocoa = Geo::flip(axFrame, axis);
    // Whole frames, not visible frames, decide ownership. Starting below zero lets the first
    // display win a window that touches none, and the strict comparison keeps the earlier one on
    // a tie.
    double best = -1.0;
    const Display* owner = nullptr;
    for (const Display& d : list) {
        double score = intersectionArea(d.frame, cocoa);
        if (score > best) {
            best = score;
            owner = &d;
        }
    }
    return Owner{*owner, axis};
}

std::optional<OwningDisplay> ScreenCache::owningDisplayAX(const Rect& axFrame) const {
    auto owner = owningDisplay(axFrame);
    if (!owner || owner->display.uuid.empty()) return std::nullopt;
    return OwningDisplay{owner->display.uuid, Geo::flip(owner->display.visibleFrame, owner->axisY)};
}

std::optional<DisplayClass> ScreenCache::owningClassAX(const Rect& axFrame) const {
    auto owner = owningDisplay(axFrame);
    if (!owner) return std::nullopt;
    return owner->display.displayClass;
}

std::optional<Rect> ScreenCache::visibleFrameAX(const std::string& uuid) const {
    auto [list, axis] = snapshot();
    for (const Display& d : list) {
        if (d.uuid == uuid) return Geo::flip(d.visibleFrame, axis);
    }
    return std::nullopt;
}

std::optional<Rect> ScreenCache::maximizeTargetAX(const Rect& axFrame) const {
    // A display without an identity can still be filled; only placement memory needs the uuid.
    auto owner = owningDisplay(axFrame);
    if (!owner) return std::nullopt;
    return Geo::flip(owner->display.visibleFrame, owner->axisY);
}

std::optional<Rect> ScreenCache::smartPlaceTargetAX(const Rect& axFrame, bool sizeFixed,
                                                    double topInset, double fillW,
                                                    double fillH) const {
    auto owning = owningDisplayAX(axFrame);
    if (!owning) return std::nullopt;
    const Rect& vf = owning->visibleFrame;
    double w = axFrame.width, h = axFrame.height;
    if (!sizeFixed) {
        double pw = fillW * vf.width, ph = fillH * vf.height;
        w = w > pw ? w : pw;
        h = h > ph ? h : ph;
    }
    w = std::min(vf.width, w);
    h = std::min(vf.height - topInset, h);
    return Rect{vf.minX() + (vf.width - w) * 0.5, vf.minY() + topInset, w, h};
}

bool ScreenCache::isOnScreenAX(const Rect& frame, double minCoverage) const {
    auto [list, axis] = snapshot();
    if (list.empty() || !(frame.width > 0) || !(frame.height > 0)) return false;
    Rect cocoa = Geo::flip(frame, axis);
    // Mirrored displays overlap and are counted twice; harmless for a yes/no answer.
    double covered = 0;
    for (const Display& d : list) covered += intersectionArea(d.frame, cocoa);
    return minCoverage <= covered / cocoa.area();
}

}  // namespace mavo

#include "geometry/Geo.h"

#include <algorithm>
#include <cmath>

namespace mavo::Geo {

double overlapFraction(const Rect& a, const Rect& b) {
    double bArea = b.width * b.height;
    if (!(bArea > 0)) return 0.0;
    return intersectionArea(a, b) / bArea;
}

bool approxEqual(const Rect& a, const Rect& b, double epsilon) {
    return std::abs(a.minX() - b.minX()) <= epsilon && std::abs(a.minY() - b.minY()) <= epsilon &&
           std::abs(a.width - b.width) <= epsilon && std::abs(a.height - b.height) <= epsilon;
}

std::vector<Rect> snapZones(const Rect& work) {
    const double x = work.x, y = work.y, w = work.width, h = work.height;
    const double hw = w * 0.5, hh = h * 0.5;
    // tt is (w + w) / 3, rounded once: w * (2.0 / 3) or x + t + t can differ in the last bit,
    // and with a zero tolerance that is a miss.
    const double t = w / 3, tt = (w + w) / 3;
    return {
        {x, y, hw, h},             // left half
        {x + hw, y, hw, h},        // right half
        {x, y, w, hh},             // top half
        {x, y + hh, w, hh},        // bottom half
        {x, y, hw, hh},            // top-left quarter
        {x + hw, y, hw, hh},       // top-right quarter
        {x, y + hh, hw, hh},       // bottom-left quarter
        {x + hw, y + hh, hw, hh},  // bottom-right quarter
        {x, y, t, h},              // left third
        {x + t, y, t, h},          // middle third
        {x + tt, y, t, h},         // right third
        {x, y, tt, h},             // left two thirds
        {x + t, y, tt, h},         // right two thirds
    };
}

bool isAtSnapZone(const Rect& frame, const Rect& work, double posTol, double sizeTol) {
    for (const Rect& z : snapZones(work)) {
        if (std::abs(frame.minX() - z.minX()) <= posTol &&
            std::abs(frame.minY() - z.minY()) <= posTol &&
            std::abs(frame.width - z.width) <= sizeTol &&
            std::abs(frame.height - z.height) <= sizeTol) {
            return true;
        }
    }
    return false;
}

bool isAcceptableCellFit(const Rect& frame, const Rect& target, double posTol, double gapMax) {
    // Applications that round their size down to whole cells may stop short of the target by up
    // to gapMax, but may only overhang it by the position tolerance.
    return std::abs(frame.minX() - target.minX()) <= posTol &&
           std::abs(frame.minY() - target.minY()) <= posTol &&
           frame.maxX() <= target.maxX() + posTol && frame.maxY() <= target.maxY() + posTol &&
           target.maxX() - frame.maxX() <= gapMax && target.maxY() - frame.maxY() <= gapMax;
}

DisplayClass displayClass(double aspect, bool isBuiltIn, double visibleWidth, double physWidthMM) {
    if (aspect >= 2.1) return DisplayClass::ultrawide;
    if (isBuiltIn) return DisplayClass::builtInSmall;
    if (visibleWidth >= 2000.0 || physWidthMM >= 550.0) return DisplayClass::largeExternal;
    return DisplayClass::builtInSmall;
}

Rect flip(const Rect& rect, double axisY) {
    return {rect.minX(), axisY - rect.maxY(), rect.width, rect.height};
}

Size centerDefaultSize(bool sizeFixed, bool isFocus, Size natural, const Rect& vf,
                       double utilityFillW, double utilityFillH, double focusWidthCap,
                       double focusMaxFraction, double focusFillH) {
    if (sizeFixed) return natural;
    const double W = vf.width, H = vf.height;
    if (isFocus) return {std::min(focusMaxFraction * W, focusWidthCap), focusFillH * H};
    return {utilityFillW * W, utilityFillH * H};
}

}  // namespace mavo::Geo

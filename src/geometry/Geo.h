#pragma once

#include <vector>

#include "geometry/DisplayClass.h"
#include "geometry/Rect.h"

// Pure rectangle predicates that tell the user's own arrangements (snap zones, cell fits) from
// windows to maximize. Every comparison's strictness is deliberate.
namespace mavo::Geo {

// The share of b's area that a covers, in [0, 1]; 0 when b has no area.
double overlapFraction(const Rect& a, const Rect& b);
bool approxEqual(const Rect& a, const Rect& b, double epsilon);
// Halves, quarters, thirds and two-thirds of a work area, in a fixed order (13 zones).
std::vector<Rect> snapZones(const Rect& work);
bool isAtSnapZone(const Rect& frame, const Rect& work, double posTol, double sizeTol);
bool isAcceptableCellFit(const Rect& frame, const Rect& target, double posTol, double gapMax);
DisplayClass displayClass(double aspect, bool isBuiltIn, double visibleWidth, double physWidthMM);
// Mirror about a horizontal axis: converts between bottom-left and top-left conventions.
Rect flip(const Rect& rect, double axisY);
Size centerDefaultSize(bool sizeFixed, bool isFocus, Size natural, const Rect& vf,
                       double utilityFillW, double utilityFillH, double focusWidthCap,
                       double focusMaxFraction, double focusFillH);

}  // namespace mavo::Geo

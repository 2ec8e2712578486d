#include "platform/x11/UsableArea.h"

#include <algorithm>

namespace mavo {

namespace {

Rect lessStruts(const Rect& monitor, const Rect& root, const std::vector<Strut>& struts) {
    double left = monitor.minX(), right = monitor.maxX();
    double top = monitor.minY(), bottom = monitor.maxY();
    auto span = [](uint32_t start, uint32_t end) {
        return end >= start ? double(end) - double(start) + 1 : 0.0;
    };
    for (const Strut& v : struts) {
        Rect leftArea{0, double(v[4]), double(v[0]), span(v[4], v[5])};
        Rect rightArea{root.width - v[1], double(v[6]), double(v[1]), span(v[6], v[7])};
        Rect topArea{double(v[8]), 0, span(v[8], v[9]), double(v[2])};
        Rect bottomArea{double(v[10]), root.height - v[3], span(v[10], v[11]), double(v[3])};
        if (intersects(leftArea, monitor)) left = std::max(left, leftArea.maxX());
        if (intersects(rightArea, monitor)) right = std::min(right, rightArea.minX());
        if (intersects(topArea, monitor)) top = std::max(top, topArea.maxY());
        if (intersects(bottomArea, monitor)) bottom = std::min(bottom, bottomArea.minY());
    }
    return {left, top, right - left, bottom - top};
}

bool contains(const Rect& outer, const Rect& inner) {
    return inner.minX() >= outer.minX() && inner.maxX() <= outer.maxX() &&
           inner.minY() >= outer.minY() && inner.maxY() <= outer.maxY();
}

}  // namespace

Strut wholeEdgeStrut(uint32_t left, uint32_t right, uint32_t top, uint32_t bottom,
                     const Rect& root) {
    uint32_t lastX = root.width > 0 ? uint32_t(root.width) - 1 : 0;
    uint32_t lastY = root.height > 0 ? uint32_t(root.height) - 1 : 0;
    return {left, right, top, bottom, 0, lastY, 0, lastY, 0, lastX, 0, lastX};
}

std::vector<Rect> usableAreas(const UsableAreaInputs& in) {
    std::vector<Rect> areas;
    for (size_t i = 0; i < in.monitors.size(); ++i) {
        const Rect& monitor = in.monitors[i];
        // The per-monitor work area that overlaps this monitor most.
        Rect best;
        for (const Rect& area : in.monitorWorkAreas)
            if (intersectionArea(area, monitor) > intersectionArea(best, monitor)) best = area;
        Rect usable = intersection(best, monitor);
        if (usable.isEmpty()) {
            usable = lessStruts(monitor, in.root, in.struts);
            // One rectangle cannot describe an arrangement of several monitors (window managers
            // cut every strut across all of them): it speaks for the primary only when it lies
            // within it.
            bool describes = in.monitors.size() == 1 ||
                             (i == 0 && in.workArea && contains(monitor, *in.workArea));
            if (in.workArea && describes) {
                Rect cut = intersection(usable, *in.workArea);
                if (!cut.isEmpty()) usable = cut;
            }
        }
        areas.push_back(usable.isEmpty() ? monitor : usable);
    }
    return areas;
}

}  // namespace mavo

#pragma once

// The part of each monitor that windows may fill, from what the window manager and the panels
// publish. Where the window manager keeps a work area per monitor (_GTK_WORKAREAS_D<desktop>, as
// the GNOME-family ones do, which also count panels they draw themselves) that is the answer;
// otherwise the monitor less the struts of mapped windows, less what _NET_WORKAREA leaves out
// where that one rectangle can describe the monitor (window managers that draw their own toolbar
// publish it only there). Kept free of X so that it can be checked on plain values.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "geometry/Rect.h"

namespace mavo {

// A window's reservation at the root window's edges, in the partial-strut layout: left, right,
// top, bottom, then the start and end of each along its edge.
using Strut = std::array<uint32_t, 12>;

// The older strut form reserves along the whole of each edge.
Strut wholeEdgeStrut(uint32_t left, uint32_t right, uint32_t top, uint32_t bottom,
                     const Rect& root);

struct UsableAreaInputs {
    Rect root;
    std::vector<Rect> monitors = {};  // root coordinates, the primary first
    std::vector<Strut> struts = {};
    std::optional<Rect> workArea = {};        // _NET_WORKAREA of the current desktop
    std::vector<Rect> monitorWorkAreas = {};  // _GTK_WORKAREAS_D<current desktop>, where supported
};

// For each monitor, in order, its usable area in root coordinates; never empty.
std::vector<Rect> usableAreas(const UsableAreaInputs& in);

}  // namespace mavo

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "geometry/Rect.h"

namespace mavo {

// One on-screen window as the window server itself lists it (not through accessibility).
// Each member may be missing, as in the platform's own list.
struct WindowListEntry {
    std::optional<int64_t> ownerPID;
    std::optional<int64_t> layer;
    std::optional<Rect> bounds;  // global top-left coordinates
};

class WindowListSource {
  public:
    virtual ~WindowListSource() = default;
    // On-screen windows without desktop elements, front to back; nothing when unreadable.
    virtual std::optional<std::vector<WindowListEntry>> onScreenWindows() = 0;
};

}  // namespace mavo

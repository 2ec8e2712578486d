#pragma once

#include <string>
#include <vector>

#include "geometry/Rect.h"

namespace mavo {

// One screen as the platform lists it, in the bottom-left convention (origin at the bottom-left
// of the primary screen, y up).
struct ScreenInfo {
    Rect frame;
    Rect visibleFrame;
    std::string uuid;  // stable identity; "" when the platform gives the screen no number
    bool isBuiltIn = false;
    double physWidthMM = 0;
    double backingScale = 1.0;
    friend bool operator==(const ScreenInfo&, const ScreenInfo&) = default;
};

class DisplaySource {
  public:
    virtual ~DisplaySource() = default;
    // The primary screen first. Read on the main thread only.
    virtual std::vector<ScreenInfo> screens() = 0;
};

}  // namespace mavo

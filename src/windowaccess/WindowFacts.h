#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "geometry/Rect.h"

namespace mavo {

// What the platform says of one window at one moment, read in one go. An empty string is a
// value the platform does not give; `frame` has no value while the window's geometry is
// unreadable or in flux.
struct WindowFacts {
    std::string role, subrole, title;
    bool minimized = false;
    bool fullScreen = false;
    bool positionSettable = false;
    bool sizeSettable = false;
    std::optional<Rect> frame;
    int32_t pid = 0;  // 0: no process known
};

}  // namespace mavo

#pragma once

namespace mavo {

// A frame as fractions of a display's visible frame; stored unclamped.
struct RelFrame {
    double fx = 0;
    double fy = 0;
    double fw = 0;
    double fh = 0;
    friend bool operator==(const RelFrame&, const RelFrame&) = default;
};

}  // namespace mavo

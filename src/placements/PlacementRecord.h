#pragma once

#include <optional>
#include <string>

#include "placements/RelFrame.h"

namespace mavo {

// Seconds between the Unix epoch and 2001-01-01 00:00:00 UTC, the epoch of "updatedAt".
inline constexpr double kReferenceDateOffset = 978307200.0;

inline double referenceDateFromUnix(double unixSeconds) {
    return unixSeconds - kReferenceDateOffset;
}

struct PlacementRecord {
    std::string displayUUID;
    RelFrame rel;
    double updatedAt = 0;  // seconds since 2001-01-01 00:00:00 UTC
    std::optional<bool> topCenter;
    std::optional<bool> maximized;
    friend bool operator==(const PlacementRecord&, const PlacementRecord&) = default;
};

}  // namespace mavo

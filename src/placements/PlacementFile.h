#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "placements/PlacementRecord.h"

namespace mavo {

using PlacementRecords = std::unordered_map<std::string, PlacementRecord>;

// The on-disk document of placement memory.
struct PlacementFileV1 {
    int version = 1;
    PlacementRecords records;
};

// Limits on what is read back: far above anything 512 records produce, far below harm.
inline constexpr size_t kMaxPlacementFileBytes = 8 * 1024 * 1024;
inline constexpr int kMaxPlacementFileDepth = 32;

// Compact JSON; absent optionals are left out. A record holding a non-finite number is left out;
// bytes that are not UTF-8 in a key or uuid are replaced, so one bad record never costs the rest.
std::string encodePlacementFile(const PlacementFileV1& file);

// Unknown members are ignored; a missing required member or a member of the wrong type rejects
// the whole document. The version is returned as read, not checked.
std::optional<PlacementFileV1> decodePlacementFile(const std::string& text);

}  // namespace mavo

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

// Compact JSON; absent optionals are left out. Nothing when a value cannot be represented (a
// non-finite number, a key that is not UTF-8).
std::optional<std::string> encodePlacementFile(const PlacementFileV1& file);

// Unknown members are ignored; a missing required member or a member of the wrong type rejects
// the whole document. The version is returned as read, not checked.
std::optional<PlacementFileV1> decodePlacementFile(const std::string& text);

}  // namespace mavo

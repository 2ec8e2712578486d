#pragma once

#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

namespace mavo {

// Parses a JSON text that arrives from disk: nothing when it is not JSON or when arrays and
// objects nest deeper than `maxDepth` (the top level is depth 1), so that a hostile file cannot
// make later processing recurse or grow without bound.
std::optional<nlohmann::json> parseJson(std::string_view text, int maxDepth);

// Serialises without throwing: a string that is not valid UTF-8 has its bad bytes replaced.
std::string dumpJson(const nlohmann::json& value, int indent = -1);

}  // namespace mavo

#pragma once

#include <optional>
#include <string>

namespace mavo {

// The title as it takes part in a placement key: lowercased, trimmed of white space and line
// breaks, and cut at " — edited" so that a document keeps its placement while it has unsaved
// changes.
std::string normalizedPlacementTitle(const std::string& title);

// "<signature>|<bid>|<title part>". The title counts only when the application has two or more
// windows, so a single-window app keeps its placement whatever its title says. Nothing without a
// bundle id or without displays.
std::optional<std::string> placementKeyFor(const std::string& signature, const std::string& bid,
                                           int windowCount, const std::string& title);

}  // namespace mavo

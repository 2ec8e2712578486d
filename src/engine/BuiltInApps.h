#pragma once

#include <set>
#include <string>

namespace mavo {

// Application lists the platform ships with, in its own identifiers (on X11 the class part of
// WM_CLASS), so that the engine names no platform's applications.
struct BuiltInApps {
    // Offered once as exclusions when first found installed: small utility apps whose windows
    // are better left at their own size.
    std::set<std::string> defaultExcluded;
    // Given the wide focus width (browsers, editors, design tools).
    std::set<std::string> wideFocus;
    // Known from the start to size their windows in character cells.
    std::set<std::string> cellSized;
};

}  // namespace mavo

#pragma once

#include <set>
#include <string>

namespace mavo {

// Bundle ids offered once as exclusions when first found installed: small utility apps whose
// windows are better left at their own size.
const std::set<std::string>& defaultExcludedBundleIDs();

// Applications whose focus size uses the wide focus width (browsers, editors, design tools).
const std::set<std::string>& wideFocusApps();

// Applications known from the start to size their windows in character cells.
const std::set<std::string>& builtInCellSnapApps();

}  // namespace mavo

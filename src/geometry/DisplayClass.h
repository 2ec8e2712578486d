#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mavo {

enum class DisplayClass { builtInSmall, largeExternal, ultrawide };

std::string_view rawValue(DisplayClass c);
std::optional<DisplayClass> displayClassFromRaw(std::string_view raw);

}  // namespace mavo

#pragma once

#include <string>
#include <string_view>

namespace mavo {

enum class DisplayClass { builtInSmall, largeExternal, ultrawide };

std::string_view rawValue(DisplayClass c);

}  // namespace mavo

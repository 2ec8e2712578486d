#include "geometry/DisplayClass.h"

namespace mavo {

std::string_view rawValue(DisplayClass c) {
    switch (c) {
        case DisplayClass::builtInSmall:
            return "builtInSmall";
        case DisplayClass::largeExternal:
            return "largeExternal";
        case DisplayClass::ultrawide:
            return "ultrawide";
    }
    return "builtInSmall";
}

std::optional<DisplayClass> displayClassFromRaw(std::string_view raw) {
    for (DisplayClass c :
         {DisplayClass::builtInSmall, DisplayClass::largeExternal, DisplayClass::ultrawide}) {
        if (raw == rawValue(c)) return c;
    }
    return std::nullopt;
}

}  // namespace mavo

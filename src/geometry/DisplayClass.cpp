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

}  // namespace mavo

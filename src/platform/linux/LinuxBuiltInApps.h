#pragma once

#include "engine/BuiltInApps.h"

namespace mavo {

// The built-in application lists as the class parts of WM_CLASS that real Linux applications
// set. The engine matches them exactly, so a class seen spelt two ways is listed twice.
BuiltInApps linuxBuiltInApps();

}  // namespace mavo

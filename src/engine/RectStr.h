#pragma once

#include <string>

#include "geometry/Rect.h"

namespace mavo {

// "(x,y w×h)" with one decimal each: the rectangle notation of every engine diagnostic line.
std::string rectStr(const Rect& r);

// One decimal ("%.1f"), as in the numeric tails of diagnostic lines.
std::string oneDecimal(double value);

// The shortest decimal text that reads back as the same double (1.2 prints as "1.2").
std::string shortestDecimal(double value);

}  // namespace mavo

#include "engine/RectStr.h"

#include <charconv>
#include <cstdio>

namespace mavo {

std::string oneDecimal(double value) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.1f", value);
    return buf;
}

std::string rectStr(const Rect& r) {
    return "(" + oneDecimal(r.minX()) + "," + oneDecimal(r.minY()) + " " + oneDecimal(r.width) +
           "×" + oneDecimal(r.height) + ")";
}

std::string shortestDecimal(double value) {
    char buf[64];
    auto result = std::to_chars(buf, buf + sizeof buf, value);
    return std::string(buf, result.ptr);
}

}  // namespace mavo

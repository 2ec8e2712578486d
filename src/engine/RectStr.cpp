#include "engine/RectStr.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace mavo {

std::string oneDecimal(double value) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.1f", value);
    return buf;
}

std::string rectStr(const Rect& r) {
    // One format call: chained concatenation makes GCC 12 at -O3 warn spuriously (-Wrestrict).
    char buf[160];
    int n = std::snprintf(buf, sizeof buf, "(%.1f,%.1f %.1f×%.1f)", r.minX(), r.minY(), r.width,
                          r.height);
    return std::string(buf, n > 0 ? std::min<size_t>(size_t(n), sizeof buf - 1) : 0);
}

std::string shortestDecimal(double value) {
    char buf[64];
    auto result = std::to_chars(buf, buf + sizeof buf, value);
    return std::string(buf, result.ptr);
}

}  // namespace mavo

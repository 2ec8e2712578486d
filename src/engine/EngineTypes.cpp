#include "engine/EngineTypes.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace mavo {

std::string_view rawValue(Disposition d) {
    switch (d) {
        case Disposition::managed:
            return "managed";
        case Disposition::userArranged:
            return "userArranged";
        case Disposition::cannotFill:
            return "cannotFill";
    }
    return "managed";
}

std::string_view rawValue(CenterKind k) {
    return k == CenterKind::utility ? "utility" : "focus";
}

void incrementCounter(int& counter) {
    if (__builtin_add_overflow(counter, 1, &counter)) {
        std::fprintf(stderr, "mavo: engine counter overflow\n");
        std::abort();
    }
}

int64_t roundedInt64(double value) {
    double r = std::round(value);  // halves away from zero
    // 2^63 is exactly representable; anything at or beyond it does not fit.
    if (!std::isfinite(r) || r < -9223372036854775808.0 || r >= 9223372036854775808.0) {
        std::fprintf(stderr, "mavo: frame value %f cannot be rounded to a 64-bit integer\n", value);
        std::abort();
    }
    return static_cast<int64_t>(r);
}

BestFitKey BestFitKey::make(const std::string& bid, const Rect& target) {
    return BestFitKey{bid, roundedInt64(target.minX()), roundedInt64(target.minY()),
                      roundedInt64(target.width), roundedInt64(target.height)};
}

size_t BestFitKeyHash::operator()(const BestFitKey& k) const noexcept {
    size_t h = std::hash<std::string>{}(k.bid);
    for (int64_t v : {k.x, k.y, k.w, k.h}) {
        h ^= std::hash<int64_t>{}(v) + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2);
    }
    return h;
}

}  // namespace mavo

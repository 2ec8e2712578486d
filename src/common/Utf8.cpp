#include "common/Utf8.h"

namespace mavo {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Length of the well-formed sequence starting at `i`, or 0. The allowed second bytes follow the
// Unicode table of well-formed sequences, which rules out overlong forms and surrogates.
size_t wellFormedLength(std::string_view s, size_t i) {
    auto at = [&](size_t k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char b0 = at(i);
    if (b0 < 0x80) return 1;
    size_t len = 0;
    unsigned char lo = 0x80, hi = 0xBF;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        len = 2;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        len = 3;
        if (b0 == 0xE0) lo = 0xA0;
        if (b0 == 0xED) hi = 0x9F;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        len = 4;
        if (b0 == 0xF0) lo = 0x90;
        if (b0 == 0xF4) hi = 0x8F;
    } else {
        return 0;
    }
    if (i + len > s.size()) return 0;
    if (at(i + 1) < lo || at(i + 1) > hi) return 0;
    for (size_t k = 2; k < len; ++k) {
        if (at(i + k) < 0x80 || at(i + k) > 0xBF) return 0;
    }
    return len;
}

}  // namespace

std::string validUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size();) {
        if (size_t n = wellFormedLength(bytes, i)) {
            out.append(bytes.substr(i, n));
            i += n;
            continue;
        }
        out.append(kReplacement);
        // Skip the lead byte and any continuation bytes that followed it, so one broken
        // character yields one replacement rather than several.
        ++i;
        while (i < bytes.size() && (static_cast<unsigned char>(bytes[i]) & 0xC0) == 0x80) ++i;
    }
    return out;
}

}  // namespace mavo

// Where a window's remembered placement lives: its key, and reading a custom frame or a
// top-center size back for the displays attached now.

#include <locale.h>

#include <algorithm>
#include <cmath>
#include <cwctype>

#include "engine/MaximizeEngine.h"
#include "engine/PlacementKey.h"

namespace mavo {

namespace {

// Decodes one UTF-8 sequence at `i`; an invalid byte comes back as itself with `valid` false.
char32_t decode(const std::string& s, size_t& i, bool& valid) {
    auto b0 = static_cast<unsigned char>(s[i]);
    int extra = b0 < 0x80             ? 0
                : (b0 & 0xE0) == 0xC0 ? 1
                : (b0 & 0xF0) == 0xE0 ? 2
                : (b0 & 0xF8) == 0xF0 ? 3
                                      : -1;
    valid = extra >= 0 && i + extra < s.size();
    char32_t cp = extra > 0 ? (b0 & (0x7F >> (extra + 1))) : b0;
    for (int k = 1; valid && k <= extra; ++k) {
        auto b = static_cast<unsigned char>(s[i + k]);
        if ((b & 0xC0) != 0x80) {
            valid = false;
        } else {
            cp = (cp << 6) | (b & 0x3F);
        }
    }
    if (!valid) {
        ++i;
        return b0;
    }
    i += extra + 1;
    return cp;
}

void encode(char32_t cp, std::string& out) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// White space and line breaks in the Unicode sense, not only ASCII.
bool isSpaceOrNewline(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

char32_t toLower(char32_t c) {
    if (c < 0x80) return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
    // Titles are any script; the UTF-8 locale knows their case mappings.
    static locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    if (!utf8) return c;
    return static_cast<char32_t>(towlower_l(static_cast<wint_t>(c), utf8));
}

// A restored window is never smaller than this share of its display's visible frame, nor than
// kMinRestoredSide points, so that a damaged record cannot bring it back a sliver.
constexpr double kMinRestoredFraction = 0.1;
constexpr double kMinRestoredSide = 100.0;

// The stored frame made absolute and held inside the visible frame at a usable size; nothing when
// the record holds no number at all (NaN), so the window is treated as if nothing were stored.
std::optional<Rect> saneRestoredFrame(const RelFrame& rel, const Rect& vf) {
    if (std::isnan(rel.fx) || std::isnan(rel.fy) || std::isnan(rel.fw) || std::isnan(rel.fh)) {
        return std::nullopt;
    }
    if (!(vf.width > 0) || !(vf.height > 0)) return std::nullopt;
    Rect r = PlacementStore::absolute(rel, vf);
    auto side = [](double value, double visible) {
        double least =
            std::min(visible, std::max(kMinRestoredFraction * visible, kMinRestoredSide));
        return std::clamp(value, least, visible);
    };
    double w = side(r.width, vf.width);
    double h = side(r.height, vf.height);
    double x = std::clamp(r.x, vf.minX(), vf.maxX() - w);
    double y = std::clamp(r.y, vf.minY(), vf.maxY() - h);
    return Rect{x, y, w, h};
}

}  // namespace

std::string normalizedPlacementTitle(const std::string& title) {
    struct Piece {
        char32_t cp;
        bool valid;
    };
    std::vector<Piece> pieces;
    for (size_t i = 0; i < title.size();) {
        bool valid = true;
        char32_t cp = decode(title, i, valid);
        pieces.push_back({valid ? toLower(cp) : cp, valid});
    }
    size_t first = 0, last = pieces.size();
    while (first < last && pieces[first].valid && isSpaceOrNewline(pieces[first].cp)) ++first;
    while (last > first && pieces[last - 1].valid && isSpaceOrNewline(pieces[last - 1].cp)) --last;

    std::string out;
    for (size_t k = first; k < last; ++k) {
        if (pieces[k].valid) {
            encode(pieces[k].cp, out);
        } else {
            out += static_cast<char>(pieces[k].cp);
        }
    }
    // Lowercased already, so a plain search is the case-insensitive one.
    auto cut = out.find(" — edited");
    if (cut != std::string::npos) out.erase(cut);
    return out;
}

std::optional<std::string> placementKeyFor(const std::string& signature, const std::string& bid,
                                           int windowCount, const std::string& title) {
    if (bid.empty() || signature.empty()) return std::nullopt;
    std::string titlePart = windowCount >= 2 ? normalizedPlacementTitle(title) : "";
    return signature + "|" + bid + "|" + titlePart;
}

std::optional<std::string> MaximizeEngine::placementKey(const std::string& bid, int windowCount,
                                                        const std::string& title) const {
    if (bid.empty()) return std::nullopt;
    return placementKeyFor(env_.screens.configSignature(), bid, windowCount, title);
}

void MaximizeEngine::lookUpRemembered(Observation& seen, const std::string& bid,
                                      int windowCount) const {
    auto key = placementKey(bid, windowCount, seen.title);
    if (!key) return;
    auto record = env_.store.get(*key);
    if (!record) return;
    auto vf = env_.screens.visibleFrameAX(record->displayUUID);
    if (!vf) return;  // that display is not attached
    auto frame = saneRestoredFrame(record->rel, *vf);
    if (!frame) return;
    // A top-centred record keeps only its size; a plain custom one restores the frame.
    if (record->topCenter.value_or(false)) {
        seen.rememberedTopCenterSize = frame->size();
    } else if (!record->maximized.value_or(false)) {
        seen.rememberedFrame = frame;
    }
}

}  // namespace mavo

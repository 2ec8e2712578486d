// Any bytes as a window title or class: the repair yields text that a strict UTF-8 encoder
// accepts, leaves valid text alone, and the title normaliser keeps it valid.

#include <cstddef>
#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "common/Utf8.h"
#include "engine/PlacementKey.h"

namespace {
// nlohmann's serialiser rejects ill-formed UTF-8: an independent judge of validity.
bool strictlyValid(const std::string& s) {
    try {
        (void)nlohmann::json(s).dump();
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string raw(reinterpret_cast<const char*>(data), size);
    const std::string title = mavo::validUtf8(raw);
    if (!strictlyValid(title)) __builtin_trap();
    if (strictlyValid(raw) && title != raw) __builtin_trap();
    const std::string key = mavo::normalizedPlacementTitle(title);
    if (!strictlyValid(key) || key.size() > 2 * title.size()) __builtin_trap();
    (void)mavo::normalizedPlacementTitle(raw);  // the normaliser alone must not crash either
    return 0;
}

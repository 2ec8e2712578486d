// Any bytes as defaults.json: decoding never crashes, and an accepted object survives being
// written and read again unchanged.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/linux/JsonFileDefaults.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using mavo::JsonFileDefaults;
    auto values =
        JsonFileDefaults::decode(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!values) return 0;
    auto again = JsonFileDefaults::decode(JsonFileDefaults::encode(*values));
    if (!again || *again != *values) __builtin_trap();
    return 0;
}

// Any bytes as placements.json: decoding never crashes, and whatever decodes is written back
// so that it reads again as the same records.

#include <cstddef>
#include <cstdint>
#include <string>

#include "placements/PlacementFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace mavo;
    auto file = decodePlacementFile(std::string(reinterpret_cast<const char*>(data), size));
    if (!file) return 0;
    auto again = decodePlacementFile(encodePlacementFile(*file));
    if (!again || again->version != file->version || again->records != file->records) {
        __builtin_trap();
    }
    return 0;
}

#include "ui/RememberedPlacements.h"

namespace mavo {

RememberedPlacement RememberedPlacement::describe(const std::string& key,
                                                  const PlacementRecord& record) {
    // Display uuids never hold a bar; a title may, so it takes everything after the second one.
    RememberedPlacement p{key, key, "", "", record.rel};
    size_t first = key.find('|');
    if (first == std::string::npos) return p;
    p.arrangement = key.substr(0, first);
    size_t second = key.find('|', first + 1);
    p.application =
        key.substr(first + 1, second == std::string::npos ? second : second - first - 1);
    if (second != std::string::npos) p.title = key.substr(second + 1);
    return p;
}

std::vector<RememberedPlacement> RememberedPlacements::all() {
    std::vector<RememberedPlacement> out;
    for (const auto& [key, record] : store_.entries())
        out.push_back(RememberedPlacement::describe(key, record));
    return out;
}

std::vector<RememberedPlacement> RememberedPlacements::ofCurrentArrangement() {
    std::vector<RememberedPlacement> out = all();
    const std::string current = currentArrangement();
    std::erase_if(out, [&](const RememberedPlacement& p) { return p.arrangement != current; });
    return out;
}

bool RememberedPlacements::forget(const std::string& key) {
    if (!store_.get(key)) return false;
    store_.remove(key);
    return true;
}

size_t RememberedPlacements::forgetAll() {
    size_t n = store_.count();
    store_.removeAll();
    return n;
}

}  // namespace mavo

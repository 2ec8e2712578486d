#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "placements/PlacementStore.h"

namespace mavo {

// One remembered placement as a person reads it: its key split into the display arrangement, the
// application and the (normalised) title, and its frame as fractions of the visible frame.
struct RememberedPlacement {
    std::string key;
    std::string arrangement;
    std::string application;
    std::string title;
    RelFrame frame;

    static RememberedPlacement describe(const std::string& key, const PlacementRecord& record);
};

// The placement store as the menu and the remote control show it. Every call hops onto the
// store's queue, so it must not be called from a block running there.
class RememberedPlacements {
  public:
    RememberedPlacements(PlacementStore& store, std::function<std::string()> currentArrangement)
        : store_(store), currentArrangement_(std::move(currentArrangement)) {}

    std::string currentArrangement() const { return currentArrangement_(); }
    // Sorted by key, so each arrangement's records stay together.
    std::vector<RememberedPlacement> all();
    std::vector<RememberedPlacement> ofCurrentArrangement();
    // False when there was nothing under `key`.
    bool forget(const std::string& key);
    // How many there were.
    size_t forgetAll();
    bool any() { return store_.count() > 0; }

  private:
    PlacementStore& store_;
    std::function<std::string()> currentArrangement_;
};

}  // namespace mavo

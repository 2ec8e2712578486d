#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/SerialQueue.h"
#include "geometry/Rect.h"
#include "placements/PlacementRecord.h"
#include "placements/RelFrame.h"

namespace mavo {

// Remembered window placements, keyed by "<display signature>|<bundle id>|<title>", loaded once
// from "placements.json" and written back at most once per two seconds of changes.
//
// Every operation hops synchronously onto the store's own serial queue; never call the store
// from a block running on that queue.
class PlacementStore {
  public:
    static constexpr size_t maxRecords = 512;
    static constexpr int schemaVersion = 1;
    static constexpr double flushDelay = 2.0;

    // `folder` holds placements.json; it is created when needed.
    explicit PlacementStore(std::filesystem::path folder);
    ~PlacementStore();
    PlacementStore(const PlacementStore&) = delete;
    PlacementStore& operator=(const PlacementStore&) = delete;

    // The process-wide store in defaultFolder(), created on first use and never destroyed.
    static PlacementStore& shared();
    // "Mavo" under $XDG_DATA_HOME, or ~/.local/share when that is unset.
    static std::filesystem::path defaultFolder();

    void loadIfNeeded();
    std::optional<PlacementRecord> get(const std::string& key);
    void put(const std::string& key, const PlacementRecord& record);
    void remove(const std::string& key);
    void removeAll();
    void removeConfig(const std::string& signature);
    void flushNow();
    // Every record with its key, sorted by key.
    std::vector<std::pair<std::string, PlacementRecord>> entries();

    static std::optional<RelFrame> relative(const Rect& frame, const Rect& visible);
    static Rect absolute(const RelFrame& rel, const Rect& visible);

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path filePath() const;
    size_t count();
    // How many times placements.json has been replaced by this store.
    size_t writeCount();

  private:
    struct State;
    static void scheduleFlushLocked(const std::shared_ptr<State>& state, SerialQueue& q);
    static void writeLocked(State& state);

    std::filesystem::path folder_;
    std::shared_ptr<State> state_;  // touched only on q_
    // Declared last so that it stops (dropping any delayed write) before the state goes away.
    std::unique_ptr<SerialQueue> q_;
};

}  // namespace mavo

#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "common/SerialQueue.h"
#include "geometry/Rect.h"
#include "placements/PlacementRecord.h"
#include "placements/RelFrame.h"

namespace mavo {

// Remembered window placements, keyed by "<display signature>|<bundle id>|<title>", loaded once
// from "placements.json" and written back at most once per two seconds of changes.
class PlacementStore {
  public:
    static constexpr size_t maxRecords = 512;
    static constexpr int schemaVersion = 1;
    static constexpr double flushDelay = 2.0;

    // `folder` holds placements.json; it is created when needed.
    explicit PlacementStore(std::filesystem::path folder);
    ~PlacementStore();

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

    static std::optional<RelFrame> relative(const Rect& frame, const Rect& visible);
    static Rect absolute(const RelFrame& rel, const Rect& visible);

    std::filesystem::path filePath() const;
    size_t count();

  private:
    struct State;
    void scheduleFlushLocked();
    void writeLocked();

    std::filesystem::path folder_;
    std::shared_ptr<State> state_;  // touched only on q_
    std::unique_ptr<SerialQueue> q_;
};

}  // namespace mavo

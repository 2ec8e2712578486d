#include "placements/PlacementStore.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "common/Files.h"
#include "placements/PlacementFile.h"

namespace mavo {

namespace fs = std::filesystem;

namespace {

constexpr const char* kFileName = "placements.json";
constexpr const char* kTempName = "placements.tmp";
constexpr const char* kCorruptName = "placements.corrupt.json";

// The folder is (re)created whenever a path is needed, so a folder deleted while running comes
// back; failures surface as failed reads or writes, which are handled there.
fs::path ensureFolder(const fs::path& folder) {
    std::error_code ec;
    fs::create_directories(folder, ec);
    return folder;
}

}  // namespace

struct PlacementStore::State {
    explicit State(fs::path f) : folder(std::move(f)) {}
    const fs::path folder;
    PlacementRecords records;
    bool loaded = false;
    bool dirty = false;
    bool flushPending = false;
    size_t writes = 0;
};

PlacementStore::PlacementStore(fs::path folder)
    : folder_(std::move(folder)),
      state_(std::make_shared<State>(folder_)),
      q_(std::make_unique<SerialQueue>("com.quastorn.mavo.placements")) {}

PlacementStore::~PlacementStore() = default;

PlacementStore& PlacementStore::shared() {
    // Never destroyed: callers may still reach it from other threads while the process exits.
    static PlacementStore* store = new PlacementStore(defaultFolder());
    return *store;
}

fs::path PlacementStore::defaultFolder() {
    // Relative values are invalid per the XDG base-directory rules and are ignored.
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg && xdg[0] == '/') return fs::path(xdg) / "Mavo";
    return homeDirectory() / ".local" / "share" / "Mavo";
}

fs::path PlacementStore::filePath() const {
    return folder_ / kFileName;
}

void PlacementStore::loadIfNeeded() {
    q_->sync([&] {
        State& s = *state_;
        if (s.loaded) return;
        s.loaded = true;  // a failed load is not retried for the life of the process
        fs::path folder = ensureFolder(s.folder);
        FileRead text = readRegularFile(folder / kFileName, kMaxPlacementFileBytes);
        if (text.status == FileRead::Status::absent) return;
        if (text.status == FileRead::Status::ok) {
            auto file = decodePlacementFile(text.data);
            if (file && file->version == schemaVersion) {
                s.records = std::move(file->records);
                return;
            }
        }
        // Unreadable, damaged, or written by a newer version: keep it aside (only the latest one)
        // and start empty rather than guess at its meaning or overwrite it at the next write.
        std::error_code ec;
        fs::remove(folder / kCorruptName, ec);
        fs::rename(folder / kFileName, folder / kCorruptName, ec);
    });
}

std::optional<PlacementRecord> PlacementStore::get(const std::string& key) {
    std::optional<PlacementRecord> result;
    q_->sync([&] {
        auto it = state_->records.find(key);
        if (it != state_->records.end()) result = it->second;
    });
    return result;
}

void PlacementStore::put(const std::string& key, const PlacementRecord& record) {
    q_->sync([&] {
        State& s = *state_;
        s.records[key] = record;
        if (s.records.size() > maxRecords) {
            std::vector<std::pair<std::string, double>> byAge;
            byAge.reserve(s.records.size());
            for (const auto& [k, r] : s.records) byAge.emplace_back(k, r.updatedAt);
            std::stable_sort(byAge.begin(), byAge.end(),
                             [](const auto& a, const auto& b) { return a.second < b.second; });
            size_t excess = s.records.size() - maxRecords;
            for (size_t i = 0; i < excess; ++i) s.records.erase(byAge[i].first);
        }
        s.dirty = true;
        scheduleFlushLocked(state_, *q_);
    });
}

void PlacementStore::remove(const std::string& key) {
    q_->sync([&] {
        if (state_->records.erase(key) == 0) return;
        state_->dirty = true;
        scheduleFlushLocked(state_, *q_);
    });
}

void PlacementStore::removeAll() {
    q_->sync([&] {
        state_->records.clear();
        state_->dirty = true;
        scheduleFlushLocked(state_, *q_);
    });
}

void PlacementStore::removeConfig(const std::string& signature) {
    if (signature.empty()) return;
    q_->sync([&] {
        const std::string prefix = signature + "|";
        size_t removed = std::erase_if(
            state_->records, [&](const auto& entry) { return entry.first.starts_with(prefix); });
        if (removed == 0) return;
        state_->dirty = true;
        scheduleFlushLocked(state_, *q_);
    });
}

void PlacementStore::flushNow() {
    q_->sync([&] { writeLocked(*state_); });
}

std::vector<std::pair<std::string, PlacementRecord>> PlacementStore::entries() {
    std::vector<std::pair<std::string, PlacementRecord>> out;
    q_->sync([&] { out.assign(state_->records.begin(), state_->records.end()); });
    std::ranges::sort(out, {}, &std::pair<std::string, PlacementRecord>::first);
    return out;
}

size_t PlacementStore::count() {
    size_t n = 0;
    q_->sync([&] { n = state_->records.size(); });
    return n;
}

size_t PlacementStore::writeCount() {
    size_t n = 0;
    q_->sync([&] { n = state_->writes; });
    return n;
}

void PlacementStore::scheduleFlushLocked(const std::shared_ptr<State>& state, SerialQueue& q) {
    // One write per burst, counted from its first change: later changes ride along.
    if (state->flushPending) return;
    state->flushPending = true;
    std::weak_ptr<State> weak = state;
    q.asyncAfter(flushDelay, [weak] {
        auto s = weak.lock();
        if (!s) return;
        s->flushPending = false;
        writeLocked(*s);
    });
}

void PlacementStore::writeLocked(State& s) {
    if (!s.dirty) return;
    const std::string data = encodePlacementFile(PlacementFileV1{schemaVersion, s.records});
    const fs::path folder = ensureFolder(s.folder);
    // A failed write (a full disk, say) stays dirty, so the next change's write or the final
    // flush at exit tries again.
    if (!replaceFileAtomically(folder / kFileName, folder / kTempName, data)) return;
    s.dirty = false;
    ++s.writes;
}

std::optional<RelFrame> PlacementStore::relative(const Rect& frame, const Rect& visible) {
    // Written as negations so that a NaN size also gives nothing.
    if (!(visible.width > 0)) return std::nullopt;
    if (!(visible.height > 0)) return std::nullopt;
    return RelFrame{(frame.minX() - visible.minX()) / visible.width,
                    (frame.minY() - visible.minY()) / visible.height, frame.width / visible.width,
                    frame.height / visible.height};
}

Rect PlacementStore::absolute(const RelFrame& rel, const Rect& visible) {
    // A stored fraction of 0 still yields a one-point window rather than an empty one.
    double w = rel.fw * visible.width;
    if (w <= 1.0) w = 1.0;
    if (visible.width < w) w = visible.width;
    double h = rel.fh * visible.height;
    if (h <= 1.0) h = 1.0;
    if (visible.height < h) h = visible.height;
    // The far-edge clamp comes last and wins.
    double x = visible.minX() + rel.fx * visible.width;
    if (x <= visible.minX()) x = visible.minX();
    if (visible.maxX() - w < x) x = visible.maxX() - w;
    double y = visible.minY() + rel.fy * visible.height;
    if (y <= visible.minY()) y = visible.minY();
    if (visible.maxY() - h < y) y = visible.maxY() - h;
    return {x, y, w, h};
}

}  // namespace mavo

#include "placements/PlacementStore.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

using namespace mavo;
using nlohmann::json;
namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

class TempDir {
  public:
    TempDir() {
        std::string tmpl = (fs::temp_directory_path() / "mavo-placements-XXXXXX").string();
        root_ = ::mkdtemp(tmpl.data());
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(root_, ec);
    }
    const fs::path& root() const { return root_; }
    // Nested so that the store has to create intermediate folders.
    fs::path folder() const { return root_ / "data" / "Mavo"; }

  private:
    fs::path root_;
};

std::string readFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const fs::path& p, const std::string& text) {
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << text;
}

PlacementRecord record(double updatedAt, std::optional<bool> topCenter = std::nullopt,
                       std::optional<bool> maximized = std::nullopt) {
    return {"3C2B0A4E-1111-2222-3333-444455556666",
            {0.125, 0.25, 0.5, 0.75},
            updatedAt,
            topCenter,
            maximized};
}

const char* kValidDocument =
    R"({"version":1,"records":{"S|app|doc":{"displayUUID":"D1","rel":{"fx":0.1,"fy":0.2,)"
    R"("fw":0.3,"fh":0.4},"updatedAt":700000000.5}}})";

}  // namespace

TEST(PlacementStore, WritesACompactVersionOneDocumentOwnerOnly) {
    TempDir dir;
    // A stale temporary with wide permissions must not pass them on.
    writeFile(dir.folder() / "placements.tmp", "stale");
    ::chmod((dir.folder() / "placements.tmp").c_str(), 0644);

    PlacementStore store(dir.folder());
    store.put("S|com.example.editor|Notes", record(760000000.25, true, false));
    store.put("S|com.example.term|", record(760000100.0));
    store.flushNow();
    ASSERT_EQ(store.writeCount(), 1u);

    fs::path file = store.filePath();
    ASSERT_TRUE(fs::exists(file));
    EXPECT_FALSE(fs::exists(dir.folder() / "placements.tmp"));
    struct stat st {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    std::string text = readFile(file);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(text.find(": "), std::string::npos);
    EXPECT_EQ(text.find(", "), std::string::npos);

    json doc = json::parse(text);
    ASSERT_TRUE(doc["version"].is_number_integer());
    EXPECT_EQ(doc["version"], 1);
    ASSERT_EQ(doc["records"].size(), 2u);

    const json& full = doc["records"]["S|com.example.editor|Notes"];
    EXPECT_EQ(full["displayUUID"], "3C2B0A4E-1111-2222-3333-444455556666");
    ASSERT_TRUE(full["updatedAt"].is_number());
    EXPECT_EQ(full["updatedAt"].get<double>(), 760000000.25);
    EXPECT_EQ(full["rel"], (json{{"fx", 0.125}, {"fy", 0.25}, {"fw", 0.5}, {"fh", 0.75}}));
    EXPECT_EQ(full["topCenter"], true);
    EXPECT_EQ(full["maximized"], false);

    const json& bare = doc["records"]["S|com.example.term|"];
    EXPECT_FALSE(bare.contains("topCenter"));
    EXPECT_FALSE(bare.contains("maximized"));
    EXPECT_EQ(bare.size(), 3u);
}

TEST(PlacementStore, RecordsSurviveAReload) {
    TempDir dir;
    PlacementRecord a = record(1.5, true, std::nullopt);
    PlacementRecord b = record(2.5, std::nullopt, true);
    b.rel = {-0.25, 1.5, 2.0, 1e-3};  // stored as they are, unclamped
    {
        PlacementStore store(dir.folder());
        store.put("S|a|", a);
        store.put("S|b|Title “quoted” — ×", b);
        store.flushNow();
    }
    PlacementStore again(dir.folder());
    again.loadIfNeeded();
    EXPECT_EQ(again.count(), 2u);
    EXPECT_EQ(again.get("S|a|"), a);
    EXPECT_EQ(again.get("S|b|Title “quoted” — ×"), b);
}

TEST(PlacementStore, ReadsRecordsWithoutOptionalMembersAndIgnoresUnknownOnes) {
    TempDir dir;
    writeFile(dir.folder() / "placements.json",
              R"({"version":1,"writer":"future","records":{"S|x|":{"displayUUID":"D1",)"
              R"("rel":{"fx":0,"fy":1,"fw":0.5,"fh":0.5,"fz":9},"updatedAt":12,"pinned":true},)"
              R"("S|y|":{"displayUUID":"D2","rel":{"fx":0.1,"fy":0.2,"fw":0.3,"fh":0.4},)"
              R"("updatedAt":13.5,"topCenter":false,"maximized":null}}})");
    PlacementStore store(dir.folder());
    store.loadIfNeeded();
    ASSERT_EQ(store.count(), 2u);
    auto x = store.get("S|x|");
    ASSERT_TRUE(x.has_value());
    EXPECT_EQ(x->displayUUID, "D1");
    EXPECT_EQ(x->rel, (RelFrame{0, 1, 0.5, 0.5}));
    EXPECT_EQ(x->updatedAt, 12);
    EXPECT_FALSE(x->topCenter.has_value());
    EXPECT_FALSE(x->maximized.has_value());
    auto y = store.get("S|y|");
    ASSERT_TRUE(y.has_value());
    EXPECT_EQ(y->topCenter, false);
    EXPECT_FALSE(y->maximized.has_value());
    EXPECT_FALSE(fs::exists(dir.folder() / "placements.corrupt.json"));
}

TEST(PlacementStore, SetsAsideADocumentItCannotUse) {
    const char* rejected[] = {
        R"({"version":2,"records":{}})",
        "not json at all",
        "",
        R"([1,2,3])",
        R"({"records":{}})",
        R"({"version":"1","records":{}})",
        R"({"version":1,"records":[]})",
        R"({"version":1,"records":{"k":{"displayUUID":"D","rel":{"fx":0,"fy":0,"fw":1},)"
        R"("updatedAt":1}}})",
        R"({"version":1,"records":{"k":{"displayUUID":7,"rel":{"fx":0,"fy":0,"fw":1,"fh":1},)"
        R"("updatedAt":1}}})",
        R"({"version":1,"records":{"k":{"displayUUID":"D","rel":{"fx":0,"fy":0,"fw":1,"fh":1},)"
        R"("updatedAt":"2024-01-01"}}})",
        R"({"version":1,"records":{"k":{"displayUUID":"D","rel":{"fx":0,"fy":0,"fw":1,"fh":1},)"
        R"("updatedAt":1,"topCenter":"yes"}}})",
        // One bad record spoils the whole document, good records included.
        R"({"version":1,"records":{"good":{"displayUUID":"D","rel":{"fx":0,"fy":0,"fw":1,)"
        R"("fh":1},"updatedAt":1},"bad":{"displayUUID":"D","updatedAt":1}}})",
    };
    for (const char* text : rejected) {
        SCOPED_TRACE(text);
        TempDir dir;
        writeFile(dir.folder() / "placements.corrupt.json", "an earlier casualty");
        writeFile(dir.folder() / "placements.json", text);
        PlacementStore store(dir.folder());
        store.loadIfNeeded();
        EXPECT_EQ(store.count(), 0u);
        EXPECT_FALSE(fs::exists(dir.folder() / "placements.json"));
        EXPECT_EQ(readFile(dir.folder() / "placements.corrupt.json"), text);
    }
}

TEST(PlacementStore, MissingFileStartsEmptySetsNothingAsideAndIsNotRetried) {
    TempDir dir;
    PlacementStore store(dir.folder());
    store.loadIfNeeded();
    EXPECT_EQ(store.count(), 0u);
    EXPECT_TRUE(fs::is_directory(dir.folder()));
    EXPECT_FALSE(fs::exists(dir.folder() / "placements.corrupt.json"));
    EXPECT_FALSE(fs::exists(dir.folder() / "placements.json"));

    writeFile(dir.folder() / "placements.json", kValidDocument);
    store.loadIfNeeded();
    EXPECT_EQ(store.count(), 0u);
}

TEST(PlacementStore, LoadsOnceAndOnlyWhenAsked) {
    TempDir dir;
    writeFile(dir.folder() / "placements.json", kValidDocument);
    PlacementStore store(dir.folder());
    EXPECT_FALSE(store.get("S|app|doc").has_value());  // get does not load

    store.put("S|early|", record(5));
    store.loadIfNeeded();  // a valid file replaces what was put before loading
    EXPECT_FALSE(store.get("S|early|").has_value());
    auto doc = store.get("S|app|doc");
    ASSERT_TRUE(doc.has_value());
    EXPECT_EQ(doc->rel, (RelFrame{0.1, 0.2, 0.3, 0.4}));
    EXPECT_EQ(doc->updatedAt, 700000000.5);

    writeFile(dir.folder() / "placements.json", R"({"version":1,"records":{}})");
    store.loadIfNeeded();
    EXPECT_EQ(store.count(), 1u);
}

TEST(PlacementStore, EvictsTheOldestRecordAboveTheLimit) {
    TempDir dir;
    PlacementStore store(dir.folder());
    // Inserted newest first, so that insertion order and age disagree.
    for (int i = 511; i >= 0; --i) store.put("S|app|" + std::to_string(i), record(1000.0 + i));
    ASSERT_EQ(store.count(), 512u);

    // Replacing an existing record at the limit evicts nothing.
    store.put("S|app|0", record(1000.0));
    EXPECT_EQ(store.count(), 512u);

    store.put("S|app|new", record(5000));
    EXPECT_EQ(store.count(), 512u);
    EXPECT_FALSE(store.get("S|app|0").has_value());
    EXPECT_TRUE(store.get("S|app|new").has_value());
    for (int i = 1; i < 512; ++i) ASSERT_TRUE(store.get("S|app|" + std::to_string(i))) << i;

    // The record just put goes itself when it is the oldest.
    store.put("S|app|ancient", record(1));
    EXPECT_EQ(store.count(), 512u);
    EXPECT_FALSE(store.get("S|app|ancient").has_value());
    EXPECT_TRUE(store.get("S|app|1").has_value());
}

TEST(PlacementStore, WritesOnlyWhatChanged) {
    TempDir dir;
    writeFile(dir.folder() / "placements.json", kValidDocument);
    PlacementStore store(dir.folder());
    store.loadIfNeeded();
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);
    EXPECT_EQ(readFile(store.filePath()), kValidDocument);

    store.remove("S|absent|");
    store.removeConfig("Z");
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);

    store.put("|orphan|", record(3));
    store.flushNow();
    ASSERT_EQ(store.writeCount(), 1u);

    store.removeConfig("");  // would otherwise match "|orphan|"
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 1u);
    EXPECT_TRUE(store.get("|orphan|").has_value());

    store.remove("S|app|doc");
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 2u);
    EXPECT_FALSE(json::parse(readFile(store.filePath()))["records"].contains("S|app|doc"));

    store.flushNow();
    EXPECT_EQ(store.writeCount(), 2u);

    // Emptying counts as a change even when there is nothing left to remove.
    store.removeAll();
    store.removeAll();
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 3u);
    EXPECT_EQ(json::parse(readFile(store.filePath()))["records"], json::object());
}

TEST(PlacementStore, RemoveConfigTakesWholeSignaturesOnly) {
    TempDir dir;
    PlacementStore store(dir.folder());
    for (const char* key :
         {"A|app|one", "A|app|two", "A|", "AB|app|one", "A+B|app|", "B|A|x", "A"}) {
        store.put(key, record(1));
    }
    store.flushNow();
    store.removeConfig("A");
    EXPECT_EQ(store.count(), 4u);
    for (const char* gone : {"A|app|one", "A|app|two", "A|"}) EXPECT_FALSE(store.get(gone)) << gone;
    for (const char* kept : {"AB|app|one", "A+B|app|", "B|A|x", "A"}) EXPECT_TRUE(store.get(kept));
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 2u);
    EXPECT_EQ(json::parse(readFile(store.filePath()))["records"].size(), 4u);
}

TEST(PlacementStore, ABurstOfChangesIsWrittenOnceTwoSecondsAfterItsFirstChange) {
    TempDir dir;
    PlacementStore store(dir.folder());
    auto start = std::chrono::steady_clock::now();
    auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    store.put("S|a|", record(1));
    std::this_thread::sleep_for(300ms);
    store.put("S|b|", record(2));
    std::this_thread::sleep_for(300ms);
    store.put("S|c|", record(3));
    EXPECT_EQ(store.writeCount(), 0u);
    EXPECT_FALSE(fs::exists(store.filePath()));

    double writtenAt = -1;
    while (writtenAt < 0 && elapsed() < 2.6) {
        if (store.writeCount() > 0) writtenAt = elapsed();
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_GT(writtenAt, 0) << "no write within 2.6 s";
    EXPECT_GE(writtenAt, PlacementStore::flushDelay - 0.02);
    EXPECT_LT(writtenAt, PlacementStore::flushDelay + 0.4);
    EXPECT_EQ(store.writeCount(), 1u);
    EXPECT_EQ(json::parse(readFile(store.filePath()))["records"].size(), 3u);

    // A change right after the write starts a new burst with a full delay of its own, rather than
    // riding on a write scheduled during the earlier burst.
    store.put("S|d|", record(4));
    double secondPut = elapsed();
    double secondWrite = -1;
    while (secondWrite < 0 && elapsed() < secondPut + 2.6) {
        size_t writes = store.writeCount();
        if (writes > 1) secondWrite = elapsed();
        std::this_thread::sleep_for(10ms);
    }
    ASSERT_GT(secondWrite, 0) << "the second burst was never written";
    EXPECT_GE(secondWrite - secondPut, PlacementStore::flushDelay - 0.02);
    EXPECT_EQ(store.writeCount(), 2u);
    EXPECT_EQ(json::parse(readFile(store.filePath()))["records"].size(), 4u);
}

TEST(PlacementStore, DroppingTheStoreCancelsItsPendingWrite) {
    TempDir dir;
    auto start = std::chrono::steady_clock::now();
    {
        PlacementStore store(dir.folder());
        store.put("S|a|", record(1));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_FALSE(fs::exists(dir.folder() / "placements.json"));
}

TEST(PlacementStore, AFailedWriteIsSwallowedAndNotRetried) {
    TempDir dir;
    // A plain file where the folder should go: the folder cannot be created.
    writeFile(dir.folder(), "in the way");
    PlacementStore store(dir.folder());
    store.loadIfNeeded();
    store.put("S|a|", record(1));
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);

    // Once the obstacle is gone, nothing is pending until the next change.
    fs::remove(dir.folder());
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);
    store.put("S|b|", record(2));
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 1u);
    EXPECT_EQ(json::parse(readFile(store.filePath()))["records"].size(), 2u);
}

TEST(PlacementStore, ARecordThatCannotBeEncodedLeavesTheFileAlone) {
    TempDir dir;
    writeFile(dir.folder() / "placements.json", kValidDocument);
    PlacementStore store(dir.folder());
    store.loadIfNeeded();
    PlacementRecord bad = record(1);
    bad.rel.fx = std::numeric_limits<double>::quiet_NaN();
    store.put("S|nan|", bad);
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);
    EXPECT_EQ(readFile(store.filePath()), kValidDocument);
}

TEST(PlacementStore, DefaultFolderFollowsXdgDataHome) {
    const char* savedXdg = std::getenv("XDG_DATA_HOME");
    std::optional<std::string> saved =
        savedXdg ? std::optional<std::string>(savedXdg) : std::nullopt;

    ::setenv("XDG_DATA_HOME", "/srv/data", 1);
    EXPECT_EQ(PlacementStore::defaultFolder(), fs::path("/srv/data/Mavo"));
    ::unsetenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(PlacementStore::defaultFolder(), fs::path(home) / ".local/share/Mavo");

    if (saved) ::setenv("XDG_DATA_HOME", saved->c_str(), 1);
}

#include "placements/PlacementStore.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <thread>

#include "fakes/FifoFeeder.h"
#include "unit/TempFolder.h"

using namespace mavo;
using mavo::test::readText;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

void writeFile(const fs::path& p, const std::string& text) {
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << text;
}

PlacementRecord record(double updatedAt, std::optional<bool> topCenter = {},
                       std::optional<bool> maximized = {}) {
    return {"3C2B0A4E-1111", {0.125, 0.25, 0.5, 0.75}, updatedAt, topCenter, maximized};
}

// With members this version does not know, which it reads past, and a null taken as absent.
const std::string kValid =
    R"({"version":1,"writer":"x","records":{"S|app|doc":{"displayUUID":"D1","rel":{"fx":0.1,)"
    R"("fy":0.2,"fw":0.3,"fh":0.4,"fz":9},"updatedAt":7e8,"pin":1,"topCenter":false,)"
    R"("maximized":null}}})";

// The store's folder is nested so that the store has to create the parents.
struct PlacementStoreTest : ::testing::Test {
    json records() const { return json::parse(readText(folder / "placements.json"))["records"]; }
    test::TempFolder tmp;
    fs::path root = tmp.path, folder = root / "data" / "Mavo";
};

}  // namespace

TEST_F(PlacementStoreTest, WritesACompactOwnerOnlyDocumentThatReadsBack) {
    writeFile(folder / "placements.tmp", "stale");  // must not pass its mode on
    fs::permissions(folder / "placements.tmp", fs::perms::all);
    PlacementRecord full = record(760000000.25, true, false), bare = record(7601.5);
    bare.rel = {-0.25, 1.5, 2.0, 1e-3};  // stored unclamped
    {
        PlacementStore store(folder);
        store.put("S|com.example.editor|Notes", full);
        store.put("S|b|“quoted”—×", bare);
        store.flushNow();
    }
    PlacementStore(folder).put("S|c|", full);  // dropped before its delayed write
    EXPECT_FALSE(fs::exists(folder / "placements.tmp"));
    EXPECT_EQ(fs::status(folder / "placements.json").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
    std::string text = readText(folder / "placements.json");
    EXPECT_EQ(text.find_first_of(" \n"), std::string::npos) << text;
    EXPECT_TRUE(json::parse(text)["version"].is_number_integer());
    EXPECT_EQ(json::parse(text), json::parse(R"({"version":1,"records":{
        "S|com.example.editor|Notes":{"displayUUID":"3C2B0A4E-1111","rel":{"fx":0.125,"fy":0.25,
            "fw":0.5,"fh":0.75},"updatedAt":760000000.25,"topCenter":true,"maximized":false},
        "S|b|“quoted”—×":{"displayUUID":"3C2B0A4E-1111","rel":{"fx":-0.25,"fy":1.5,
            "fw":2.0,"fh":0.001},"updatedAt":7601.5}}})"));
    PlacementStore again(folder);
    again.loadIfNeeded();
    EXPECT_EQ(again.count(), 2u);
    EXPECT_EQ(again.get("S|com.example.editor|Notes"), full);
    EXPECT_EQ(again.get("S|b|“quoted”—×"), bare);
}

TEST_F(PlacementStoreTest, SetsAsideADocumentItCannotUse) {
    auto doc = [](const std::string& records, const std::string& extra = "") {
        return R"({"version":1,"records":{)" + records + "}" + extra + "}";
    };
    const std::string rel = R"("rel":{"fx":0,"fy":0,"fw":1,"fh":1})";
    const std::string good = R"({"displayUUID":"D",)" + rel + R"(,"updatedAt":1})";
    const std::vector<std::string> rejected = {
        R"({"version":2,"records":{}})",
        "not json",
        "[1]",
        R"({"records":{}})",
        R"({"version":"1","records":{}})",
        R"({"version":1,"records":[]})",
        doc(R"("k":{"displayUUID":"D","rel":{"fx":0,"fy":0,"fw":1},"updatedAt":1})"),
        doc(R"("k":{"displayUUID":7,)" + rel + R"(,"updatedAt":1})"),
        doc(R"("k":{"displayUUID":"D",)" + rel + R"(,"updatedAt":"2024-01-01"})"),
        doc(R"("k":{"displayUUID":"D",)" + rel + R"(,"updatedAt":1,"topCenter":"yes"})"),
        doc(R"("good":)" + good + R"(,"bad":{"updatedAt":1})"),  // one bad spoils them all
        doc(R"("good":)" + good, R"(,"x":)" + std::string(100000, '[') + std::string(100000, ']')),
        doc(R"("good":)" + good) + std::string(9 << 20, ' '),  // beyond any real file's size
    };
    for (size_t i = 0; i < rejected.size(); ++i) {
        SCOPED_TRACE(rejected[i].substr(0, 80));
        const fs::path f = folder / std::to_string(i);
        writeFile(f / "placements.corrupt.json", "an earlier casualty");
        writeFile(f / "placements.json", rejected[i]);
        PlacementStore store(f);
        store.loadIfNeeded();
        EXPECT_EQ(store.count(), 0u);
        EXPECT_FALSE(fs::exists(f / "placements.json"));
        EXPECT_TRUE(readText(f / "placements.corrupt.json") == rejected[i]);
    }

    // Whatever cannot be read as a file is set aside too, never waited on and never overwritten.
    const std::string valid = doc(R"("good":)" + good);
    writeFile(root / "elsewhere", valid);
    for (const std::string name : {"fifo", "link"}) {
        const fs::path f = folder / name;
        fs::create_directories(f);
        std::optional<test::FifoFeeder> fifo;
        if (name == "fifo") fifo.emplace(f / "placements.json", valid);
        if (name == "link") fs::create_symlink(root / "elsewhere", f / "placements.json");
        PlacementStore store(f);
        store.loadIfNeeded();
        fifo.reset();
        EXPECT_EQ(store.count(), 0u) << name;
        EXPECT_TRUE(fs::exists(fs::symlink_status(f / "placements.corrupt.json"))) << name;
        store.put("S|new|", record(2));
        store.flushNow();
        EXPECT_EQ(json::parse(readText(f / "placements.json"))["records"].size(), 1u) << name;
    }
    EXPECT_EQ(readText(root / "elsewhere"), valid);
}

TEST_F(PlacementStoreTest, LoadsOnceOnlyWhenAskedAndAMissingFileIsNotRetried) {
    PlacementStore missing(folder);
    missing.loadIfNeeded();
    EXPECT_TRUE(fs::is_directory(folder));
    writeFile(folder / "placements.json", kValid);
    missing.loadIfNeeded();
    EXPECT_EQ(missing.count(), 0u);

    PlacementStore store(folder);
    EXPECT_FALSE(store.get("S|app|doc"));  // get does not load
    store.put("S|early|", record(5));
    store.loadIfNeeded();  // a valid file replaces what was put before
    EXPECT_FALSE(store.get("S|early|"));
    EXPECT_EQ(store.get("S|app|doc"),
              (PlacementRecord{"D1", {0.1, 0.2, 0.3, 0.4}, 7e8, false, {}}));
    writeFile(folder / "placements.json", R"({"version":1,"records":{}})");
    store.loadIfNeeded();
    EXPECT_EQ(store.count(), 1u);
}

TEST_F(PlacementStoreTest, EvictsTheOldestRecordAboveTheLimit) {
    PlacementStore store(folder);
    // Newest first, so that insertion order and age disagree.
    for (int i = 511; i >= 0; --i) store.put("S|app|" + std::to_string(i), record(1000.0 + i));
    store.put("S|app|0", record(1000.0));  // replacing at the limit evicts nothing
    EXPECT_EQ(store.count(), 512u);
    store.put("S|app|new", record(5000));
    EXPECT_FALSE(store.get("S|app|0"));
    EXPECT_TRUE(store.get("S|app|1") && store.get("S|app|511") && store.get("S|app|new"));
    store.put("S|app|ancient", record(1));  // the oldest goes even when just put
    EXPECT_FALSE(store.get("S|app|ancient"));
    EXPECT_EQ(store.count(), 512u);
}

TEST_F(PlacementStoreTest, WritesOnlyWhatChangedAndRemovesWholeSignatures) {
    writeFile(folder / "placements.json", kValid);
    PlacementStore store(folder);
    store.loadIfNeeded();
    store.remove("S|absent|");
    store.removeConfig("Z");
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);
    for (const char* key : {"|orphan|", "A|app|one", "A|", "AB|app|one", "A+B|app|", "B|A|x", "A"})
        store.put(key, record(1));
    store.removeConfig("A");
    store.flushNow();
    store.removeConfig("");  // would otherwise match "|orphan|"
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 1u);
    for (const char* gone : {"A|app|one", "A|"}) EXPECT_FALSE(store.get(gone)) << gone;
    EXPECT_EQ(records().size(), 6u);
    store.remove("S|app|doc");
    store.flushNow();
    EXPECT_FALSE(records().contains("S|app|doc"));
    store.removeAll();
    store.flushNow();
    EXPECT_EQ(records(), json::object());
    store.removeAll();  // emptying counts as a change even with nothing left
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 4u);
}

TEST_F(PlacementStoreTest, ABurstIsWrittenOnceTwoSecondsAfterItsFirstChange) {
    PlacementStore store(folder);
    using Clock = std::chrono::steady_clock;
    auto secondsUntilWrite = [&](size_t n, Clock::time_point from) {
        while (store.writeCount() < n && Clock::now() - from < std::chrono::seconds(6))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return std::chrono::duration<double>(Clock::now() - from).count();
    };
    const auto first = Clock::now();
    store.put("S|a|", record(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    store.put("S|b|", record(2));
    EXPECT_NEAR(secondsUntilWrite(1, first), PlacementStore::flushDelay + 0.19, 0.21);
    EXPECT_EQ(records().size(), 2u);
    store.put("S|c|", record(3));  // right after the write: a full delay of its own
    EXPECT_GE(secondsUntilWrite(2, Clock::now()), PlacementStore::flushDelay - 0.02);
    EXPECT_EQ(store.writeCount(), 2u);
}

TEST_F(PlacementStoreTest, AFailedWriteIsRetriedAndOneBadRecordNeverBlocksTheOthers) {
    writeFile(folder, "in the way");  // a file where the folder should go, like a full disk
    PlacementStore store(folder);
    store.put("S|a|", record(1));
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 0u);
    fs::remove(folder);
    store.flushNow();  // as at exit, with the disk usable again
    EXPECT_EQ(store.writeCount(), 1u);
    EXPECT_TRUE(records().contains("S|a|"));

    // A number JSON cannot hold drops only its record; names that are not UTF-8 are repaired.
    PlacementRecord nan = record(2), badUuid = record(3);
    nan.rel.fx = std::numeric_limits<double>::quiet_NaN();
    badUuid.displayUUID = "D\xff";
    store.put("S|nan|", nan);
    store.put("S|Bad\xff\xfe|t\xe2\x82", badUuid);
    store.flushNow();
    EXPECT_EQ(store.writeCount(), 2u);
    EXPECT_EQ(records().size(), 2u);
    EXPECT_FALSE(records().contains("S|nan|"));  // and the file parses: the names were repaired
}

TEST(PlacementStore, DefaultFolderFollowsXdgDataHome) {
    const std::string old = std::getenv("XDG_DATA_HOME") ? std::getenv("XDG_DATA_HOME") : "";
    ::setenv("XDG_DATA_HOME", "/srv/data", 1);
    EXPECT_EQ(PlacementStore::defaultFolder(), fs::path("/srv/data/Mavo"));
    ::unsetenv("XDG_DATA_HOME");
    ASSERT_NE(std::getenv("HOME"), nullptr);
    EXPECT_EQ(PlacementStore::defaultFolder(), fs::path(std::getenv("HOME")) / ".local/share/Mavo");
    if (!old.empty()) ::setenv("XDG_DATA_HOME", old.c_str(), 1);
}

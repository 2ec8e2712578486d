#include "app/Diag.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "unit/TempFolder.h"

using namespace mavo;
using mavo::test::readText;
namespace fs = std::filesystem;

namespace {

bool ownerOnly(const fs::path& p) {
    return fs::status(p).permissions() == (fs::perms::owner_read | fs::perms::owner_write);
}

// Points the log at a fresh private folder for the test and back at the default afterwards.
struct DiagTest : ::testing::Test {
    void SetUp() override { Diag::setPath(log.string()); }
    void TearDown() override {
        Diag::drain();
        Diag::setPath(Diag::defaultPath);
    }
    test::TempFolder tmp;
    fs::path dir = tmp.path, log = dir / "diag.log";
};

}  // namespace

TEST_F(DiagTest, LinesAreAppendedInOrderToAnOwnerOnlyFileThatResetEmpties) {
    Diag::log("first");  // creates the file
    Diag::drain();
    EXPECT_EQ(readText(log), "first\n");
    EXPECT_TRUE(ownerOnly(log));
    fs::permissions(log, fs::perms::all);
    Diag::reset();  // synchronous: no drain needed
    EXPECT_EQ(readText(log), "");
    EXPECT_TRUE(ownerOnly(log));
    Diag::log("screen 0: 1920×1080 — “Built-in”");
    Diag::log("");
    Diag::log("already ended\n");
    Diag::log("title \xff\xfe");  // another program's bytes, made UTF-8
    Diag::drain();
    EXPECT_EQ(readText(log),
              "screen 0: 1920×1080 — “Built-in”\n\nalready ended\n\ntitle \uFFFD\uFFFD\n");
    fs::remove(log);  // a deleted log comes back with just the next line
    Diag::log("last");
    Diag::drain();
    EXPECT_EQ(readText(log), "last\n");
    fs::remove(log);
    Diag::reset();
    EXPECT_TRUE(fs::is_regular_file(log) && ownerOnly(log));
}

// The log lives in a shared folder: a link or a file someone else planted there is left alone.
TEST_F(DiagTest, NeverWritesIntoAFileThatIsNotOursAlone) {
    const fs::path target = dir / "precious";
    for (const std::string name : {"symlink", "hard link", "another user's file"}) {
        fs::remove(log);
        std::ofstream(target) << "keep me\n";
        if (name == "symlink") fs::create_symlink(target, log);
        if (name == "hard link") fs::create_hard_link(target, log);
        if (name == "another user's file") {
            std::ofstream(log) << "keep me\n";
            if (::chown(log.c_str(), 65534, 65534) != 0) continue;  // giving it away needs root
        }
        Diag::reset();
        Diag::log("a window title");
        Diag::drain();
        EXPECT_EQ(readText(target), "keep me\n") << name;
        EXPECT_EQ(readText(log), "keep me\n") << name;
    }
    fs::remove(log);  // nor into creating a dangling link's target
    fs::remove(target);
    fs::create_symlink(target, log);
    Diag::reset();
    Diag::log("planted");
    Diag::drain();
    EXPECT_FALSE(fs::exists(target));
}

TEST_F(DiagTest, AnUnwritablePathLosesLinesQuietlyUntilTheLogMoves) {
    Diag::setPath((dir / "no-such-folder" / "diag.log").string());
    Diag::reset();
    Diag::log("lost");
    Diag::drain();
    EXPECT_FALSE(fs::exists(dir / "no-such-folder"));
    Diag::setPath(log.string());
    Diag::log("kept");
    Diag::drain();
    EXPECT_EQ(readText(log), "kept\n");
}

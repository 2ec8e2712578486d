#include "app/Diag.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace mavo;
namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Points the log at a fresh private folder for the test and back at the default afterwards.
class DiagTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string tmpl = (fs::temp_directory_path() / "mavo-diag-XXXXXX").string();
        dir_ = ::mkdtemp(tmpl.data());
        logPath_ = dir_ / "diag.log";
        Diag::setPath(logPath_.string());
    }
    void TearDown() override {
        Diag::drain();
        Diag::setPath(Diag::defaultPath);
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }

    fs::path dir_;
    fs::path logPath_;
};

}  // namespace

TEST_F(DiagTest, ResetCreatesAnEmptyOwnerOnlyFile) {
    ASSERT_FALSE(fs::exists(logPath_));
    Diag::reset();  // synchronous: no drain needed
    ASSERT_TRUE(fs::is_regular_file(logPath_));
    EXPECT_EQ(fs::file_size(logPath_), 0u);
    struct stat st {};
    ASSERT_EQ(::stat(logPath_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(DiagTest, ResetEmptiesAnExistingLog) {
    Diag::log("from the last run");
    Diag::drain();
    ASSERT_FALSE(readFile(logPath_).empty());
    ::chmod(logPath_.c_str(), 0644);
    Diag::reset();
    EXPECT_EQ(readFile(logPath_), "");
    struct stat st {};
    ASSERT_EQ(::stat(logPath_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(DiagTest, LinesAreAppendedInCallOrderEachWithOneLineFeed) {
    Diag::reset();
    Diag::log("screen 0: 1920×1080 — “Built-in”");
    Diag::log("");
    Diag::log("already ended\n");
    Diag::log("last");
    Diag::drain();
    EXPECT_EQ(readFile(logPath_), "screen 0: 1920×1080 — “Built-in”\n\nalready ended\n\nlast\n");
}

TEST_F(DiagTest, LogCreatesTheFileOwnerOnlyWhenMissing) {
    Diag::log("first");
    Diag::drain();
    EXPECT_EQ(readFile(logPath_), "first\n");
    struct stat st {};
    ASSERT_EQ(::stat(logPath_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(DiagTest, ADeletedLogIsRecreatedWithJustTheNextLine) {
    Diag::reset();
    Diag::log("before");
    Diag::drain();
    fs::remove(logPath_);
    Diag::log("after");
    Diag::drain();
    EXPECT_EQ(readFile(logPath_), "after\n");
}

TEST_F(DiagTest, NeverWritesThroughASymbolicLink) {
    fs::path target = dir_ / "precious";
    std::ofstream(target) << "keep me\n";
    fs::create_symlink(target, logPath_);

    Diag::reset();
    Diag::log("planted");
    Diag::drain();

    EXPECT_EQ(readFile(target), "keep me\n");
    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(logPath_)));

    // A dangling link is not followed into creating its target either.
    fs::remove(target);
    Diag::reset();
    Diag::log("planted");
    Diag::drain();
    EXPECT_FALSE(fs::exists(target));
}

TEST_F(DiagTest, AnUnwritablePathLosesLinesQuietly) {
    Diag::setPath((dir_ / "no-such-folder" / "diag.log").string());
    Diag::reset();
    Diag::log("lost");
    Diag::drain();
    EXPECT_FALSE(fs::exists(dir_ / "no-such-folder"));

    // The log keeps working once it points somewhere usable.
    Diag::setPath(logPath_.string());
    Diag::log("kept");
    Diag::drain();
    EXPECT_EQ(readFile(logPath_), "kept\n");
}

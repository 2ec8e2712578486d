// The help page is found under the prefix the program is installed in, as a file:// URI.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/HelpPage.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;

TEST(HelpPage, FoundUnderTheInstallPrefixAsAnEscapedFileURI) {
    char pattern[] = "/tmp/mavo help-XXXXXX";
    ASSERT_TRUE(mkdtemp(pattern));
    fs::path prefix = pattern;
    fs::create_directories(prefix / "bin");
    fs::create_directories(prefix / "share/mavo/help");
    std::ofstream(prefix / "share/mavo/help/index.html") << "<html></html>";

    std::string uri = helpPageURI(prefix / "bin/mavo");
    std::string escaped = "file://" + prefix.string().replace(9, 1, "%20");
    EXPECT_EQ(uri, escaped + "/share/mavo/help/index.html");
    // Elsewhere (not installed, or no program path) it is the build tree's copy.
    fs::remove_all(prefix / "share");
    for (fs::path exe : {prefix / "bin/mavo", fs::path("bin/mavo"), fs::path()}) {
        std::string fallback = helpPageURI(exe);
        EXPECT_TRUE(fallback.starts_with("file:///") &&
                    fallback.ends_with("/mavo/help/index.html") &&
                    fallback.find(pattern + 5) == std::string::npos)
            << fallback;
    }
    fs::remove_all(prefix);
}

}  // namespace
}  // namespace mavo

// The program's command line and the sessions it refuses, outside any desktop.

#include <cstdlib>
#include <tuple>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

// Runs mavo with only these environment variables, outside any desktop.
Output runAlone(const std::string& env, const std::string& args) {
    std::string out = ::testing::TempDir() + "mavo-e2e-";
    int status = std::system(
        ("env -i " + env + " " MAVO_BINARY " " + args + " >" + out + "out 2>" + out + "err")
            .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(out + "out"),
            readText(out + "err")};
}

TEST(ShellCommandLine, VersionNeedsNoDisplayAndEachRefusalIsOneLine) {
    Output version = runAlone("", "--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "mavo " MAVO_VERSION "\n");
    EXPECT_EQ(version.err, "");

    // 1: nothing to work on or to talk to; 2: a wrong command line.
    for (auto [env, args, exit, says] : {
             std::tuple{"", "--frobnicate", 2, "mavo: unknown option \"--frobnicate\""},
             {"", "frobnicate", 2, "mavo: unknown verb \"frobnicate\""},
             {"", "forget", 2, "forget needs a KEY"},
             {"", "pause now", 2, "pause takes no further words"},
             {"HOME=/nonexistent DISPLAY=:9971", "", 1, ":9971"},
             {"DISPLAY=:9971 DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent", "quit", 1,
              "mavo: Mavo is not running on display \":9971\""},
             {"MAVO_DIAG_LOG=/nonexistent/log", "log", 1, "no diagnostic log at /nonexistent/log"},
         }) {
        Output refused = runAlone(env, args);
        EXPECT_EQ(refused.status, exit) << env << args;
        EXPECT_EQ(std::ranges::count(refused.err, '\n'), 1) << refused.err;
        EXPECT_NE(refused.err.find(says), npos) << refused.err;
    }
}

}  // namespace
}  // namespace mavo::e2e

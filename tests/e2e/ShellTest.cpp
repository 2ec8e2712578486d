// The program around the engine: its command line, the sessions it refuses, one instance per
// display, launch at login on the first launch, and how it ends.

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
             {"HOME=/nonexistent", "", 1, "Mavo: no X display"},
             {"HOME=/nonexistent WAYLAND_DISPLAY=wayland-0", "", 1, "Wayland session without X11"},
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

using ShellTest = E2ETest;

TEST_F(ShellTest, OneMavoPerDisplayLaunchAtLoginOnceAndAnOrderlyEndOnEverySignal) {
    ASSERT_TRUE(start());
    // A second Mavo on the same display says so and ends by itself; the first works on.
    EXPECT_EQ(desktop->run({MAVO_BINARY}, 15), 0);
    EXPECT_NE(err().find("Mavo: another Mavo is already running on display"), npos);
    EXPECT_TRUE(becomes(client("e2e-still-managed", "400x300+10+10"), kScreen));

    // The first launch turned launch at login on; the user turns it off as session settings do.
    auto entry = path("config/autostart/mavo.desktop");
    EXPECT_NE(readText(entry).find("Exec=" MAVO_BINARY "\n"), npos) << readText(entry);
    EXPECT_EQ(readJson(path("config/mavo/defaults.json"))["didApplyLoginItemDefault"], true);
    std::ofstream(entry, std::ios::app) << "Hidden=true\n";

    // Each terminating signal ends Mavo in order and frees the display for the next one, which
    // leaves launch at login off. SIGTERM is the fixture's own.
    for (int signum : {SIGINT, SIGHUP}) {
        expectOrderlyExit(signum);
        ASSERT_TRUE(startMavo());
    }
    EXPECT_NE(readText(entry).find("Hidden=true"), npos) << readText(entry);

    // The session ends under it: Mavo quits by itself.
    desktop->stopServer();
    EXPECT_GE(desktop->waitExit(std::exchange(mavo, 0), 10).value_or(-1), 0);
    EXPECT_NE(err().find("Mavo: the X display went away"), npos) << err();
}

}  // namespace
}  // namespace mavo::e2e

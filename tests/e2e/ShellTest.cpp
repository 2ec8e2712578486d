// The program around the engine: its command line, the sessions it refuses, one instance per
// display, launch at login on the first launch, and how it ends.

#include <signal.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

int lineCount(const std::string& text) {
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

TEST(ShellCommandLine, VersionIsPrintedWithoutNeedingADisplay) {
    Output r = runWithoutDesktop({MAVO_BINARY, "--version"}, {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, std::string("mavo ") + MAVO_VERSION + "\n");
    EXPECT_EQ(r.err, "");

    Output bad = runWithoutDesktop({MAVO_BINARY, "--frobnicate"}, {});
    EXPECT_NE(bad.status, 0);
    EXPECT_EQ(lineCount(bad.err), 1) << bad.err;
}

TEST(ShellCommandLine, SessionsWithoutAnXDisplayAreRefusedInOneLine) {
    Output none = runWithoutDesktop({MAVO_BINARY}, {"HOME=/nonexistent"});
    EXPECT_NE(none.status, 0);
    EXPECT_EQ(lineCount(none.err), 1) << none.err;
    EXPECT_EQ(none.err.rfind("Mavo: no X display", 0), 0u) << none.err;

    Output wayland =
        runWithoutDesktop({MAVO_BINARY}, {"HOME=/nonexistent", "WAYLAND_DISPLAY=wayland-0"});
    EXPECT_NE(wayland.status, 0);
    EXPECT_EQ(lineCount(wayland.err), 1) << wayland.err;
    EXPECT_NE(wayland.err.find("Wayland session without X11"), std::string::npos) << wayland.err;

    Output unreachable = runWithoutDesktop({MAVO_BINARY}, {"HOME=/nonexistent", "DISPLAY=:9971"});
    EXPECT_NE(unreachable.status, 0);
    EXPECT_EQ(lineCount(unreachable.err), 1) << unreachable.err;
    EXPECT_NE(unreachable.err.find(":9971"), std::string::npos) << unreachable.err;
}

using ShellTest = E2ETest;

TEST_F(ShellTest, SecondMavoOnTheSameDisplaySaysSoAndLeavesTheFirstAlone) {
    startDesktop();
    startMavo();
    int status = desktop->run({MAVO_BINARY}, 15);
    EXPECT_NE(status, 0);
    EXPECT_NE(status, -1);  // it ended by itself
    EXPECT_NE(desktop->mavoStderr().find("Mavo: another Mavo is already running on display"),
              std::string::npos)
        << desktop->mavoStderr();

    // The first one goes on working.
    auto w = desktop->startClient({"--title", "e2e-still-managed"});
    ASSERT_TRUE(w);
    EXPECT_TRUE(syncUntil([&] { return desktop->frame(w->window) == (Frame{0, 0, 1920, 1080}); }));
    expectSurvivesAndExitsCleanly();

    // Once it is gone, the display is free for the next one.
    startMavo();
    expectSurvivesAndExitsCleanly();
}

TEST_F(ShellTest, FirstLaunchTurnsOnLaunchAtLoginAndLaterLaunchesRespectTheChoice) {
    startDesktop();
    startMavo();
    expectSurvivesAndExitsCleanly();

    std::ifstream entry(desktop->autostartEntry());
    ASSERT_TRUE(entry) << "no autostart entry";
    std::string text((std::istreambuf_iterator<char>(entry)), {});
    EXPECT_NE(text.find("Exec=" + std::string(MAVO_BINARY)), std::string::npos) << text;
    auto defaults = nlohmann::json::parse(std::ifstream(desktop->defaultsFile()), nullptr, false);
    EXPECT_EQ(defaults["didApplyLoginItemDefault"], true) << defaults.dump();

    // The user switches it off (as the desktop's own session settings do); it stays off.
    std::ofstream(desktop->autostartEntry(), std::ios::app) << "Hidden=true\n";
    startMavo();
    expectSurvivesAndExitsCleanly();
    std::ifstream again(desktop->autostartEntry());
    std::string after((std::istreambuf_iterator<char>(again)), {});
    EXPECT_NE(after.find("Hidden=true"), std::string::npos) << after;
}

TEST_F(ShellTest, InterruptAndHangupEndMavoTheOrderlyWay) {
    startDesktop();
    for (int signum : {SIGINT, SIGHUP}) {
        startMavo();
        auto reply = desktop->sync();
        EXPECT_TRUE(reply.answered);
        EXPECT_EQ(desktop->stopMavo(signum), 0) << "signal " << signum << "\n"
                                                << desktop->mavoStderr();
    }
}

TEST_F(ShellTest, MavoQuitsWhenTheXServerGoesAway) {
    startDesktop();
    startMavo();
    desktop->stopServer();
    EXPECT_NE(desktop->waitForMavoExit(10), -1) << desktop->mavoStderr();
    EXPECT_NE(desktop->mavoStderr().find("Mavo: the X display went away"), std::string::npos)
        << desktop->mavoStderr();
}

}  // namespace
}  // namespace mavo::e2e

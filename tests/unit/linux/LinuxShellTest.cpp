// The shell around the engine: its main loop and timers, the session it needs, its bus name and
// its help page.

#include <gio/gio.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/DbusControl.h"
#include "platform/linux/GLibShellLoop.h"
#include "platform/linux/GLibTimers.h"
#include "platform/linux/HelpPage.h"
#include "platform/linux/SessionCheck.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;

TEST(GLibShellLoop, TimersAndDisplayChangesRunUntilATerminatingSignalEndsTheLoopInOrder) {
    alarm(10);  // a loop that never ends fails the test instead of hanging it
    GLibShellLoop loop;
    loop.handleTerminationSignals();
    std::vector<std::string> calls;
    loop.observeDisplayChanges([&] { calls.push_back("display 1"); });
    loop.observeDisplayChanges([&] { calls.push_back("display 2"); });
    loop.observeTermination([&] { calls.push_back("end 1"); });
    loop.observeTermination([&] {
        calls.push_back("end 2");
        loop.terminate(5);  // re-entry while terminating changes nothing
    });
    GLibTimers timers;
    std::unique_ptr<Timer> once =
        timers.scheduleRepeating(0.001, 0.001, [&] { calls.push_back("once"), once->cancel(); });
    std::unique_ptr<Timer> timer = timers.scheduleRepeating(0.01, 0.01, [&] {
        loop.displaysChanged();
        kill(getpid(), SIGHUP);
        timer->cancel();
    });
    EXPECT_EQ(loop.run(), 0);
    loop.displaysChanged();  // none after the end
    EXPECT_EQ(calls,
              (std::vector<std::string>{"once", "display 1", "display 2", "end 1", "end 2"}));
    EXPECT_EQ(loop.run(), 0);  // already ended: at once
    alarm(0);
}

// Removing a source that is already gone is a GLib critical, fatal here.
TEST(GLibTimers, FirstDelayThenPeriodOneShotsAndHandlesDroppedAnywhere) {
    alarm(10);  // a loop that never ends fails the test instead of hanging it
    GLogLevelFlags fatal = g_log_set_always_fatal(
        static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_ERROR));
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    GLibTimers timers;
    std::vector<std::string> calls;
    int repeats = 0;
    std::unique_ptr<Timer> repeating = timers.scheduleRepeating(0.001, 0.06, [&] {
        calls.push_back("repeat");
        if (++repeats < 3) return;
        repeating.reset();  // destroyed inside its own block
        g_main_loop_quit(loop);
    });
    std::unique_ptr<Timer> once = timers.scheduleOnce(0.03, [&] { calls.push_back("once"); });
    timers.scheduleOnce(0.01, [&] { calls.push_back("dropped"); });
    g_main_loop_run(loop);
    EXPECT_EQ(calls, (std::vector<std::string>{"repeat", "once", "repeat", "repeat"}));
    once.reset();  // after it fired: nothing left to remove
    g_main_loop_unref(loop);
    g_log_set_always_fatal(fatal);
    alarm(0);
}

TEST(SessionCheck, NeedsAnXDisplayAndOtherwiseSaysWhyInOneLine) {
    // With XWayland (both displays) the X11 windows are reachable.
    const char* wayland = "Mavo: this is a Wayland session without X11";
    for (auto [display, waylandDisplay, type, problem] : {std::tuple{":1", "wayland-0", "", ""},
                                                          {"", "", "wayland", wayland},
                                                          {"", "", "tty", "Mavo: no X display"}}) {
        std::map<std::string, const char*> env{
            {"DISPLAY", display}, {"WAYLAND_DISPLAY", waylandDisplay}, {"XDG_SESSION_TYPE", type}};
        std::string said = sessionProblem([&](const char* name) { return env[name]; }).value_or("");
        EXPECT_TRUE(said.starts_with(problem) && (said == "") == (*problem == 0)) << said;
        EXPECT_EQ(said.find('\n'), std::string::npos);
    }
}

// Two X displays may share a session bus: each display's Mavo has a name of its own, the same
// whatever screen number or spelling the command's DISPLAY uses.
TEST(DbusControl, EachDisplayHasItsOwnValidBusNameWhateverItsScreen) {
    for (auto [display, name] : {std::pair{":0", "Display_0"},
                                 {":0.1", "Display_0"},
                                 {":12", "Display_12"},
                                 {"localhost:10.0", "Display_localhost_10"},
                                 {"host.example:1", "Display_host_example_1"},
                                 {"/tmp/.X11-unix/X3", "Display__tmp__X11_unix_X3"}}) {
        std::string full = DbusControl::displayBusName(display);
        EXPECT_EQ(full, std::string("com.quastorn.mavo.") + name) << display;
        EXPECT_TRUE(g_dbus_is_name(full.c_str())) << full;
    }
}

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

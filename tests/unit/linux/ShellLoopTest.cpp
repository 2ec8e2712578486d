#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "platform/linux/GLibShellLoop.h"
#include "platform/linux/SessionCheck.h"

namespace mavo {
namespace {

TEST(GLibShellLoop, EachTerminatingSignalRunsTheTerminationHandlersOnceThenEndsTheLoop) {
    alarm(10);  // a loop that never ends fails the test instead of hanging it
    for (int signum : {SIGTERM, SIGINT, SIGHUP}) {
        GLibShellLoop loop;
        loop.handleTerminationSignals();
        std::vector<std::string> calls;
        loop.observeTermination([&] { calls.push_back("first"); });
        loop.observeTermination([&] {
            calls.push_back("second");
            loop.terminate(5);  // re-entry while terminating changes nothing
        });
        // The signal comes twice: the second arrives while the loop quits.
        auto send = [](gpointer s) { return kill(getpid(), GPOINTER_TO_INT(s)), FALSE; };
        g_timeout_add(20, send, GINT_TO_POINTER(signum));
        g_timeout_add(20, send, GINT_TO_POINTER(signum));
        EXPECT_EQ(loop.run(), 0) << signum;
        EXPECT_EQ(calls, (std::vector<std::string>{"first", "second"}));
        while (g_main_context_iteration(nullptr, FALSE)) {  // the second signal's dispatch
        }
    }
    alarm(0);
}

TEST(GLibShellLoop, TimersAndDisplayChangesRunOnTheLoopUntilItEnds) {
    alarm(10);
    GLibShellLoop loop;
    std::vector<int> seen;
    loop.observeDisplayChanges([&] { seen.push_back(1); });
    loop.observeDisplayChanges([&] { seen.push_back(2); });
    int ticks = 0, once = 0;
    std::shared_ptr<RepeatingTimer> cancelled =
        loop.scheduleRepeating(0.001, [&] { ++once, cancelled->cancel(); });
    auto timer = loop.scheduleRepeating(0.01, [&] {
        loop.displaysChanged();
        if (++ticks == 2) loop.terminate(3);
    });
    EXPECT_EQ(loop.run(), 3);
    loop.displaysChanged();  // none after the end
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 1, 2}));
    EXPECT_EQ(once, 1);
    EXPECT_EQ(loop.run(), 3);  // already ended: at once, with the status
    alarm(0);
}

TEST(SessionCheck, NeedsAnXDisplayAndOtherwiseSaysWhyInOneLine) {
    const char* wayland = "Mavo: this is a Wayland session without X11";
    for (auto [display, waylandDisplay, type, problem] : {
             std::tuple{":0", "", "", ""},
             {":1", "wayland-0", "", ""},  // XWayland: the X11 windows are reachable
             {"", "wayland-0", "", wayland},
             {"", "", "wayland", wayland},
             {"", "", "tty", "Mavo: no X display"},
         }) {
        std::map<std::string, const char*> env{
            {"DISPLAY", display}, {"WAYLAND_DISPLAY", waylandDisplay}, {"XDG_SESSION_TYPE", type}};
        std::string said = sessionProblem([&](const char* name) { return env[name]; }).value_or("");
        EXPECT_TRUE(said.starts_with(problem) && (said == "") == (*problem == 0)) << said;
        EXPECT_EQ(said.find('\n'), std::string::npos);
    }
}

}  // namespace
}  // namespace mavo

#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "platform/linux/GLibShellLoop.h"
#include "platform/linux/GLibTimers.h"
#include "platform/linux/SessionCheck.h"

namespace mavo {
namespace {

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

}  // namespace
}  // namespace mavo

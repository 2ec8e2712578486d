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

// Sends `signum` to this process once the loop is running.
void raiseSoon(int signum) {
    g_timeout_add(
        20,
        [](gpointer data) -> gboolean {
            ::kill(::getpid(), GPOINTER_TO_INT(data));
            return G_SOURCE_REMOVE;
        },
        GINT_TO_POINTER(signum));
}

// A guard against a loop that never ends: the test fails instead of hanging.
guint watchdog(GLibShellLoop& loop, bool& fired) {
    struct Ctx {
        GLibShellLoop* loop;
        bool* fired;
    };
    return g_timeout_add_full(
        G_PRIORITY_DEFAULT, 5000,
        [](gpointer data) -> gboolean {
            auto* c = static_cast<Ctx*>(data);
            *c->fired = true;
            c->loop->terminate(99);
            return G_SOURCE_REMOVE;
        },
        new Ctx{&loop, &fired}, [](gpointer data) { delete static_cast<Ctx*>(data); });
}

class TerminatingSignal : public ::testing::TestWithParam<int> {};

TEST_P(TerminatingSignal, RunsTheTerminationHandlersOnceThenEndsTheLoop) {
    GLibShellLoop loop;
    loop.handleTerminationSignals();
    std::vector<std::string> calls;
    loop.observeTermination([&] { calls.push_back("first"); });
    loop.observeTermination([&] {
        calls.push_back("second");
        loop.terminate(5);  // re-entry while terminating changes nothing
    });
    bool timedOut = false;
    guint guard = watchdog(loop, timedOut);
    raiseSoon(GetParam());
    raiseSoon(GetParam());  // a second signal arrives while quitting

    EXPECT_EQ(loop.run(), 0);
    EXPECT_FALSE(timedOut);
    if (!timedOut) g_source_remove(guard);
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "second"}));
    EXPECT_TRUE(loop.isTerminating());
    // Drain the second signal's dispatch before the loop and its sources go.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

std::string signalName(const ::testing::TestParamInfo<int>& info) {
    return info.param == SIGTERM ? "SIGTERM" : info.param == SIGINT ? "SIGINT" : "SIGHUP";
}

INSTANTIATE_TEST_SUITE_P(Signals, TerminatingSignal, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         signalName);

TEST(GLibShellLoop, DisplayChangesReachEveryObserverUntilTermination) {
    GLibShellLoop loop;
    std::vector<int> seen;
    loop.observeDisplayChanges([&] { seen.push_back(1); });
    loop.observeDisplayChanges([&] { seen.push_back(2); });
    loop.displaysChanged();
    EXPECT_EQ(seen, (std::vector<int>{1, 2}));
    loop.terminate(3);
    loop.displaysChanged();
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_EQ(loop.run(), 3);  // already terminated: returns at once with the status
}

TEST(GLibShellLoop, RepeatingTimersRunOnTheLoopUntilCancelled) {
    GLibShellLoop loop;
    int fast = 0;
    int cancelledAfter = 0;
    std::shared_ptr<RepeatingTimer> second;
    second = loop.scheduleRepeating(0.01, [&] {
        if (++cancelledAfter == 2) second->cancel();
    });
    loop.scheduleRepeating(0.01, [&] {
        if (++fast == 6) loop.terminate();
    });
    bool timedOut = false;
    guint guard = watchdog(loop, timedOut);
    EXPECT_EQ(loop.run(), 0);
    ASSERT_FALSE(timedOut);
    g_source_remove(guard);
    EXPECT_EQ(fast, 6);
    EXPECT_EQ(cancelledAfter, 2);
}

TEST(SessionCheck, NeedsAnXDisplayAndExplainsWhenThereIsNone) {
    auto env = [](std::map<std::string, std::string> vars) {
        return [vars = std::move(vars)](const char* name) -> const char* {
            auto it = vars.find(name);
            return it == vars.end() ? nullptr : it->second.c_str();
        };
    };
    EXPECT_FALSE(sessionProblem(env({{"DISPLAY", ":0"}})));
    // XWayland: the X11 windows are reachable.
    EXPECT_FALSE(sessionProblem(env({{"DISPLAY", ":1"}, {"WAYLAND_DISPLAY", "wayland-0"}})));

    auto wayland = sessionProblem(env({{"WAYLAND_DISPLAY", "wayland-0"}}));
    ASSERT_TRUE(wayland);
    EXPECT_NE(wayland->find("Wayland session without X11"), std::string::npos);
    auto waylandByType = sessionProblem(env({{"DISPLAY", ""}, {"XDG_SESSION_TYPE", "wayland"}}));
    ASSERT_TRUE(waylandByType);
    EXPECT_EQ(*waylandByType, *wayland);

    auto none = sessionProblem(env({{"XDG_SESSION_TYPE", "tty"}}));
    ASSERT_TRUE(none);
    EXPECT_EQ(none->rfind("Mavo: no X display", 0), 0u);
    EXPECT_EQ(none->find('\n'), std::string::npos);
}

}  // namespace
}  // namespace mavo

#include "platform/linux/GLibTimers.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace mavo {
namespace {

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

}  // namespace
}  // namespace mavo

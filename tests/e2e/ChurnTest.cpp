// Windows that go away, hide or go full screen while Mavo is walking them.

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using ChurnTest = E2ETest;

TEST_F(ChurnTest, ClosedMinimizedAndFullScreenWindowsCauseNoErrorAndArePruned) {
    startDesktop();
    startMavo();
    std::vector<Desktop::Client> clients;
    for (int i = 0; i < 6; ++i) {
        auto c = desktop->startClient({"--title", "e2e-churn-" + std::to_string(i), "--geometry",
                                       "400x300+" + std::to_string(50 + 60 * i) + "+100"});
        ASSERT_TRUE(c);
        clients.push_back(*c);
    }
    const Frame full{0, 0, 1920, 1080};
    ASSERT_TRUE(syncUntil([&] {
        for (auto& c : clients)
            if (desktop->frame(c.window) != full) return false;
        return true;
    }));
    ASSERT_EQ(desktop->sync().trackedWindows, 6u);

    // Forced ticks back to back while the windows change under them.
    std::atomic<bool> churning{true};
    std::atomic<int> unanswered{0};
    std::thread ticker([&] {
        while (churning) {
            if (!desktop->sync(true).answered) ++unanswered;
        }
    });
    desktop->stop(clients[0].pid);  // the application quits
    ASSERT_TRUE(desktop->xdotool({"windowminimize", std::to_string(clients[1].window)}));
    desktop->sendClientMessage(clients[2].window, "_NET_WM_STATE",
                               {1, desktop->atom("_NET_WM_STATE_FULLSCREEN"), 0, 2});
    ASSERT_TRUE(desktop->xdotool({"windowclose", std::to_string(clients[3].window)}));
    // Windows that live for a moment only.
    for (int i = 0; i < 4; ++i) {
        auto brief = desktop->startClient({"--title", "e2e-brief-" + std::to_string(i)});
        if (brief) desktop->stop(brief->pid);
    }
    churning = false;
    ticker.join();
    EXPECT_EQ(unanswered, 0);

    auto fullScreen = desktop->atom("_NET_WM_STATE_FULLSCREEN");
    auto hidden = desktop->atom("_NET_WM_STATE_HIDDEN");
    auto has = [&](xcb_window_t w, xcb_atom_t state) {
        auto states = desktop->property(w, "_NET_WM_STATE");
        return std::find(states.begin(), states.end(), state) != states.end();
    };
    ASSERT_TRUE(Desktop::waitUntil(
        [&] { return has(clients[1].window, hidden) && has(clients[2].window, fullScreen); }));
    // Only the two untouched windows are still Mavo's; the others are forgotten.
    Desktop::SyncReply reply;
    EXPECT_TRUE(Desktop::waitUntil([&] {
        reply = desktop->sync();
        return reply.trackedWindows == 2;
    })) << reply.trackedWindows;
    EXPECT_EQ(reply.unexpectedXErrors, 0u);
    // Full screen and minimized are left as the user made them.
    for (int i = 0; i < 3; ++i) desktop->sync();
    EXPECT_TRUE(has(clients[1].window, hidden));
    EXPECT_TRUE(has(clients[2].window, fullScreen));
    EXPECT_EQ(desktop->frame(clients[4].window), full);
    EXPECT_EQ(desktop->frame(clients[5].window), full);
    expectSurvivesAndExitsCleanly();
}

}  // namespace
}  // namespace mavo::e2e

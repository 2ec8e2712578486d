// The engine tests lean on these fakes behaving like the platform; these pin the few behaviours
// that are not plain storage.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "fakes/FakePermissions.h"
#include "fakes/FakeWindowServer.h"
#include "fakes/FakeWorkspace.h"
#include "windowaccess/AX.h"

namespace mavo {
namespace {

TEST(FakeWorkspaceTest, FrontmostFollowsTheRunningList) {
    test::FakeWorkspace ws;
    ws.addRunning({42, "com.example.editor", "Editor", ActivationPolicy::regular});
    ws.addRunning({43, std::nullopt, "helper", ActivationPolicy::accessory});
    ws.setFrontmost(43);
    ASSERT_TRUE(ws.frontmostApplication());
    EXPECT_EQ(ws.frontmostApplication()->bundleID, std::nullopt);
    ws.removeRunning(43);
    EXPECT_EQ(ws.frontmostApplication(), std::nullopt);
    EXPECT_EQ(ws.runningApplications().size(), 1u);

    ws.addInstalled("com.example.editor", "Editor");
    EXPECT_TRUE(ws.isInstalled("com.example.editor"));
    EXPECT_EQ(ws.installedAppName("com.example.editor"), "Editor");
    EXPECT_FALSE(ws.isInstalled("com.example.other"));
}

TEST(FakePermissionsTest, RequestAnswersTheGrantAsItIsNow) {
    test::FakePermissions perms(false);
    EXPECT_FALSE(perms.requestTrust());
    perms.setGrantOnRequest(true);
    EXPECT_TRUE(perms.requestTrust());
    EXPECT_TRUE(perms.isTrusted());
    perms.openSettings();
    EXPECT_EQ(perms.requestTrustCount(), 2);
    EXPECT_EQ(perms.openSettingsCount(), 1);
}

// The engine polls from its own queue while a test moves windows by hand.
TEST(FakeWindowServerThreadsTest, ReadsAndHandMovesMayOverlap) {
    test::FakeWindowServer server;
    AX ax(server);
    WindowHandle w = server.addWindow(7, "A", {0, 0, 100, 100});
    std::atomic<bool> stop{false};
    std::thread engine([&] {
        while (!stop) {
            for (const auto& h : ax.windows(7)) {
                auto f = ax.frame(h);
                if (f) {
                    EXPECT_EQ(f->width, f->height);  // every hand move keeps it square
                }
                ax.set(h, Attr::size, Size{50, 50});
            }
        }
    });
    // Keep moving until the reader has made real progress, however the threads are scheduled.
    for (int i = 0; server.writeCount() < 500; ++i) {
        server.setFrame(w, {double(i), 0, double(i % 900 + 1), double(i % 900 + 1)});
        if (i % 100 == 0 && i < 2000) server.addWindow(7, "B", {0, 0, 10, 10});
    }
    stop = true;
    engine.join();
}

}  // namespace
}  // namespace mavo

// A paused Mavo leaves every window alone.

#include <fstream>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using PauseTest = E2ETest;

TEST_F(PauseTest, PausedThroughTheSettingsFileAtStartLeavesEverythingAlone) {
    startDesktop();
    desktop->writeDefaults({{"paused", true}});
    auto early = desktop->startClient({"--title", "e2e-early", "--geometry", "500x400+100+100"});
    ASSERT_TRUE(early);
    startMavo();
    auto late = desktop->startClient({"--title", "e2e-late", "--geometry", "600x300+700+500"});
    ASSERT_TRUE(late);
    auto earlyFrame = desktop->frame(early->window);
    auto lateFrame = desktop->frame(late->window);

    for (int i = 0; i < 4; ++i) {
        auto reply = desktop->sync();
        ASSERT_TRUE(reply.answered);
        EXPECT_EQ(reply.trackedWindows, 0u);
    }
    EXPECT_EQ(desktop->frame(early->window), earlyFrame);
    EXPECT_EQ(desktop->frame(late->window), lateFrame);
    EXPECT_FALSE(desktop->diagHas("apply "));
    // The setting is kept as it was.
    auto defaults = nlohmann::json::parse(std::ifstream(desktop->defaultsFile()), nullptr, false);
    EXPECT_EQ(defaults["paused"], true) << defaults.dump();
    expectSurvivesAndExitsCleanly();
}

}  // namespace
}  // namespace mavo::e2e

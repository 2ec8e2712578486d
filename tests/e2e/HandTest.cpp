// Windows the user arranges by hand are left where the hand put them, and custom frames are
// remembered across restarts.

#include <chrono>
#include <thread>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

class HandTest : public E2ETest {
  protected:
    // A plain window that Mavo has brought to fill the screen.
    Desktop::Client maximizedWindow(const std::string& title) {
        auto client = desktop->startClient({"--title", title, "--geometry", "640x480+200+150"});
        EXPECT_TRUE(client);
        if (!client) return {};
        EXPECT_TRUE(syncUntil([&] { return desktop->frame(client->window) == full; }));
        return *client;
    }

    // Drags the window manager's bottom-right resize grip of a full-screen frame by (dx, dy).
    void resizeByHand(int dx, int dy) {
        ASSERT_TRUE(desktop->drag(1918, 1078, dx, dy));
        // The gesture ends: one tick sees the new frame, the next finds it stable and judges it.
        desktop->sync();
        desktop->sync();
    }

    const Frame full{0, 0, 1920, 1080};
};

TEST_F(HandTest, WindowResizedByHandIntoTheLeftHalfStaysThere) {
    startDesktop();
    startMavo();
    Desktop::Client w = maximizedWindow("e2e-half");
    ASSERT_NE(w.window, 0u);

    resizeByHand(-960, 0);
    const Frame leftHalf{0, 0, 960, 1080};
    ASSERT_EQ(desktop->frame(w.window), leftHalf);
    EXPECT_TRUE(desktop->diagHas("userArranged(zone) frame=(0.0,0.0 960.0×1080.0)"));

    // Left alone on every later tick, and nothing is remembered for a snapped window.
    for (int i = 0; i < 4; ++i) desktop->sync();
    EXPECT_EQ(desktop->frame(w.window), leftHalf);
    EXPECT_EQ(desktop->diagCount("apply \"e2e-half\""), 1);
    expectSurvivesAndExitsCleanly();
    auto placements = desktop->placements();
    EXPECT_TRUE(!placements || (*placements)["records"].empty());
}

TEST_F(HandTest, CustomFrameIsKeptWrittenTwoSecondsLaterAndRestoredAfterRestart) {
    startDesktop();
    startMavo();
    Desktop::Client w = maximizedWindow("e2e-custom");
    ASSERT_NE(w.window, 0u);

    resizeByHand(-700, -400);
    const Frame custom{0, 0, 1220, 680};
    ASSERT_EQ(desktop->frame(w.window), custom);
    ASSERT_TRUE(desktop->diagHas("remember(custom) frame=(0.0,0.0 1220.0×680.0)"));
    auto remembered = std::chrono::steady_clock::now();

    // The write is debounced: not there at once, there about two seconds later.
    EXPECT_FALSE(desktop->placements());
    ASSERT_TRUE(Desktop::waitUntil([&] { return desktop->placements().has_value(); }, 6));
    double delay =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - remembered).count();
    EXPECT_GT(delay, 1.5);
    EXPECT_LT(delay, 3.5);
    auto doc = *desktop->placements();
    ASSERT_EQ(doc["records"].size(), 1u) << doc.dump();
    auto record = doc["records"].begin().value();
    EXPECT_NE(doc["records"].begin().key().find("|MavoTest|"), std::string::npos) << doc.dump();
    EXPECT_DOUBLE_EQ(record["rel"]["fw"].get<double>(), 1220.0 / 1920.0) << doc.dump();
    EXPECT_DOUBLE_EQ(record["rel"]["fh"].get<double>(), 680.0 / 1080.0) << doc.dump();

    // Later ticks keep the frame.
    for (int i = 0; i < 3; ++i) desktop->sync();
    EXPECT_EQ(desktop->frame(w.window), custom);
    expectSurvivesAndExitsCleanly();

    // While Mavo is away the window is moved; the next Mavo puts it back where the user had it.
    ASSERT_TRUE(desktop->xdotool({"windowsize", std::to_string(w.window), "700", "500",
                                  "windowmove", std::to_string(w.window), "400", "300"}));
    ASSERT_TRUE(Desktop::waitUntil([&] { return desktop->frame(w.window) != custom; }));
    startMavo();
    EXPECT_TRUE(syncUntil([&] { return desktop->frame(w.window) == custom; }))
        << *desktop->frame(w.window);
    EXPECT_TRUE(desktop->diagHas("restore(persisted) frame=(0.0,0.0 1220.0×680.0)"));
    expectSurvivesAndExitsCleanly();
}

}  // namespace
}  // namespace mavo::e2e

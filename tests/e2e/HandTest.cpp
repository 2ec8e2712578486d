// Windows the user arranges by hand stay where the hand put them, and custom frames are remembered
// across restarts.

#include <chrono>
#include <random>
#include <sstream>
#include <thread>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

class HandTest : public E2ETest {
  protected:
    // A window that Mavo filled the screen with, then resized by (dx, dy) with the window
    // manager's bottom-right grip. One tick sees the new frame, the next finds it stable and
    // judges it.
    Client resizedByHand(const std::string& title, int dx, int dy) {
        Client w = client(title, "640x480+200+150");
        EXPECT_TRUE(becomes(w, kScreen));
        EXPECT_TRUE(desktop->drag(1918, 1078, dx, dy));
        sync();
        sync();
        return w;
    }
};

TEST_F(HandTest, WindowResizedIntoTheLeftHalfStaysThereAndIsNotRemembered) {
    ASSERT_TRUE(start());
    Client w = resizedByHand("e2e-half", -960, 0);
    const Frame leftHalf{0, 0, 960, 1080};
    ASSERT_EQ(frameOf(w), leftHalf);
    EXPECT_TRUE(diagHas("userArranged(zone) frame=(0.0,0.0 960.0×1080.0)"));
    for (int i = 0; i < 4; ++i) sync();
    EXPECT_EQ(frameOf(w), leftHalf);
    EXPECT_EQ(diagCount("apply \"e2e-half\""), 1);
    expectOrderlyExit();  // which writes whatever is pending
    EXPECT_TRUE(readJson(path("data/Mavo/placements.json"))["records"].empty());
}

TEST_F(HandTest, CustomFrameIsKeptWrittenTwoSecondsLaterAndRestoredAfterRestart) {
    ASSERT_TRUE(start());
    Client w = resizedByHand("e2e-custom", -700, -400);
    const Frame custom{0, 0, 1220, 680};
    ASSERT_EQ(frameOf(w), custom);
    ASSERT_TRUE(diagHas("remember(custom) frame=(0.0,0.0 1220.0×680.0)"));
    auto remembered = std::chrono::steady_clock::now();

    // The write is debounced: not there at once, there about two seconds later.
    auto file = path("data/Mavo/placements.json");
    EXPECT_FALSE(std::filesystem::exists(file));
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return readJson(file).is_object(); }, 6));
    std::chrono::duration<double> delay = std::chrono::steady_clock::now() - remembered;
    EXPECT_GT(delay.count(), 1.5);
    EXPECT_LT(delay.count(), 3.5);
    auto records = readJson(file)["records"];
    ASSERT_EQ(records.size(), 1u) << records;
    EXPECT_NE(records.begin().key().find("|MavoTest|"), npos) << records;
    EXPECT_DOUBLE_EQ(records.begin()->at("rel").at("fw"), 1220.0 / 1920.0) << records;
    EXPECT_DOUBLE_EQ(records.begin()->at("rel").at("fh"), 680.0 / 1080.0) << records;

    // Later ticks keep the frame.
    for (int i = 0; i < 3; ++i) sync();
    EXPECT_EQ(frameOf(w), custom);
    expectOrderlyExit();

    // While Mavo is away the window is moved; the next Mavo puts it back where the user had it.
    auto id = std::to_string(w.window);
    ASSERT_TRUE(desktop->xdotool("windowsize " + id + " 700 500 windowmove " + id + " 400 300"));
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(w) != custom; }));
    ASSERT_TRUE(startMavo());
    EXPECT_TRUE(becomes(w, custom));
    EXPECT_TRUE(diagHas("restore(persisted) frame=(0.0,0.0 1220.0×680.0)"));
}

TEST_F(HandTest, QuickDragsEndingAnywhereInTheTickAreAllKept) {
    ASSERT_TRUE(start());
    Client w = resizedByHand("e2e-quick", -700, -400);
    Frame at{0, 0, 1220, 680};
    ASSERT_EQ(frameOf(w), at);
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> phaseMs(0, 750);
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        // Grabbed by the title bar and let go about 0.2 s later, at a random point of the tick;
        // no sync with Mavo before looking again, as a user would not wait for one.
        int dx = i % 2 ? -80 : 120, dy = i % 2 ? -30 : 60;
        std::ostringstream script;
        script << "sleep " << phaseMs(random) / 1000.0 << " mousemove " << at.x + 400 << " "
               << at.y + 10 << " mousedown 1";
        for (int k = 0; k < 6; ++k) {
            script << " sleep 0.03 mousemove_relative -- " << dx * (k + 1) / 6 - dx * k / 6 << " "
                   << dy * (k + 1) / 6 - dy * k / 6;
        }
        ASSERT_TRUE(desktop->xdotool(script.str() + " sleep 0.02 mouseup 1"));
        Frame moved{at.x + dx, at.y + dy, at.width, at.height};
        ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(w) == moved; }, 2)) << frameOf(w);
        std::this_thread::sleep_for(std::chrono::seconds(3));
        EXPECT_EQ(frameOf(w), moved);
        at = moved;
    }
    EXPECT_EQ(diagCount("remember(custom)"), 6);
}

}  // namespace
}  // namespace mavo::e2e

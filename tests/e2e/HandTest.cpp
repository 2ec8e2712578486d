// Windows the user arranges by hand stay where the hand put them, and custom frames are remembered
// across restarts, one for each window of an application that several processes show.

#include <chrono>
#include <random>
#include <thread>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using HandTest = E2ETest;

TEST_F(HandTest, HalvesAreKeptAndCustomFramesKeptRememberedAndRestored) {
    ASSERT_TRUE(start());
    // A window Mavo filled the screen with, resized with the window manager's bottom-right grip.
    // One tick sees the new frame, the next finds it stable and judges it.
    auto resizeByHand = [&](const Client& c, int dx, int dy) {
        auto f = frameOf(c);
        EXPECT_TRUE(f && desktop->drag(f->x + f->width - 2, f->y + f->height - 2, dx, dy));
        sync(false, 2);
        return frameOf(c);
    };
    {
        SCOPED_TRACE("a window resized into the left half stays there");
        Client half = client("e2e-half", "640x480+200+150");
        ASSERT_TRUE(becomes(half, kScreen));
        const Frame leftHalf{0, 0, 960, 1080};
        ASSERT_EQ(resizeByHand(half, -960, 0), leftHalf);
        EXPECT_TRUE(diagHas("userArranged(zone) frame=(0.0,0.0 960.0×1080.0)"));
        sync(false, 4);
        EXPECT_EQ(frameOf(half), leftHalf);
        EXPECT_EQ(diagCount("apply \"e2e-half\""), 1);
    }
    Frame custom{0, 0, 1220, 680};
    Client w = client("e2e-custom", "640x480+200+150");
    auto file = path("data/Mavo/placements.json");
    {
        SCOPED_TRACE("a custom frame is kept and written about two seconds later");
        ASSERT_TRUE(becomes(w, kScreen));
        ASSERT_EQ(resizeByHand(w, -700, -400), custom);
        ASSERT_TRUE(diagHas("remember(custom) frame=(0.0,0.0 1220.0×680.0)"));
        auto remembered = std::chrono::steady_clock::now();
        EXPECT_FALSE(std::filesystem::exists(file));
        ASSERT_TRUE(TestDesktop::waitUntil([&] { return readJson(file).is_object(); }, 6));
        std::chrono::duration<double> delay = std::chrono::steady_clock::now() - remembered;
        EXPECT_GT(delay.count(), 1.5);
        EXPECT_LT(delay.count(), 3.5);
        // The half is the user's arrangement of the moment, not a frame to remember.
        auto records = readJson(file)["records"];
        ASSERT_EQ(records.size(), 1u) << records;
        EXPECT_NE(records.begin().key().find("|MavoTest|"), npos) << records;
        EXPECT_DOUBLE_EQ(records.begin()->at("rel").at("fw"), 1220.0 / 1920.0) << records;
        EXPECT_DOUBLE_EQ(records.begin()->at("rel").at("fh"), 680.0 / 1080.0) << records;
        sync(false, 3);
        EXPECT_EQ(frameOf(w), custom);
    }
    {
        SCOPED_TRACE("quick drags ending anywhere in the tick are all kept");
        std::mt19937 random(std::random_device{}());
        std::uniform_int_distribution<int> phaseMs(0, 750);
        for (int i = 0; i < 5; ++i) {
            SCOPED_TRACE(i);
            // Grabbed by the title bar at a random point of the tick; no sync with Mavo before
            // looking again, as a user would not wait for one.
            int dx = i % 2 ? -80 : 120, dy = i % 2 ? -30 : 60;
            ASSERT_TRUE(desktop->xdotool("sleep " + std::to_string(phaseMs(random) / 1000.0)));
            ASSERT_TRUE(desktop->drag(custom.x + 400, custom.y + 10, dx, dy));
            Frame moved{custom.x + dx, custom.y + dy, custom.width, custom.height};
            ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(w) == moved; }, 2))
                << frameOf(w);
            std::this_thread::sleep_for(std::chrono::seconds(3));
            EXPECT_EQ(frameOf(w), moved);
            custom = moved;
        }
        EXPECT_EQ(diagCount("remember(custom)"), 6);
    }
    std::vector<Client> clients{w};
    std::vector<Frame> frames{custom};
    {
        SCOPED_TRACE("two xterms keep a frame each");
        auto first = desktop->startXterm("e2e-first", "80x24+100+100");
        auto second = desktop->startXterm("e2e-second", "80x24+300+200");
        ASSERT_TRUE(first && second);
        ASSERT_TRUE(syncUntil([&] {
            return fillsByCells(frameOf(*first), kScreen) &&
                   fillsByCells(frameOf(*second), kScreen);
        }));
        // The one on top first.
        auto secondFrame = resizeByHand(*second, -700, -400);
        auto firstFrame = resizeByHand(*first, -300, -150);
        ASSERT_TRUE(firstFrame && secondFrame);
        ASSERT_NE(firstFrame, secondFrame);
        sync(false, 3);
        ASSERT_EQ(frameOf(*first), firstFrame);
        ASSERT_EQ(frameOf(*second), secondFrame);
        clients.insert(clients.end(), {*first, *second});
        frames.insert(frames.end(), {*firstFrame, *secondFrame});
    }
    SCOPED_TRACE("moved while Mavo is away, each window is put back where the user had it");
    expectOrderlyExit();
    auto records = readJson(file)["records"];
    EXPECT_EQ(records.size(), 3u) << records;
    for (const char* title : {"|XTerm|e2e-first", "|XTerm|e2e-second"})
        EXPECT_EQ(std::ranges::count_if(records.items(),
                                        [&](const auto& r) { return r.key().ends_with(title); }),
                  1)
            << title << " in " << records;
    for (const Client& c : clients) {
        auto id = std::to_string(c.window);
        ASSERT_TRUE(
            desktop->xdotool("windowsize " + id + " 500 400 windowmove " + id + " 600 300"));
    }
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(w) != custom; }));
    ASSERT_TRUE(startMavo());
    auto restored = [&] {
        for (size_t i = 0; i < clients.size(); ++i)
            if (frameOf(clients[i]) != frames[i]) return false;
        return true;
    };
    EXPECT_TRUE(syncUntil(restored))
        << frameOf(clients[0]) << frameOf(clients[1]) << frameOf(clients[2]);
    EXPECT_TRUE(diagHas("restore(persisted) frame="));
}

}  // namespace
}  // namespace mavo::e2e

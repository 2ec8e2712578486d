// Windows the user arranges by hand stay where the hand put them, and custom frames are remembered
// across restarts, one for each window of an application that several processes show.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using HandTest = E2ETest;

TEST_F(HandTest, CustomFramesAreKeptRememberedAndRestored) {
    ASSERT_TRUE(start());
    // A window Mavo filled the screen with, resized with the window manager's bottom-right grip.
    // One tick sees the new frame, the next finds it stable and judges it.
    auto resizeByHand = [&](const Client& c, int dx, int dy) {
        auto f = frameOf(c);
        EXPECT_TRUE(f && desktop->drag(f->x + f->width - 2, f->y + f->height - 2, dx, dy));
        sync(2);
        return frameOf(c);
    };
    Frame custom{0, 0, 1220, 680};
    Client w = client("e2e-custom", "640x480+200+150");
    auto file = path("data/Mavo/placements.json");
    {
        SCOPED_TRACE("a custom frame is kept and written");
        ASSERT_TRUE(becomes(w, kScreen));
        ASSERT_EQ(resizeByHand(w, -700, -400), custom);
        ASSERT_TRUE(diagHas("remember(custom) frame=(0.0,0.0 1220.0×680.0)"));
        ASSERT_TRUE(TestDesktop::waitUntil([&] { return readJson(file).is_object(); }, 6));
        auto records = readJson(file)["records"];
        ASSERT_EQ(records.size(), 1u) << records;
        EXPECT_NE(records.begin().key().find("|MavoTest|"), npos) << records;
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
        sync(3);
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

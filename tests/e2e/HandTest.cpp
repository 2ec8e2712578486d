// A frame the user gives a window by hand is kept, remembered, and put back after a restart.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using HandTest = E2ETest;

TEST_F(HandTest, CustomFramesAreKeptRememberedAndRestored) {
    ASSERT_TRUE(start());
    Client w = client("e2e-custom", "640x480+200+150");
    ASSERT_TRUE(becomes(w, kScreen));
    // With the window manager's bottom-right grip. One tick sees the new frame, the next finds it
    // stable and judges it.
    ASSERT_TRUE(desktop->drag(1918, 1078, -700, -400));
    sync(2);
    const Frame custom{0, 0, 1220, 680};
    ASSERT_EQ(frameOf(w), custom);
    auto file = path("data/Mavo/placements.json");
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return readJson(file).is_object(); }, 6));
    auto records = readJson(file)["records"];
    ASSERT_EQ(records.size(), 1u) << records;
    EXPECT_NE(records.begin().key().find("|MavoTest|"), npos) << records;

    // Moved while Mavo is away: put back where the user had it.
    expectOrderlyExit();
    auto id = std::to_string(w.window);
    ASSERT_TRUE(desktop->xdotool("windowsize " + id + " 500 400 windowmove " + id + " 600 300"));
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(w) != custom; }));
    ASSERT_TRUE(startMavo());
    EXPECT_TRUE(becomes(w, custom));
}

}  // namespace
}  // namespace mavo::e2e

// Windows as people see them: a GTK header-bar window under a compositing window manager is
// measured and filled by its visible frame, not by the invisible shadows around it; and windows
// of one application shown by several processes keep a remembered frame each.

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using WindowIdentityTest = E2ETest;

// GTK draws its shadows only under a compositing manager, here xfwm4's.
TEST_F(WindowIdentityTest, BusyWindowManagerAndHeaderBarShadowsDoNotHideTheApplicationsFrame) {
    ASSERT_TRUE(start({.windowManager = WM::xfwm4, .compositor = true}, false))
        << desktop->failure();
    // As when many applications map many windows at once: the window manager acts on Mavo's
    // writes only after the messaging timeout. The frame it had not changed yet is not the
    // application's answer.
    Client plain = client("e2e-busy", "500x400+100+100");
    kill(desktop->windowManager(), SIGSTOP);
    ASSERT_TRUE(startMavo());
    sync(false, 2);
    kill(desktop->windowManager(), SIGCONT);
    EXPECT_TRUE(becomes(plain, kScreen));
    EXPECT_FALSE(diagHas("learned cell-snap app"));
    const std::string exact = "achieved=(0.0,0.0 1920.0×1080.0) Δw=0.0 Δh=0.0";
    int exactBefore = diagCount(exact);

    desktop->spawn({"gtk3-demo"}, {"DBUS_SESSION_BUS_ADDRESS=" + desktop->sessionBus()});
    auto gtk = managedWindowOf("Gtk3-demo");
    ASSERT_TRUE(gtk);
    auto shadows = desktop->property(*gtk, "_GTK_FRAME_EXTENTS");
    ASSERT_EQ(shadows.size(), 4u);
    ASSERT_GT(shadows[0], 0u) << "no client-side shadows: is the compositor on?";

    EXPECT_TRUE(syncUntil([&] { return visibleFrame(*gtk) == kScreen; }))
        << visibleFrame(*gtk) << " X frame " << desktop->frame(*gtk);
    EXPECT_EQ(diagCount(exact), exactBefore + 1);

    // The window manager's own tiling, from the keyboard: the left half, shadows and all.
    const Frame leftHalf{0, 0, 960, 1080};
    ASSERT_TRUE(
        desktop->xdotool("windowactivate --sync " + std::to_string(*gtk) + " key super+KP_Left"));
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return visibleFrame(*gtk) == leftHalf; }))
        << visibleFrame(*gtk);
    sync(false, 4);
    EXPECT_EQ(visibleFrame(*gtk), leftHalf);
    EXPECT_TRUE(diagHas("userArranged(zone) frame=(0.0,0.0 960.0×1080.0)"));
}

TEST_F(WindowIdentityTest, TwoXtermsKeepTheirOwnRememberedFramesAcrossARestart) {
    ASSERT_TRUE(start());
    auto first = desktop->startXterm("e2e-first", "80x24+100+100");
    auto second = desktop->startXterm("e2e-second", "80x24+300+200");
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(syncUntil([&] {
        return fillsByCells(frameOf(*first), kScreen) && fillsByCells(frameOf(*second), kScreen);
    }));

    // Each resized by hand from its bottom-right grip, the one on top first.
    for (auto [c, dx, dy] : {std::tuple{*second, -700, -400}, {*first, -300, -150}}) {
        auto f = frameOf(c);
        ASSERT_TRUE(f);
        ASSERT_TRUE(desktop->drag(f->x + f->width - 2, f->y + f->height - 2, dx, dy));
        sync(false, 2);
    }
    auto firstFrame = frameOf(*first), secondFrame = frameOf(*second);
    ASSERT_NE(firstFrame, secondFrame);
    sync(false, 3);
    ASSERT_EQ(frameOf(*first), firstFrame);
    ASSERT_EQ(frameOf(*second), secondFrame);
    expectOrderlyExit();
    auto records = readJson(path("data/Mavo/placements.json"))["records"];
    EXPECT_EQ(records.size(), 2u) << records;
    for (const char* title : {"|XTerm|e2e-first", "|XTerm|e2e-second"})
        EXPECT_EQ(std::ranges::count_if(records.items(),
                                        [&](const auto& r) { return r.key().ends_with(title); }),
                  1)
            << title << " in " << records;

    // Moved while Mavo is away; the next Mavo gives each its own frame back.
    for (const Client& c : {*first, *second}) {
        auto id = std::to_string(c.window);
        ASSERT_TRUE(
            desktop->xdotool("windowsize " + id + " 500 400 windowmove " + id + " 600 300"));
    }
    ASSERT_TRUE(TestDesktop::waitUntil([&] { return frameOf(*first) != firstFrame; }));
    ASSERT_TRUE(startMavo());
    EXPECT_TRUE(syncUntil([&] {
        return frameOf(*first) == firstFrame && frameOf(*second) == secondFrame;
    })) << frameOf(*first)
        << frameOf(*second);
}

}  // namespace
}  // namespace mavo::e2e

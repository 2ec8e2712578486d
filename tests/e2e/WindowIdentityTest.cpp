// A GTK header-bar window under a compositing window manager is filled by its visible frame, not
// by the invisible shadows around it, and a window manager too busy to act is not taken for the
// application's answer.

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
    sync(2);
    kill(desktop->windowManager(), SIGCONT);
    EXPECT_TRUE(becomes(plain, kScreen));
    EXPECT_FALSE(diagHas("learned cell-snap app"));
    const std::string exact = "achieved=(0.0,0.0 1920.0×1080.0) Δw=0.0 Δh=0.0";
    int exactBefore = diagCount(exact);

    auto gtk = startGtkDemo();
    ASSERT_TRUE(gtk);
    auto shadows = desktop->property(*gtk, "_GTK_FRAME_EXTENTS");
    ASSERT_EQ(shadows.size(), 4u);
    ASSERT_GT(shadows[0], 0u) << "no client-side shadows: is the compositor on?";

    EXPECT_TRUE(syncUntil([&] { return visibleFrame(*gtk) == kScreen; }))
        << visibleFrame(*gtk) << " X frame " << desktop->frame(*gtk);
    EXPECT_EQ(diagCount(exact), exactBefore + 1);
}

}  // namespace
}  // namespace mavo::e2e

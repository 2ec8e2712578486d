#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using MaximizeTest = E2ETest;

// Applications that restore their own size right after mapping race Mavo's first look at the
// window; whichever comes first, the window ends maximized, and their own resize is neither the
// user's arrangement nor a sign of cell sizing.
TEST_F(MaximizeTest, AWindowResizingItselfRightAfterMappingEndsMaximized) {
    ASSERT_TRUE(start());
    sync();  // past the first tick, which judges the windows open at launch by its own rules
    std::vector<Client> windows;
    for (int delay : {0, 15, 40, 150}) {
        windows.push_back(client("e2e-settling-" + std::to_string(delay), "500x400+200+150",
                                 {"--kind", "settling", "--settle-delay", std::to_string(delay)}));
    }
    for (const Client& c : windows) EXPECT_TRUE(becomes(c, kScreen)) << c.window;
    for (int i = 0; i < 3; ++i) sync();
    for (const Client& c : windows) EXPECT_EQ(frameOf(c), kScreen) << c.window;
    EXPECT_FALSE(diagHas("learned cell-snap app"));
}

// As when many applications map many windows at once: the window manager acts on Mavo's writes
// only after the messaging timeout. The frame it had not changed yet is not the application's
// answer.
TEST_F(MaximizeTest, ABusyWindowManagersStaleFrameIsNotTheApplicationsAnswer) {
    ASSERT_TRUE(start({}, false));
    Client plain = client("e2e-busy", "500x400+100+100");
    kill(desktop->windowManager(), SIGSTOP);
    ASSERT_TRUE(startMavo());
    sync(2);
    kill(desktop->windowManager(), SIGCONT);
    EXPECT_TRUE(becomes(plain, kScreen));
    EXPECT_FALSE(diagHas("learned cell-snap app"));
}

}  // namespace
}  // namespace mavo::e2e

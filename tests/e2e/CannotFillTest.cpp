// Windows that cannot be brought to fill their monitor: given up on once, with a diagnosis, or
// left at their own size.

#include <cstdlib>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using CannotFillTest = E2ETest;

// ICCCM WM_SIZE_HINTS with a minimum and a maximum size.
std::vector<uint32_t> sizeHints(uint32_t minW, uint32_t minH, uint32_t maxW, uint32_t maxH) {
    std::vector<uint32_t> hints(18, 0);
    hints[0] = 16 | 32;  // PMinSize | PMaxSize
    hints[5] = minW;
    hints[6] = minH;
    hints[7] = maxW;
    hints[8] = maxH;
    return hints;
}

// An application that will not let its window grow, and puts the window back where it wants it
// after every move: after three applies that it undoes, Mavo gives it up for good.
TEST_F(CannotFillTest, WindowThatRefusesToGrowAndMovesBackBecomesCannotFill) {
    startDesktop();
    auto stubborn = desktop->startClient({"--kind", "fighting", "--fight-delay", "50", "--title",
                                          "e2e-stubborn", "--geometry", "640x480+300+200"});
    ASSERT_TRUE(stubborn);
    // It grows to 800×600 at most, and then shrinks itself back.
    desktop->setProperty(stubborn->window, "WM_NORMAL_HINTS", desktop->atom("WM_SIZE_HINTS"),
                         sizeHints(100, 100, 800, 600));
    auto home = desktop->frame(stubborn->window);
    ASSERT_TRUE(home);
    startMavo();

    auto probed = [&] { return desktop->diagHas("PROBE cannot-fill["); };
    for (int round = 0; round < 12 && !probed(); ++round) {
        ASSERT_TRUE(desktop->sync().answered);
        // After each move the application puts its window back; wait for that before the next
        // tick so every apply is undone.
        Desktop::waitUntil([&] { return desktop->frame(stubborn->window) == home; }, 2);
    }
    ASSERT_TRUE(probed());
    std::string line;
    for (const auto& l : desktop->diagLines())
        if (l.find("PROBE cannot-fill[") != std::string::npos) line = l;
    EXPECT_EQ(line.rfind("PROBE cannot-fill[resist] \"e2e-stubborn\" SPACE-OK ax=", 0), 0u) << line;
    // Three undone applies in a row at least (a timer tick that catches the window before it
    // moved back sees the engine's own frame and starts the count again).
    int applies = desktop->diagCount("apply \"e2e-stubborn\"");
    EXPECT_GE(applies, 3);

    // Given up for good: no more writes, one probe only.
    for (int i = 0; i < 4; ++i) desktop->sync();
    EXPECT_EQ(desktop->diagCount("apply \"e2e-stubborn\""), applies);
    EXPECT_EQ(desktop->diagCount("PROBE cannot-fill["), 1);
    EXPECT_EQ(desktop->frame(stubborn->window), home);
    expectSurvivesAndExitsCleanly();
}

// A window whose size is fixed outright cannot be filled, and is not fought over: in top-center
// mode it is moved, at its own size, to the top centre of its monitor.
TEST_F(CannotFillTest, FixedSizeWindowIsTopCentredAtItsOwnSize) {
    startDesktop();
    auto fixed = desktop->startClient(
        {"--kind", "fixed", "--title", "e2e-fixed", "--geometry", "500x300+100+600"});
    ASSERT_TRUE(fixed);
    auto before = desktop->frame(fixed->window);
    ASSERT_TRUE(before);
    startMavo();
    auto centred = [&] {
        auto f = desktop->frame(fixed->window);
        return f && std::abs(f->x + f->width / 2 - 960) <= 1 && f->y < 100;
    };
    ASSERT_TRUE(syncUntil(centred)) << *desktop->frame(fixed->window);
    EXPECT_EQ(desktop->frame(fixed->window)->width, before->width);
    EXPECT_EQ(desktop->frame(fixed->window)->height, before->height);
    EXPECT_FALSE(desktop->diagHas("PROBE cannot-fill["));
    expectSurvivesAndExitsCleanly();
}

}  // namespace
}  // namespace mavo::e2e

// Application windows are brought to fill their monitor, except those that cannot; windows that
// vanish or change state mid-tick are simply forgotten.

#include <atomic>
#include <cstdlib>
#include <thread>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using MaximizeTest = E2ETest;

TEST_F(MaximizeTest, WindowsFillTheScreenAndTerminalsAreCellSized) {
    ASSERT_TRUE(start({}, false));
    Client early = client("e2e-early", "640x480+40+40");  // open before Mavo
    ASSERT_TRUE(startMavo());
    Client plain = client("e2e-plain", "500x400+300+200");
    auto term = desktop->startXterm("e2e-term", "80x24+150+120");
    ASSERT_TRUE(term);
    EXPECT_TRUE(syncUntil([&] {
        return fillsByCells(desktop->frame(term->window), kScreen) && frameOf(plain) == kScreen &&
               frameOf(early) == kScreen;
    })) << desktop->frame(term->window)
        << frameOf(plain) << frameOf(early);
    // XTerm is on the built-in list of terminals: accepted within a cell, nothing to learn.
    EXPECT_FALSE(diagHas("learned cell-snap app"));
    EXPECT_TRUE(diagHas("apply \"e2e-term\" target=(0.0,0.0 1920.0×1080.0)"));
    EXPECT_TRUE(
        diagHas("apply \"e2e-plain\" target=(0.0,0.0 1920.0×1080.0) "
                "achieved=(0.0,0.0 1920.0×1080.0) Δw=0.0 Δh=0.0"));
    // Left as they are on later ticks: no fight over the last partial cell.
    auto settled = desktop->frame(term->window);
    int applies = diagCount("apply ");
    sync(false, 3);
    EXPECT_EQ(desktop->frame(term->window), settled);
    EXPECT_EQ(diagCount("apply "), applies);

    // A class is another program's bytes, not always UTF-8: an unknown terminal is learnt under a
    // repaired name, and the settings file stays valid JSON.
    ASSERT_TRUE(desktop->startXterm("e2e-odd", "80x24+150+120", {"-class", "Bad\xff\xfeQ"}));
    EXPECT_TRUE(diagShows("learned cell-snap app: Bad\uFFFD\uFFFDQ"));
    sync();
    auto learnt = readJson(path("config/mavo/defaults.json"))["cellSnapApps"];
    EXPECT_EQ(std::count(learnt.begin(), learnt.end(), "Bad\uFFFD\uFFFDQ"), 1) << learnt;
}

// One window undoes every resize (it grows to 800×600 at most, then puts itself back): after three
// undone applies in a row it is given up on with a diagnosis. A window of fixed size is not
// fought over: it is moved, at its own size, to the top centre of its monitor.
TEST_F(MaximizeTest, StubbornWindowBecomesCannotFillAndFixedSizeOneIsTopCentred) {
    ASSERT_TRUE(start({}, false));
    Client stubborn =
        client("e2e-stubborn", "640x480+300+200", {"--kind", "fighting", "--fight-delay", "50"});
    std::vector<uint32_t> hints(18);  // ICCCM PMinSize | PMaxSize
    hints[0] = 16 | 32, hints[5] = hints[6] = 100, hints[7] = 800, hints[8] = 600;
    desktop->setProperty(stubborn.window, "WM_NORMAL_HINTS", desktop->atom("WM_SIZE_HINTS"), hints);
    Client fixed = client("e2e-fixed", "500x300+100+600", {"--kind", "fixed"});
    auto home = frameOf(stubborn), fixedBefore = frameOf(fixed);
    ASSERT_TRUE(home && fixedBefore && startMavo());

    for (int round = 0; round < 12 && !diagHas("PROBE cannot-fill["); ++round) {
        ASSERT_TRUE(sync().answered);
        // Each move is undone before the next tick, so that every apply counts as resisted.
        TestDesktop::waitUntil([&] { return frameOf(stubborn) == home; }, 2);
    }
    EXPECT_TRUE(diagHas("\nPROBE cannot-fill[resist] \"e2e-stubborn\" SPACE-OK ax="));
    int applies = diagCount("apply \"e2e-stubborn\"");
    EXPECT_GE(applies, 3);  // more when a tick caught a window before it moved back

    // Given up for good: no more writes, one probe only.
    sync(false, 4);
    EXPECT_EQ(diagCount("apply \"e2e-stubborn\""), applies);
    EXPECT_EQ(diagCount("PROBE cannot-fill["), 1);
    EXPECT_EQ(frameOf(stubborn), home);
    auto f = frameOf(fixed);
    ASSERT_TRUE(f);
    EXPECT_LE(std::abs(f->x + f->width / 2 - 960), 1) << *f;
    EXPECT_LT(f->y, 100) << *f;
    EXPECT_EQ(std::pair(f->width, f->height), std::pair(fixedBefore->width, fixedBefore->height));
}

TEST_F(MaximizeTest, ClosedMinimizedAndFullScreenWindowsCauseNoErrorAndArePruned) {
    ASSERT_TRUE(start());
    std::vector<Client> w;
    for (int i = 0; i < 6; ++i)
        w.push_back(client("e2e-churn-" + std::to_string(i),
                           "400x300+" + std::to_string(50 + 60 * i) + "+100"));
    ASSERT_TRUE(syncUntil(
        [&] { return std::ranges::all_of(w, [&](auto& c) { return frameOf(c) == kScreen; }); }));
    ASSERT_EQ(sync().tracked, 6u);

    // Forced ticks back to back while the windows change under them.
    std::atomic<bool> churning{true};
    std::atomic<int> unanswered{0};
    std::thread ticker([&] {
        while (churning) unanswered += !sync(true).answered;
    });
    desktop->stop(w[0].pid);  // the application quits
    EXPECT_TRUE(desktop->xdotool("windowminimize " + std::to_string(w[1].window)));
    desktop->sendClientMessage(w[2].window, "_NET_WM_STATE",
                               {1, desktop->atom("_NET_WM_STATE_FULLSCREEN"), 0, 2});
    EXPECT_TRUE(desktop->xdotool("windowclose " + std::to_string(w[3].window)));
    for (int i = 0; i < 4; ++i)  // windows that live for a moment only
        if (auto brief = desktop->startClient({"--title", "e2e-brief"})) desktop->stop(brief->pid);
    churning = false;
    ticker.join();
    EXPECT_EQ(unanswered, 0);

    auto has = [&](const Client& c, const char* state) {
        return std::ranges::count(desktop->property(c.window, "_NET_WM_STATE"),
                                  desktop->atom(state)) == 1;
    };
    auto userStates = [&] {
        return has(w[1], "_NET_WM_STATE_HIDDEN") && has(w[2], "_NET_WM_STATE_FULLSCREEN");
    };
    ASSERT_TRUE(TestDesktop::waitUntil(userStates));
    // Only the two untouched windows are still Mavo's; the others are forgotten, and the states
    // the user gave them are left alone.
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return sync().tracked == 2; }));
    sync(false, 3);
    EXPECT_TRUE(userStates());
    EXPECT_EQ(frameOf(w[4]), kScreen);
    EXPECT_EQ(frameOf(w[5]), kScreen);
}

// Applications that restore their own size right after mapping race Mavo's first look at the
// window; whichever comes first, the window ends maximized, and their own resize is neither the
// user's arrangement nor a sign of cell sizing.
TEST_F(MaximizeTest, AWindowResizingItselfRightAfterMappingEndsMaximized) {
    ASSERT_TRUE(start());
    sync();  // past the first tick, which judges the windows open at launch by its own rules
    std::vector<Client> windows;
    for (int delay : {0, 15, 40, 150}) {
        windows.push_back(client("e2e-settling-" + std::to_string(delay), "500x400+200+150",
                                 {"--kind", "settling", "--fight-delay", std::to_string(delay)}));
    }
    for (const Client& c : windows) EXPECT_TRUE(becomes(c, kScreen)) << c.window;
    for (int i = 0; i < 3; ++i) sync();
    for (const Client& c : windows) EXPECT_EQ(frameOf(c), kScreen) << c.window;
    EXPECT_FALSE(diagHas("learned cell-snap app"));
}

}  // namespace
}  // namespace mavo::e2e

// New windows are brought to fill the visible frame of their monitor.

#include <algorithm>
#include <fstream>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

using MaximizeTest = E2ETest;

TEST_F(MaximizeTest, NewXtermFillsTheScreenWithinOneCellAndIsLearntAsCellSnap) {
    startDesktop();
    startMavo();
    auto term = desktop->startXterm("e2e-term", "80x24+150+120");
    ASSERT_TRUE(term);

    // xterm sizes itself in character cells: it can miss the frame by less than one cell.
    auto fills = [&] {
        auto f = desktop->frame(term->window);
        return f && f->x == 0 && f->y == 0 && f->width <= 1920 && f->width > 1920 - 20 &&
               f->height <= 1080 && f->height > 1080 - 30;
    };
    ASSERT_TRUE(syncUntil(fills)) << *desktop->frame(term->window);
    EXPECT_TRUE(desktop->diagHas("learned cell-snap app: XTerm"));
    EXPECT_TRUE(desktop->diagHas("apply \"e2e-term\" target=(0.0,0.0 1920.0×1080.0)"));

    // The lesson is kept in the settings file.
    auto defaults = nlohmann::json::parse(std::ifstream(desktop->defaultsFile()), nullptr, false);
    ASSERT_TRUE(defaults.is_object());
    auto learnt = defaults["cellSnapApps"];
    EXPECT_NE(std::find(learnt.begin(), learnt.end(), "XTerm"), learnt.end()) << defaults.dump();

    // Left as it is on later ticks: no fight over the last partial cell.
    auto settled = desktop->frame(term->window);
    int applies = desktop->diagCount("apply \"e2e-term\"");
    for (int i = 0; i < 3; ++i) desktop->sync();
    EXPECT_EQ(desktop->frame(term->window), settled);
    EXPECT_EQ(desktop->diagCount("apply \"e2e-term\""), applies);
    expectSurvivesAndExitsCleanly();
}

TEST_F(MaximizeTest, PlainResizableWindowFillsTheScreenExactly) {
    startDesktop();
    startMavo();
    auto plain = desktop->startClient({"--title", "e2e-plain", "--geometry", "500x400+300+200"});
    ASSERT_TRUE(plain);
    const Frame full{0, 0, 1920, 1080};
    ASSERT_TRUE(syncUntil([&] { return desktop->frame(plain->window) == full; }))
        << *desktop->frame(plain->window);
    EXPECT_FALSE(desktop->diagHas("learned cell-snap app: MavoTest"));
    EXPECT_TRUE(
        desktop->diagHas("apply \"e2e-plain\" target=(0.0,0.0 1920.0×1080.0) "
                         "achieved=(0.0,0.0 1920.0×1080.0) Δw=0.0 Δh=0.0"));
    expectSurvivesAndExitsCleanly();
}

TEST_F(MaximizeTest, WindowsThatWereOpenBeforeLaunchAreMaximizedToo) {
    startDesktop();
    auto before = desktop->startClient({"--title", "e2e-early", "--geometry", "640x480+40+40"});
    ASSERT_TRUE(before);
    startMavo();
    const Frame full{0, 0, 1920, 1080};
    EXPECT_TRUE(syncUntil([&] { return desktop->frame(before->window) == full; }))
        << *desktop->frame(before->window);
    expectSurvivesAndExitsCleanly();
}

}  // namespace
}  // namespace mavo::e2e

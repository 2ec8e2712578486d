// A window met the moment it appears may still be settling on a size of its own.

#include <gtest/gtest.h>

#include <algorithm>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(FirstSight, AWindowStillResizingItselfTeachesNothingAndIsJudgedAgainByTheTick) {
    EngineHarness h;
    h.launch();
    h.tick();
    int32_t pid = h.addApp("com.example.settling");
    auto w = h.addWindow(pid, "Doc", {200, 150, 500, 400});
    // Its own resize lands between the engine's write and the read-back, once.
    bool settled = false;
    h.server.setResizeBehaviour(w, ResizeBehaviour::custom([&](const Rect& cur, Size req) {
                                    Size got = settled ? req : Size{620, 480};
                                    settled = true;
                                    return ResizeOutcome{true, makeRect(cur.origin(), got)};
                                }));
    h.engine->evaluateNewWindows();
    h.engine->drain();
    EXPECT_EQ(h.frame(w), (Rect{0, 25, 620, 480}));
    EXPECT_FALSE(h.defaults.strings("cellSnapApps"));
    h.tick();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    EXPECT_FALSE(h.defaults.strings("cellSnapApps"));

    // A window that sizes in cells is still learnt, by the tick that judges it again.
    auto term = h.addWindow(h.addApp("com.example.term"), "Term", {100, 100, 500, 400});
    h.server.setResizeBehaviour(term, ResizeBehaviour::cells(9, 18, 0, 0));
    h.engine->evaluateNewWindows();
    h.engine->drain();
    h.tick();
    auto learnt = h.defaults.strings("cellSnapApps").value_or(std::vector<std::string>{});
    EXPECT_EQ(std::ranges::count(learnt, "com.example.term"), 1);
}

}  // namespace
}  // namespace mavo::test

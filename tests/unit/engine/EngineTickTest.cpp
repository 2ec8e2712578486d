// Which applications and windows a tick hands to the decision, and what it does after the walk.

#include <gtest/gtest.h>

#include <functional>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const Rect kSmall{300, 150, 800, 600};
// 62 % × 80 % of the visible frame, centred, 2 points below its top.
const Rect kTopCentred{(1920 - 0.62 * 1920) * 0.5, 27, 0.62 * 1920, 0.8 * 1055};

// With maximizing of existing windows off, the launch's first tick leaves the windows it finds; a
// paused first tick is that tick all the same.
TEST(EngineTick, FirstTickLeavesExistingWindowsWhenAskedToEvenWhilePaused) {
    const Rect half{300, 150, 1280, 791.25};
    for (bool paused : {false, true}) {
        SCOPED_TRACE(paused);
        EngineHarness h;
        h.defaults.set("maximizeExistingOnStartup", false);
        h.launch();
        auto w = h.open(kEditor, half);
        h.engine->settings().setPaused(paused);
        h.tick();
        h.engine->settings().setPaused(false);
        h.step();
        EXPECT_EQ(h.frame(w), paused ? kPrimaryVisibleAX : half);
    }
}

TEST(EngineTick, PausedTicksWriteNothingWhileForcedTicksAndBulkActionsRun) {
    EngineHarness h;
    h.launch();
    auto w = h.open(kEditor, kSmall);
    h.engine->settings().setPaused(true);
    EXPECT_EQ(h.writesOver(4), 0u);
    h.tick(true);
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    for (auto bulk : {&MaximizeEngine::reevaluateAll, &MaximizeEngine::maximizeAllNow}) {
        h.server.setFrame(w, kSmall);
        ((*h.engine).*bulk)();
        h.engine->drain();
        EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    }
}

// Only standard, visible, movable windows of regular applications other than Mavo itself.
TEST(EngineTick, OnlyCandidateWindowsAreJudged) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    std::vector<WindowHandle> skipped{
        h.addWindow(h.addApp("com.example.agent", ActivationPolicy::accessory), "Agent", kSmall),
        h.addWindow(h.addApp("com.example.daemon", ActivationPolicy::prohibited), "Daemon", kSmall),
        h.open("com.quastorn.mavo", kSmall)};
    h.workspace.addRunning({0, "com.example.zero", {}, ActivationPolicy::regular});
    skipped.push_back(h.addWindow(0, "Zero", kSmall));
    for (const auto& edit : std::vector<std::function<void(WindowFacts&)>>{
             [](WindowFacts& f) { f.role.clear(); },
             [](WindowFacts& f) { f.role = "AXSheet"; },
             [](WindowFacts& f) { f.subrole = "AXDialog"; },
             [](WindowFacts& f) { f.minimized = true; },
             [](WindowFacts& f) { f.fullScreen = true; },
             [](WindowFacts& f) { f.positionSettable = false; },
         }) {
        skipped.push_back(h.addWindow(pid, "skipped", kSmall));
        h.server.change(skipped.back(), edit);
    }
    auto doc = h.addWindow(pid, "Doc", kSmall);
    auto noBundle = h.open("", kSmall);
    h.tick();
    for (size_t i = 0; i < skipped.size(); ++i) EXPECT_FALSE(h.state(skipped[i])) << i;
    EXPECT_EQ(h.server.writeCount(), 6u);  // the two candidates' writes
    EXPECT_EQ(h.frame(noBundle), kPrimaryVisibleAX);

    // Only candidates count as the application's windows: one window, keyed without its title.
    h.step(2.0);
    h.handMoveAndSettle(doc, {144, 25, 1632, 1055});
    EXPECT_TRUE(h.store->get("PRIMARY|com.example.editor|"));
}

TEST(EngineTick, UserExclusionsAndTheBuiltInListWithTopCenterMode) {
    EngineHarness h;
    h.workspace.addInstalled("Notes", "Notes");
    h.launch();
    ASSERT_TRUE(h.engine->settings().excludesBundleID("Notes"));
    h.engine->settings().toggleExclusion(kEditor);
    auto notes = h.open("Notes", kSmall);
    auto editor = h.open(kEditor, kSmall);
    h.tick();
    // The built-in exclusion comes back top-centred in top-center mode; the user's does not.
    EXPECT_EQ(h.frame(notes), kTopCentred);
    EXPECT_FALSE(h.state(editor));

    // Without top-center mode the built-in exclusion is skipped and forgotten.
    h.engine->settings().setTopCenterMode(false);
    h.step();
    EXPECT_FALSE(h.state(notes));

    // An excluded app on the top-center list is top-centred all the same.
    h.engine->settings().toggleTopCenter(kEditor);
    h.step();
    EXPECT_EQ(h.frame(editor), kTopCentred);
}

TEST(EngineTick, WindowOnNoDisplayIsTheUsers) {
    EngineHarness h(std::vector<ScreenInfo>{});
    h.launch();
    auto w = h.open(kEditor, kSmall);
    h.tickAndStep();
    EXPECT_EQ(h.state(w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(), 0u);
}

}  // namespace
}  // namespace mavo::test

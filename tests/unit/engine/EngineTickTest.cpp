// Which applications and windows a tick hands to the decision, and what it does after the walk.

#include <gtest/gtest.h>

#include <functional>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const Rect kSmall{300, 150, 800, 600};
// 62 % × 80 % of the visible frame, centred, 2 points below its top.
const Rect kTopCentred{(1920 - 0.62 * 1920) * 0.5, 27, 0.62 * 1920, 0.8 * 1055};

TEST(EngineTick, PausedTicksDoNothingButUseUpTheFirstTickWhileForcedTicksAndBulkActionsRun) {
    EngineHarness h;
    h.defaults.set("maximizeExistingOnStartup", false);
    h.launch();
    auto w = h.open(kEditor, kSmall);
    h.engine->settings().setPaused(true);
    h.tick();
    EXPECT_EQ(h.engine->trackedWindowCount(), 0u);
    // Unpaused, the window is met on what is no longer the first tick: maximized, not left as an
    // existing window.
    h.engine->settings().setPaused(false);
    h.step();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);

    h.engine->settings().setPaused(true);
    auto later = h.open(kEditor, kSmall);
    h.server.setFrame(w, kSmall);
    EXPECT_EQ(h.writesOver(4), 0u);
    h.tick(true);
    EXPECT_EQ(h.frame(later), kPrimaryVisibleAX);
    for (auto bulk : {&MaximizeEngine::reevaluateAll, &MaximizeEngine::maximizeAllNow}) {
        h.server.setFrame(w, kSmall);
        ((*h.engine).*bulk)();
        h.engine->drain();
        EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    }
}

TEST(EngineTick, OnlyRegularApplicationsOtherThanMavoItself) {
    EngineHarness h;
    h.launch();
    auto accessory =
        h.addWindow(h.addApp("com.example.agent", ActivationPolicy::accessory), "Agent", kSmall);
    auto prohibited =
        h.addWindow(h.addApp("com.example.daemon", ActivationPolicy::prohibited), "Daemon", kSmall);
    auto mavo = h.open("com.quastorn.mavo", kSmall);
    auto noBundle = h.open("", kSmall);
    h.workspace.addRunning({0, "com.example.zero", {}, ActivationPolicy::regular});
    auto zeroPid = h.addWindow(0, "Zero", kSmall);
    h.tick();
    for (const auto& w : {accessory, prohibited, zeroPid, mavo}) EXPECT_FALSE(h.state(w));
    EXPECT_EQ(h.frame(noBundle), kPrimaryVisibleAX);
}

TEST(EngineTick, OnlyStandardVisibleMovableWindowsAreCandidates) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    std::vector<std::function<void(WindowFacts&)>> edits{
        [](WindowFacts& f) { f.role.clear(); },
        [](WindowFacts& f) { f.role = "AXSheet"; },
        [](WindowFacts& f) { f.subrole = "AXDialog"; },
        [](WindowFacts& f) { f.minimized = true; },
        [](WindowFacts& f) { f.fullScreen = true; },
        [](WindowFacts& f) { f.positionSettable = false; },
    };
    std::vector<WindowHandle> skipped;
    for (const auto& edit : edits) {
        skipped.push_back(h.addWindow(pid, "skipped", kSmall));
        h.server.change(skipped.back(), edit);
    }
    auto doc = h.addWindow(pid, "Doc", kSmall);
    h.tick();
    for (size_t i = 0; i < skipped.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_FALSE(h.state(skipped[i]));
        EXPECT_EQ(h.server.writeCount(skipped[i]), 0u);
    }
    EXPECT_EQ(h.frame(doc), kPrimaryVisibleAX);

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

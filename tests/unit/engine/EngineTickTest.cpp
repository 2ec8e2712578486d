// Which applications and windows a tick hands to the decision, and what it does after the walk.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kEditor = "com.example.editor";
const Rect kSmall{300, 150, 800, 600};

TEST(EngineTick, PausedFirstTickStillUsesUpTheFirstTickFlag) {
    EngineHarness h;
    h.defaults.set("maximizeExistingOnStartup", false);
    h.launch();
    auto w = h.addWindow(h.addApp(kEditor), "Doc", kSmall);
    h.engine->setPaused(true);
    h.tick();
    EXPECT_EQ(h.engine->trackedWindowCount(), 0u);

    // Unpaused, the window is met on what is no longer the first tick: maximized, not left as
    // an existing window.
    h.engine->setPaused(false);
    h.step();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    EXPECT_EQ(h.engine->tickCount(), 2);
}

TEST(EngineTick, ForcedTickRunsWhilePaused) {
    EngineHarness h;
    h.launch();
    auto w = h.addWindow(h.addApp(kEditor), "Doc", kSmall);
    h.engine->setPaused(true);
    h.tick(true);
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
}

TEST(EngineTick, OnlyRegularApplicationsOtherThanMavoItself) {
    EngineHarness h;
    h.launch();
    auto accessory =
        h.addWindow(h.addApp("com.example.agent", ActivationPolicy::accessory), "Agent", kSmall);
    auto prohibited =
        h.addWindow(h.addApp("com.example.daemon", ActivationPolicy::prohibited), "Daemon", kSmall);
    auto self = h.addWindow(h.addApp("com.quastorn.mavo"), "Mavo", kSmall);
    auto noBundle = h.addWindow(h.addApp(""), "Script", kSmall);
    h.addAppWithPid(0, std::string("com.example.zero"));
    auto zeroPid = h.addWindow(0, "Zero", kSmall);
    h.tick();

    for (const auto& w : {accessory, prohibited, self, zeroPid}) {
        EXPECT_FALSE(h.state(w));
        EXPECT_TRUE(h.server.writesTo(w).empty());
    }
    // An application without a bundle id is handled under "", never mistaken for Mavo.
    EXPECT_EQ(h.frame(noBundle), kPrimaryVisibleAX);
}

TEST(EngineTick, AppWithoutBundleIdIsNotMavoEvenWhenMavoHasNoBundleId) {
    EngineHarness h({primary1080()}, "");
    h.launch();
    auto w = h.addWindow(h.addApp(""), "Script", kSmall);
    h.tick();
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
    // Without a bundle id nothing is persisted or learnt.
    EXPECT_FALSE(h.engine->placementKey("", 1, "Script"));
}

TEST(EngineTick, OnlyStandardVisibleMovableWindowsAreCandidates) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto noRole = h.addWindow(pid, "no role", kSmall);
    h.server.change(noRole, [](WindowFacts& f) { f.role.clear(); });
    auto sheet = h.addWindow(pid, "sheet", kSmall);
    h.server.change(sheet, [](WindowFacts& f) { f.role = "AXSheet"; });
    auto dialog = h.addWindow(pid, "dialog", kSmall);
    h.server.change(dialog, [](WindowFacts& f) { f.subrole = "AXDialog"; });
    auto minimized = h.addWindow(pid, "minimized", kSmall);
    h.server.change(minimized, [](WindowFacts& f) { f.minimized = true; });
    auto fullScreen = h.addWindow(pid, "full screen", kSmall);
    h.server.change(fullScreen, [](WindowFacts& f) { f.fullScreen = true; });
    auto pinned = h.addWindow(pid, "pinned", kSmall);
    h.server.change(pinned, [](WindowFacts& f) { f.positionSettable = false; });
    auto doc = h.addWindow(pid, "Doc", kSmall);
    h.tick();

    for (const auto& w : {noRole, sheet, dialog, minimized, fullScreen, pinned}) {
        EXPECT_FALSE(h.state(w));
        EXPECT_TRUE(h.server.writesTo(w).empty());
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
    ASSERT_TRUE(h.engine->excludesBundleID("Notes"));
    h.engine->toggleExclusion(kEditor);

    auto textEdit = h.addWindow(h.addApp("Notes"), "Untitled", kSmall);
    auto editor = h.addWindow(h.addApp(kEditor), "Doc", kSmall);
    h.tick();
    // The built-in exclusion comes back top-centred in top-center mode; the user's does not.
    EXPECT_EQ(h.frame(textEdit), (Rect{(1920 - 0.62 * 1920) * 0.5, 27, 0.62 * 1920, 0.8 * 1055}));
    EXPECT_FALSE(h.state(editor));

    // Without top-center mode the built-in exclusion is skipped and forgotten.
    h.engine->setTopCenterMode(false);
    h.step();
    EXPECT_FALSE(h.state(textEdit));

    // An excluded app on the top-center list is top-centred all the same.
    h.engine->toggleTopCenter(kEditor);
    h.step();
    EXPECT_EQ(h.frame(editor), (Rect{(1920 - 0.62 * 1920) * 0.5, 27, 0.62 * 1920, 0.8 * 1055}));
}

TEST(EngineTick, FocusEligibilityExcludesCellSnapApplications) {
    EngineHarness h({makeScreen({0, 0, 2560, 1440}, "BIG", 25, 0, false, 600)});
    h.launch();
    auto term = h.addWindow(h.addApp("Terminal"), "zsh", kSmall);
    auto reader = h.addWindow(h.addApp("com.example.reader"), "Article", kSmall);
    h.tick();
    EXPECT_EQ(h.frame(term), (Rect{0, 25, 2560, 1415}));
    EXPECT_EQ(h.frame(reader)->width, 1280);
}

TEST(EngineTick, VanishedAndNoLongerEligibleWindowsAreForgotten) {
    EngineHarness h;
    h.launch();
    int32_t pid = h.addApp(kEditor);
    auto closed = h.addWindow(pid, "closed", kSmall);
    auto minimized = h.addWindow(pid, "minimized", kSmall);
    auto kept = h.addWindow(pid, "kept", kSmall);
    int32_t other = h.addApp("com.example.other");
    auto excluded = h.addWindow(other, "excluded", kSmall);
    h.tick();
    EXPECT_EQ(h.engine->trackedWindowCount(), 4u);

    h.server.removeWindow(closed);
    h.server.change(minimized, [](WindowFacts& f) { f.minimized = true; });
    h.engine->toggleExclusion("com.example.other");
    h.step();
    EXPECT_EQ(h.engine->trackedWindowCount(), 1u);
    EXPECT_TRUE(h.state(kept));
    EXPECT_FALSE(h.state(excluded));

    // A paused tick prunes nothing.
    h.engine->setPaused(true);
    h.server.removeWindow(kept);
    h.step();
    EXPECT_EQ(h.engine->trackedWindowCount(), 1u);
}

TEST(EngineTick, WindowOnNoDisplayIsTheUsers) {
    EngineHarness h(std::vector<ScreenInfo>{});
    h.launch();
    auto w = h.addWindow(h.addApp(kEditor), "Doc", kSmall);
    h.tick();
    h.step();
    ASSERT_TRUE(h.state(w));
    EXPECT_EQ(h.state(w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(), 0u);
}

TEST(EngineTick, TimerTicksFirstAfterPointThreeSecondsThenEveryThreeQuarters) {
    EngineHarness h;
    h.launch();
    auto began = std::chrono::steady_clock::now();
    h.engine->start();
    auto seconds = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    };
    auto waitForTicks = [&](int n) {
        while (h.engine->tickCount() < n && seconds() < 5.0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return seconds();
    };
    double first = waitForTicks(1);
    double second = waitForTicks(2);
    double third = waitForTicks(3);
    EXPECT_GE(first, 0.3);
    EXPECT_LT(first, 0.7);
    EXPECT_GE(second - first, 0.6);
    EXPECT_LT(second - first, 1.0);
    EXPECT_NEAR(third - first, 1.5, 0.2);  // the period does not drift
}

TEST(EngineTick, TimerHoldsTheEngineWeakly) {
    EngineHarness h;
    h.launch();
    h.engine->start();
    std::this_thread::sleep_for(std::chrono::milliseconds(350));
    std::weak_ptr<MaximizeEngine> weak = h.engine;
    h.dropEngineAndWait();  // a tick in progress may hold it a little longer
    EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace mavo::test

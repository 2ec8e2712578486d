// Stories of the two menu actions that make the engine start over on every window.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(BulkActionsScenario, MaximizeAllNowForgetsOnlyThisArrangementsPlacements) {
    EngineHarness h;
    h.launch();
    auto doc = h.open(kEditor);
    auto shell = h.open("org.example.term", {300, 200, 700, 500}, "bash");
    h.server.setResizeBehaviour(shell, ResizeBehaviour::cells(9, 18, 2, 24));
    h.tickAndStep(2.5);  // the terminal's cell fit is remembered
    h.handMoveAndSettle(doc, {144, 25, 1632, 1055});
    h.store->put("EXT+PRIMARY|com.example.editor|", *h.store->get("PRIMARY|com.example.editor|"));

    h.server.setFrame(shell, {300, 200, 700, 500});
    h.server.clearWrites();
    h.engine->maximizeAllNow();
    h.engine->drain();
    EXPECT_EQ(h.frame(doc), kPrimaryVisibleAX);
    EXPECT_EQ(h.state(doc)->reassertStamps.size(), 1u);  // a fresh state
    // What applications accept is not forgotten: the terminal is asked for its fit at once.
    EXPECT_EQ(h.server.writes(shell), "(0,25) 1919×1050 (0,25) ");
    EXPECT_EQ(h.store->count(), 1u);
    EXPECT_TRUE(h.store->get("EXT+PRIMARY|com.example.editor|"));
}

TEST(BulkActionsScenario, ReevaluateAllMeetsEveryWindowAfresh) {
    EngineHarness h({makeScreen({0, 0, 2560, 1440}, "BIG", 25, 0, false, 600)});
    h.launch();
    h.engine->settings().setFocusSizeBigDisplays(false);
    int32_t pid = h.addApp("com.example.reader");
    auto w = h.addWindow(pid, "Article", {100, 100, 800, 600});
    auto half = h.addWindow(pid, "Half", {0, 25, 1280, 1415});
    h.tick();
    EXPECT_EQ(h.frame(w), (Rect{0, 25, 2560, 1415}));

    // The menu turns the focus size on and asks for a fresh look.
    h.engine->settings().setFocusSizeBigDisplays(true);
    h.engine->reevaluateAll();
    h.engine->drain();
    EXPECT_EQ(h.frame(w)->width, 1280);
    // A window in a zone is still the user's.
    EXPECT_EQ(h.state(half)->disposition, Disposition::userArranged);
}

TEST(BulkActionsScenario, BulkActionsHoldTheEngineWeakly) {
    for (int i = 0; i < 30; ++i) {
        EngineHarness h;
        h.launch();
        h.open(kEditor);
        h.engine->maximizeAllNow();
        h.engine->reevaluateAll();
        h.engine->noteDisplayConfigChange();
        if (i % 2) h.engine->start();
        std::this_thread::sleep_for(std::chrono::milliseconds(i * 10 % 400));
        // Let go while its blocks or timer may run, as a last owner would: it must be gone before
        // the fakes it uses are, whether before, during or after its blocks run.
        std::weak_ptr<MaximizeEngine> weak = h.engine;
        h.engine.reset();
        while (!weak.expired()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace
}  // namespace mavo::test

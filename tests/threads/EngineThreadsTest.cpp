#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(EngineThreads, MenuTogglesAgainstTimerTicksAndBulkActions) {
    const std::vector<ScreenInfo> big = {primary1080(),
                                         rightOf(primary1080(), 2560, 1440, "BIG", 0)};
    EngineHarness h(big);
    h.workspace.addInstalled("Notes", "Notes");
    h.launch();
    std::vector<std::string> apps = {"com.example.a", "com.example.b", "Notes", "Terminal"};
    std::vector<WindowHandle> windows;
    for (const auto& bid : apps) {
        int32_t pid = h.addApp(bid);
        windows.push_back(h.addWindow(pid, bid + " 1", {100, 100, 800, 600}));
        windows.push_back(h.addWindow(pid, bid + " 2", {2100, 100, 900, 700}));
    }
    h.server.setResizeBehaviour(windows[1], ResizeBehaviour::fightsBack(1));
    h.server.setResizeBehaviour(windows[2], ResizeBehaviour::overshoot(3, 2));
    h.server.setResizeBehaviour(windows[3], ResizeBehaviour::fixedSize());
    h.engine->start();

    std::atomic<bool> stop{false};
    std::thread menu([&] {
        for (int i = 0; !stop; ++i) {
            const std::string& bid = apps[i % apps.size()];
            EngineSettings& s = h.engine->settings();
            s.toggleExclusion(bid);
            s.toggleTopCenter(bid);
            s.toggleMaximizeApp(bid);
            s.setPaused(i % 7 == 0);
            s.persistPaused();
            s.setTopCenterMode(i % 3 != 0);
            s.setFocusSizeBigDisplays(i % 2 == 0);
            s.persistFocusSizeBigDisplays();
            (void)s.cannotFillCount();  // the engine writes it
            if (i % 25 == 0) h.engine->reevaluateAll();
            if (i % 40 == 0) h.engine->maximizeAllNow();
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    std::thread hand([&] {
        for (int i = 0; !stop; ++i) {
            h.input.press();
            h.server.setFrame(windows[i % windows.size()], {200.0 + i % 50, 150, 1000, 700});
            h.input.drag();
            h.input.release();
            if (i % 5 == 0) h.input.keyPress();
            h.clock.advance(0.05);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    std::thread displays([&] {
        for (int i = 0; !stop; ++i) {
            h.setScreens(i % 2 ? big : std::vector{primary1080()});
            h.engine->noteDisplayConfigChange();
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
        }
    });
    for (int i = 0; i < 150; ++i) {
        h.engine->tickAndWait(i % 2 == 0);
        (void)h.engine->trackedWindowCount();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    stop = true;
    for (auto* t : {&menu, &hand, &displays}) t->join();
    h.engine->drain();

    EXPECT_GE(h.engine->tickCount(), 150);
    EXPECT_GT(h.engine->settings().windowsMaximizedCount(), 0);
}

}  // namespace
}  // namespace mavo::test

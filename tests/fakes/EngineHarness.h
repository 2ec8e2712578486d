#pragma once

// EngineHarness: one user's machine for the engine, made of fakes, with a real placement store in a
// temporary folder and the diagnostic log in memory. One 1920×1080 display unless given; launch()
// creates the engine without its timer, so the test ticks by hand.

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "engine/DragMonitor.h"
#include "engine/MaximizeEngine.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeEventTracker.h"
#include "fakes/FakeInputSource.h"
#include "fakes/FakeUserDefaults.h"
#include "fakes/FakeWindowList.h"
#include "fakes/FakeWindowServer.h"
#include "fakes/FakeWorkspace.h"
#include "geometry/ScreenCache.h"
#include "placements/PlacementStore.h"

namespace mavo {

inline void PrintTo(const Rect& r, std::ostream* os) {
    *os << "(" << r.x << "," << r.y << " " << r.width << "x" << r.height << ")";
}

}  // namespace mavo

namespace mavo::test {

using Lines = std::vector<std::string>;
inline const std::string kEditor = "com.example.editor";
// The visible frame of primary1080(), top-left origin: below the 25-point menu bar.
inline constexpr Rect kPrimaryVisibleAX{0, 25, 1920, 1055};

class EngineHarness {
  public:
    explicit EngineHarness(std::vector<ScreenInfo> screenList = {primary1080()}) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "mavo-engine-XXXXXX").string();
        if (char* made = mkdtemp(pattern.data())) dir = made;
        setScreens(std::move(screenList));
        store = std::make_unique<PlacementStore>(dir / "Mavo");
        drag.start(input);
    }
    ~EngineHarness() {
        if (engine) engine->stop();
        engine.reset();
        store.reset();
        std::error_code ec;
        if (!dir.empty()) std::filesystem::remove_all(dir, ec);
    }
    EngineHarness(const EngineHarness&) = delete;
    EngineHarness& operator=(const EngineHarness&) = delete;

    FakeClock clock;
    FakeWindowServer server;
    AX ax{server};
    FakeWorkspace workspace;
    FakeDisplaySource displays;
    ScreenCache screens{&displays};
    FakeWindowList windowList;
    FakeEventTracker events;
    FakeUserDefaults defaults;
    FakeInputSource input{clock};
    DragMonitor drag{clock};
    std::filesystem::path dir;
    std::unique_ptr<PlacementStore> store;
    std::shared_ptr<MaximizeEngine> engine;
    BuiltInApps builtIns{
        {"Calculator", "Chat", "Home", "Notes"}, {"Browser"}, {"Console", "Terminal"}};

    MaximizeEngine& launch() {
        EngineEnvironment env{ax,      workspace, screens, *store,     drag,
                              events,  defaults,  clock,   windowList, "com.quastorn.mavo",
                              builtIns};
        env.log = [this](const std::string& line) {
            std::lock_guard<std::mutex> lock(logMutex_);
            log_.push_back(line);
        };
        engine = MaximizeEngine::create(std::move(env));
        engine->loadPrefs();
        return *engine;
    }
    // Quit and start again: pending placements are written at exit, then a new engine and store
    // read them. Windows and displays stay as they are.
    MaximizeEngine& relaunch() {
        engine->stop();
        engine.reset();
        store->flushNow();
        store = std::make_unique<PlacementStore>(dir / "Mavo");
        return launch();
    }

    // The display list changes and the screen cache takes its snapshot, as the shell does.
    void setScreens(std::vector<ScreenInfo> list) {
        displays.setScreens(std::move(list));
        screens.refresh();
    }
    void changeDisplays(std::vector<ScreenInfo> list) {
        setScreens(std::move(list));
        engine->noteDisplayConfigChange();
        engine->drain();
    }

    int32_t addApp(const std::string& bid, ActivationPolicy policy = ActivationPolicy::regular) {
        workspace.addRunning(
            {nextPid_, bid.empty() ? std::nullopt : std::optional(bid), std::nullopt, policy});
        return nextPid_++;
    }
    WindowHandle addWindow(int32_t pid, const std::string& title, const Rect& frame) {
        return server.addWindow(pid, title, frame);
    }
    // A window of a new application.
    WindowHandle open(const std::string& bid, const Rect& frame = {200, 150, 800, 600},
                      const std::string& title = "Doc") {
        return addWindow(addApp(bid), title, frame);
    }

    void tick(bool force = false) { engine->tickAndWait(force); }
    // A window's first tick, then one that sees it settled.
    void tickAndStep(double seconds = 0.75) { tick(), step(seconds); }
    void advance(double seconds) { clock.advance(seconds); }
    // One timer period (or `seconds`) later, the next tick; `times` over.
    void step(double seconds = 0.75, int times = 1) {
        for (int i = 0; i < times; ++i) advance(seconds), tick();
    }
    // The writes made over `ticks` more periods.
    size_t writesOver(int ticks) {
        server.clearWrites();
        step(0.75, ticks);
        return server.writeCount();
    }

    // The user drags or resizes the window with the mouse and lets go.
    void handMove(const WindowHandle& w, const Rect& frame) {
        input.press();
        server.setFrame(w, frame);
        input.drag();
        input.release();
    }
    // A hand move just before a tick, then the tick that sees it settled (0.85 s after the hand
    // let go, inside the 1.2 s in which a change still counts as the hand's).
    void handMoveAndSettle(const WindowHandle& w, const Rect& frame) {
        handMove(w, frame);
        step(0.1);
        step();
    }

    std::optional<Rect> frame(const WindowHandle& w) const { return server.frameOf(w); }
    std::optional<ManagedState> state(const WindowHandle& w) { return engine->windowState(w); }

    // The diagnostic log's lines that start with `prefix`, from line `from` on.
    Lines log(const std::string& prefix = "", size_t from = 0) const {
        std::lock_guard<std::mutex> lock(logMutex_);
        Lines out;
        for (size_t i = from; i < log_.size(); ++i)
            if (log_[i].rfind(prefix, 0) == 0) out.push_back(log_[i]);
        return out;
    }
    size_t logMark() const { return log().size(); }

  private:
    mutable std::mutex logMutex_;  // the engine logs from its queue
    std::vector<std::string> log_;
    int32_t nextPid_ = 100;
};

}  // namespace mavo::test

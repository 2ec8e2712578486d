#pragma once

// EngineHarness: one user's machine for the engine, made of fakes. A scripted window server,
// workspace and displays, a clock that moves only when told, a fake mouse and keyboard, settings
// in memory, a real placement store in a temporary folder and the diagnostic log in memory.
//
//   EngineHarness h;                      // one 1920×1080 display, visible frame (0,25 1920×1055)
//   h.launch();                           // engine created, settings loaded (no timer)
//   auto pid = h.addApp("com.example.editor");
//   auto w = h.addWindow(pid, "Doc", {100, 100, 800, 600});
//   h.tick();  h.step();                  // one tick; advance 0.75 s then tick
//   h.handMove(w, {...});                 // press, move/resize, release: the user's hand
//   h.logLines();  h.placementFile();  h.state(w);  h.frame(w);
//   h.relaunch();                         // pending placements written, a new engine and store

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

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

// Readable failure messages for the engine's value types.
inline void PrintTo(const Rect& r, std::ostream* os) {
    *os << "(" << r.x << "," << r.y << " " << r.width << "x" << r.height << ")";
}
inline void PrintTo(const Size& s, std::ostream* os) {
    *os << s.width << "x" << s.height;
}
inline void PrintTo(const Point& p, std::ostream* os) {
    *os << "(" << p.x << "," << p.y << ")";
}
inline void PrintTo(Disposition d, std::ostream* os) {
    *os << rawValue(d);
}

}  // namespace mavo

namespace mavo::test {

class EngineHarness {
  public:
    explicit EngineHarness(std::vector<ScreenInfo> screenList = {primary1080()},
                           std::string selfBundleID = "com.quastorn.mavo")
        : selfBundleID_(std::move(selfBundleID)) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "mavo-engine-XXXXXX").string();
        if (char* made = mkdtemp(pattern.data())) dir = made;
        setScreens(std::move(screenList));
        store = std::make_unique<PlacementStore>(dir / "Mavo");
        drag.start(input);
    }

    ~EngineHarness() {
        releaseEngine();
        store.reset();
        std::error_code ec;
        if (!dir.empty()) std::filesystem::remove_all(dir, ec);
    }

    EngineHarness(const EngineHarness&) = delete;
    EngineHarness& operator=(const EngineHarness&) = delete;

    // ---- the machine -------------------------------------------------------------------------

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

    // The tests' own built-in lists.
    BuiltInApps builtIns{
        {"Calculator", "Chat", "Home", "Notes"}, {"Browser"}, {"Console", "Terminal"}};

    EngineEnvironment environment() {
        EngineEnvironment env{ax,       workspace, screens,    *store,        drag,    events,
                              defaults, clock,     windowList, selfBundleID_, builtIns};
        env.log = [this](const std::string& line) {
            std::lock_guard<std::mutex> lock(logMutex_);
            log_.push_back(line);
        };
        return env;
    }

    // A new engine with the settings loaded, as at application launch (the timer is not started:
    // the test ticks by hand).
    MaximizeEngine& launch() {
        engine = MaximizeEngine::create(environment());
        engine->loadPrefs();
        return *engine;
    }

    // Quit and start again: pending placements are written at termination, then a new process
    // reads them with a fresh engine and store. Windows and displays stay as they are.
    MaximizeEngine& relaunch() {
        releaseEngine();
        store->flushNow();
        store = std::make_unique<PlacementStore>(dir / "Mavo");
        return launch();
    }

    // Stops the engine's timer, waits for its queue, and lets go of it: it is gone on return.
    void releaseEngine() {
        if (engine) engine->stop();
        engine.reset();
    }

    // Lets go of the engine while its timer may be running, as a last owner going away would: a
    // tick in progress keeps it alive until the tick ends, and then it is freed on its own queue.
    // Waits until it is gone, since it must not outlive the fakes it uses.
    void dropEngineAndWait() {
        std::weak_ptr<MaximizeEngine> weak = engine;
        engine.reset();
        while (!weak.expired()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    // The platform's display list changes, and the screen cache takes its snapshot, as the
    // application shell does before it tells the engine.
    void setScreens(std::vector<ScreenInfo> list) {
        displays.setScreens(std::move(list));
        screens.refresh();
    }

    // A display change as the application shell reports it.
    void changeDisplays(std::vector<ScreenInfo> list) {
        setScreens(std::move(list));
        engine->noteDisplayConfigChange();
        engine->drain();
    }

    int32_t addApp(const std::string& bid, ActivationPolicy policy = ActivationPolicy::regular) {
        int32_t pid = nextPid_++;
        addAppWithPid(pid, bid.empty() ? std::nullopt : std::optional<std::string>(bid), policy);
        return pid;
    }

    void addAppWithPid(int32_t pid, std::optional<std::string> bid,
                       ActivationPolicy policy = ActivationPolicy::regular) {
        workspace.addRunning({pid, std::move(bid), std::nullopt, policy});
    }

    WindowHandle addWindow(int32_t pid, const std::string& title, const Rect& frame) {
        return server.addWindow(pid, title, frame);
    }

    // ---- time and the user's hand ------------------------------------------------------------

    void tick(bool force = false) { engine->tickAndWait(force); }
    void advance(double seconds) { clock.advance(seconds); }
    // One timer period later, the next tick.
    void step(double seconds = 0.75) {
        advance(seconds);
        tick();
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

    // ---- what the user's machine shows -------------------------------------------------------

    std::vector<std::string> logLines() const {
        std::lock_guard<std::mutex> lock(logMutex_);
        return log_;
    }

    // A mark to read only the lines written after it.
    size_t logMark() const { return logLines().size(); }
    std::vector<std::string> linesSince(size_t mark) const {
        auto lines = logLines();
        return {lines.begin() + static_cast<std::ptrdiff_t>(std::min(mark, lines.size())),
                lines.end()};
    }

    // Lines that begin with `prefix`.
    std::vector<std::string> linesStartingWith(const std::string& prefix, size_t mark = 0) const {
        std::vector<std::string> out;
        for (const auto& line : linesSince(mark))
            if (line.rfind(prefix, 0) == 0) out.push_back(line);
        return out;
    }

    std::filesystem::path placementPath() const { return dir / "Mavo" / "placements.json"; }

    // The placement file as it is on disk now; nothing when it does not exist or is not JSON.
    std::optional<nlohmann::json> placementFile() const {
        std::ifstream in(placementPath());
        if (!in) return std::nullopt;
        auto doc = nlohmann::json::parse(in, nullptr, false);
        if (doc.is_discarded()) return std::nullopt;
        return doc;
    }

    // Waits (real time) until the placement file exists and satisfies `ready`.
    template <typename Pred>
    std::optional<nlohmann::json> waitForPlacementFile(Pred ready, double seconds = 5.0) const {
        auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                            std::chrono::duration<double>(seconds));
        while (std::chrono::steady_clock::now() < deadline) {
            auto doc = placementFile();
            if (doc && ready(*doc)) return doc;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return std::nullopt;
    }

  private:
    std::string selfBundleID_;
    mutable std::mutex logMutex_;  // the engine logs from its queue
    std::vector<std::string> log_;
    int32_t nextPid_ = 100;
};

// The visible frame of primary1080() in accessibility coordinates: below the 25-point menu bar.
inline constexpr Rect kPrimaryVisibleAX{0, 25, 1920, 1055};

}  // namespace mavo::test

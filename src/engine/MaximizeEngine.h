#pragma once

// Public contract of the engine as the menu, the application shell and the tests use it. The
// engine's owner may add private members and helpers, but these operations keep their names.

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "analytics/EventTracker.h"
#include "common/Clock.h"
#include "common/LogSink.h"
#include "common/SerialQueue.h"
#include "common/UserDefaults.h"
#include "engine/BuiltInApps.h"
#include "engine/Decide.h"
#include "engine/DragMonitor.h"
#include "engine/EngineSettings.h"
#include "engine/EngineTypes.h"
#include "geometry/ScreenCache.h"
#include "placements/PlacementStore.h"
#include "windowaccess/AX.h"
#include "windowaccess/WindowListSource.h"
#include "windowaccess/Workspace.h"

namespace mavo {

// Everything the engine reaches outside itself, injected so tests can run it on fakes.
struct EngineEnvironment {
    AX& ax;
    Workspace& workspace;
    ScreenCache& screens;
    PlacementStore& store;
    DragMonitor& drag;
    EventTracker& events;
    UserDefaults& defaults;
    const Clock& clock;
    WindowListSource& windowList;
    std::string selfBundleID;
    BuiltInApps builtIns{};  // none unless the platform supplies its lists
    LogSink log{};           // the diagnostic log; none keeps the engine quiet
};

// Keeps ordinary windows maximized to their display's visible frame, except those the user
// arranged by hand. Ticks and bulk actions run on its own serial queue; the menu's settings live
// in an EngineSettings it owns.
class MaximizeEngine : public std::enable_shared_from_this<MaximizeEngine> {
  public:
    static constexpr const char* queueLabel = "com.quastorn.mavo.engine";
    static constexpr EngineTunables tunables{};

    // Blocks handed to the engine queue hold the engine weakly, so it lives in a shared_ptr.
    static std::shared_ptr<MaximizeEngine> create(EngineEnvironment env);
    ~MaximizeEngine();

    void loadPrefs();
    void start();  // first tick after 0.3 s, then every 0.75 s

    // The menu's settings, which the engine reads once per pass, and the counts it reports.
    EngineSettings& settings() { return settings_; }

    // Steering from outside the timer; each returns at once and runs on the engine queue.
    void noteDisplayConfigChange();
    void reevaluateAll();
    void maximizeAllNow();
    // A window appeared: the windows not seen yet are judged at once, by every rule of the tick,
    // rather than on the next tick. Passes asked for while one is queued are folded into it.
    void evaluateNewWindows();

    // Runs one tick on the engine queue and waits for it (tests and the end-to-end sync barrier).
    void tickAndWait(bool force = false);
    // Waits until every block queued on the engine queue so far has run.
    void drain();
    // Stops the timer, cuts a tick in progress short after the window it is on, and waits for the
    // queue to go idle; the engine does nothing more. Used at termination, so that a long tick
    // cannot hold the process up, and by tests to let go of the engine deterministically.
    void stop();

    // Inspection for tests and diagnostics; each hops onto the engine queue and waits.
    std::optional<ManagedState> windowState(const WindowHandle& window);
    size_t trackedWindowCount();
    std::set<std::string> cellSnapAppsSnapshot();
    std::optional<Rect> bestFitFor(const std::string& bid, const Rect& target);
    bool maximizeExistingOnStartup();
    // Ticks run so far (timer and forced), for checking the timer's cadence.
    int tickCount() const;
    // The key a window's placement is stored under with the current displays.
    std::optional<std::string> placementKey(const std::string& bid, int windowCount,
                                            const std::string& title) const;

  private:
    explicit MaximizeEngine(EngineEnvironment env);

    // A window worth evaluating, with what its application's settings say about it.
    // What it was seen to be when the pass listed it is what the pass judges.
    struct Candidate {
        WindowHandle window;
        WindowFacts facts;
        std::string bid;
        int windowCount;
        bool topCenter, focusEligible, wideFocus, cellSnap;
    };
    // What a pass reads once for every window it judges.
    struct Pass {
        bool firstTick, force, mouseDown;
        double secondsSinceDrag;
        bool recentlyKeyed;
    };
    std::vector<Candidate> candidates(const EngineSettings::Snapshot& settings);
    Pass beginPass(bool firstTick, bool force) const;
    void tick(bool force);
    // Observes one window, decides, and carries out the decision's effects in order.
    void evaluate(Candidate& c, const Pass& pass);
    void perform(const Effect& effect, const Candidate& c, const Observation& seen,
                 ManagedState& state);

    void applyMaximize(const WindowHandle& element, const Rect& target, ManagedState& state,
                       const std::string& bid, bool isCustomRestore);
    void rememberBestFit(const Rect& accepted, const std::string& bid, const Rect& target);
    void probeCannotFill(const WindowHandle& element, const Rect& frame, const std::string& reason);
    // The placement remembered for the window under the displays attached now, in one look-up.
    void lookUpRemembered(Observation& seen, const std::string& bid, int windowCount) const;

    void diag(const std::string& line) const {
        if (env_.log) env_.log(line);
    }

    // One hop onto the engine queue that holds the engine weakly.
    void submit(void (*work)(MaximizeEngine&));

    EngineEnvironment env_;
    EngineSettings settings_;

    // Engine-queue confined.
    std::unordered_map<WindowKey, ManagedState, WindowKeyHash> states_;
    std::unordered_map<BestFitKey, Rect, BestFitKeyHash> bestFitMemory_;
    std::set<std::string> cellSnapApps_;
    bool firstTick_ = true;
    // A window seen the moment it appeared may still be settling on its own size; an apply then
    // that does not land as asked proves nothing, and the next tick judges the window afresh.
    bool firstSight_ = false, firstSightMissed_ = false;
    double reconfiguringUntil_ = 0;
    bool wasReconfiguring_ = false;
    bool maximizeExistingOnStartup_ = true;
    std::unique_ptr<Timer> timer_;
    std::atomic<int> ticks_{0};
    std::atomic<bool> firstSightQueued_{false};
    std::atomic<bool> stopping_{false};  // read between windows, so a tick ends soon after stop()
    bool stopped() const { return stopping_.load(std::memory_order_relaxed); }

    // Last, so that it stops (and joins its worker) before anything above is torn down.
    std::unique_ptr<SerialQueue> queue_;
};

}  // namespace mavo

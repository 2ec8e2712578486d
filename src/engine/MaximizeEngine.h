#pragma once

// Public contract of the engine as the menu, the application shell and the tests use it. The
// engine's owner may add private members and helpers, but these operations keep their names.

#include <memory>
#include <string>
#include <vector>

#include "analytics/EventTracker.h"
#include "common/Clock.h"
#include "common/UserDefaults.h"
#include "engine/DragMonitor.h"
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
};

class MaximizeEngine : public std::enable_shared_from_this<MaximizeEngine> {
public:
    // Blocks handed to the engine queue hold the engine weakly, so it lives in a shared_ptr.
    static std::shared_ptr<MaximizeEngine> create(EngineEnvironment env);
    ~MaximizeEngine();

    void loadPrefs();
    void start();  // first tick after 0.3 s, then every 0.75 s

    // Menu-side settings (main thread).
    bool paused() const;
    void setPaused(bool value);
    void persistPaused();
    bool excludesBundleID(const std::string& bid) const;
    std::vector<std::string> excludedBundleIDs() const;
    void toggleExclusion(const std::string& bid);
    bool topCenterMode() const;
    void setTopCenterMode(bool value);
    void persistTopCenterMode();
    bool topCentersBundleID(const std::string& bid) const;
    void toggleTopCenter(const std::string& bid);
    bool focusSizeBigDisplays() const;
    void setFocusSizeBigDisplays(bool value);
    void persistFocusSizeBigDisplays();
    bool maximizesBundleID(const std::string& bid) const;
    void toggleMaximizeApp(const std::string& bid);
    int cannotFillCount() const;
    int windowsMaximizedCount() const;

    // Steering from outside the timer; each returns at once and runs on the engine queue.
    void noteDisplayConfigChange();
    void reevaluateAll();
    void maximizeAllNow();

    // Runs one tick on the engine queue and waits for it (tests and the end-to-end sync barrier).
    void tickAndWait(bool force = false);
    // Waits until every block queued on the engine queue so far has run.
    void drain();

private:
    explicit MaximizeEngine(EngineEnvironment env);
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace mavo

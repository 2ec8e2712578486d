#pragma once

#include <functional>
#include <memory>
#include <string>

#include "analytics/EventTracker.h"
#include "app/LoginItem.h"
#include "app/ShellLoop.h"
#include "app/UpdaterController.h"
#include "engine/DragMonitor.h"
#include "engine/InputSource.h"
#include "engine/MaximizeEngine.h"
#include "geometry/DisplaySource.h"
#include "geometry/ScreenCache.h"
#include "placements/PlacementStore.h"
#include "windowaccess/AX.h"
#include "windowaccess/Permissions.h"

namespace mavo {

class StatusItemController;

// The analytics client as the shell drives it: started at launch, flushed at the end.
class AnalyticsControl : public EventTracker {
  public:
    virtual void start() = 0;
    virtual void flush() = 0;
};

// Builds the status-bar item and its menu for the engine. Called once at launch, after analytics
// has started and before the trust check; may answer nothing when there is no tray.
using StatusControllerFactory =
    std::function<std::shared_ptr<StatusItemController>(const std::shared_ptr<MaximizeEngine>&)>;

// The process-wide services the launch sequence wires together, each owned by the caller.
struct AppServices {
    AX& ax;
    DisplaySource& displays;
    ScreenCache& screens;
    ShellLoop& loop;
    DragMonitor& drag;
    InputSource& input;
    LoginItem& loginItem;
    Permissions& permissions;
    PlacementStore& store;
    AnalyticsControl& analytics;
    StatusControllerFactory makeStatusController;
};

// Owns the engine, the status controller and the updater for the life of the process, wires
// every subsystem together at launch and runs the termination handler.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
  public:
    // The engine is created here, before the loop runs, so that it exists before any event. It
    // writes into the diagnostic log unless its environment names another sink.
    static std::shared_ptr<AppDelegate> create(EngineEnvironment engineEnv, AppServices services);

    void applicationDidFinishLaunching();

    const std::shared_ptr<MaximizeEngine>& engine() const { return engine_; }
    StatusItemController* statusController() const { return statusController_.get(); }
    UpdaterController* updater() const { return updater_.get(); }

  private:
    AppDelegate(EngineEnvironment engineEnv, AppServices services);
    void applicationWillTerminate();

    AppServices services_;
    std::shared_ptr<MaximizeEngine> engine_;
    std::shared_ptr<StatusItemController> statusController_;
    std::unique_ptr<UpdaterController> updater_;
};

// One line of the launch's screen list, for example
// "screen[0] frame=(0.0, 0.0, 1920.0, 1080.0) visible=(0.0, 0.0, 1920.0, 1055.0) scale=1.0".
std::string screenLine(int index, const ScreenInfo& screen);
// A number in its shortest decimal form with at least one digit after the point ("1920.0").
std::string pointDecimal(double value);

}  // namespace mavo

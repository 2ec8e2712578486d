#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analytics/EventTracker.h"
#include "common/Timer.h"
#include "common/UserDefaults.h"
#include "engine/EngineSettings.h"
#include "geometry/DisplaySource.h"
#include "ui/EngineActions.h"
#include "ui/MenuModel.h"
#include "ui/RememberedPlacements.h"
#include "ui/StatusItem.h"
#include "windowaccess/Permissions.h"
#include "windowaccess/Workspace.h"

namespace mavo {

// Everything the status menu reaches outside itself. All of it is used on the main thread.
struct StatusControllerEnvironment {
    EngineSettings& settings;
    EngineActions engine;
    StatusItem& statusItem;
    Permissions& permissions;
    Workspace& workspace;
    LoginControl& login;
    EventTracker& events;
    UserDefaults& defaults;
    TimerScheduler& timers;
    PointerSource& pointer;
    DisplaySource& displays;
    std::string selfBundleID;
    std::optional<std::string> shortVersion;  // "Mavo <version>" row; nothing gives "Mavo "
    std::function<void()> terminate;          // "Quit Mavo"
    RememberedPlacements* placements;         // "Remembered Placements"; none leaves it out
    std::function<void()> showLog;            // "Show Diagnostic Log"; none leaves it out
};

// The status item's menu, icon and auto-hide. The menu is rebuilt from the live state each time
// it is about to open, so every title and check mark is current when the user sees it.
class StatusItemController {
  public:
    static constexpr const char* toolTip = "Mavo: auto-maximize windows";
    static constexpr const char* autoHideKey = "autoHideIcon";
    static constexpr const char* delayKey = "unhideDelay";

    explicit StatusItemController(StatusControllerEnvironment env);
    ~StatusItemController();
    StatusItemController(const StatusItemController&) = delete;
    StatusItemController& operator=(const StatusItemController&) = delete;

    // Menu delegate.
    const MenuModel& menuNeedsUpdate();
    const MenuModel& menu() const { return menu_; }
    void menuWillOpen();
    void menuDidClose();

    // Runs the row's action as if the user chose it. For the delay control the chosen value is
    // the item's `sliderValue`.
    void perform(const MenuItem& item);

    void togglePause();
    void maximizeAll();
    void grantAccessibility();
    void toggleExcludeFrontmost(const std::optional<std::string>& bid);
    void removeExclusion(const std::optional<std::string>& bid);
    void toggleLogin();
    void toggleAutoHide();
    void toggleTopCenterMode();
    void toggleTopCenterFrontmost(const std::optional<std::string>& bid);
    void toggleFocusSizeMode();
    void toggleMaximizeFrontmost(const std::optional<std::string>& bid);
    void delaySliderChanged(double value);
    void forgetPlacement(const std::optional<std::string>& key);
    void forgetAllPlacements();
    void quit();

    // Whether a tray shows the item at the moment.
    bool trayPresent() const { return env_.statusItem.hasHost(); }

    void refreshIcon();
    const std::string& lastIconName() const { return lastIconName_; }

    std::optional<std::string> appName(const std::string& bundleID);

    // Auto-hide.
    void updateAutoHide();
    void evaluateVisibility();
    bool menuIsOpen() const { return menuIsOpen_; }
    bool hasPendingShow() const { return pendingUnhideTimer_ != nullptr; }
    bool hasPendingHide() const { return pendingHideTimer_ != nullptr; }
    bool isHovering();

    // The text of the delay's value label as last set.
    const std::string& delayValueText() const { return delayValueLabel_; }
    static std::string formatDelay(double seconds);

  private:
    void buildFrontmostRows(MenuModel& menu);
    void buildPlacementRows(MenuModel& menu);
    void cancelPendingShow();
    void cancelPendingHide();
    void show();
    void hide();

    StatusControllerEnvironment env_;
    std::unique_ptr<Timer> iconTimer_;
    std::string lastIconName_;
    std::vector<std::unique_ptr<PointerMonitor>> hideMonitors_;
    bool menuIsOpen_ = false;
    std::unique_ptr<Timer> pendingUnhideTimer_;
    std::unique_ptr<Timer> pendingHideTimer_;
    std::string delayValueLabel_;
    MenuModel menu_;
};

}  // namespace mavo

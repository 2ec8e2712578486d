#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "analytics/EventTracker.h"
#include "app/LoginItem.h"
#include "common/UserDefaults.h"
#include "engine/MaximizeEngine.h"
#include "geometry/DisplaySource.h"
#include "geometry/Rect.h"
#include "ui/RememberedPlacements.h"
#include "ui/StatusItemController.h"
#include "windowaccess/Permissions.h"
#include "windowaccess/Workspace.h"

namespace mavo {

// What the tray needs from the rest of the Linux application, all used on the main loop.
struct LinuxTrayServices {
    Permissions& permissions;
    Workspace& workspace;
    LoginItem& loginItem;
    EventTracker& events;
    UserDefaults& defaults;
    DisplaySource& displays;
    // Where the pointer is, in the displays' bottom-left convention; nothing when unknown.
    std::function<std::optional<Point>()> pointerLocation;
    std::function<void()> terminate;
    std::string selfBundleID;
    std::optional<std::string> shortVersion;
    // Folder holding hicolor/symbolic/apps/com.quastorn.mavo-symbolic.svg; empty means look for it
    // (iconThemePath()).
    std::string iconThemePath;
    RememberedPlacements* placements;
    // Opens the diagnostic log; none opens it with the desktop's default application.
    std::function<void()> showLog;
};

// Mavo's tray: the StatusNotifierItem, its dbusmenu menu and the controller that fills both.
// The returned controller keeps everything else alive; dropping it removes the item from the bus.
std::shared_ptr<StatusItemController> makeLinuxStatusController(
    const std::shared_ptr<MaximizeEngine>& engine, LinuxTrayServices services);

// Opens `path` with the desktop's default application for it; false (and a diagnostic line) when
// none could be started.
bool openWithDefaultApplication(const std::string& path);

// Where Mavo's icons are: $MAVO_ICON_THEME_PATH, else "share/icons" beside the executable (the
// build tree), else "../share/icons" from it (an installed prefix), else the build tree's own
// copy. "" when none holds them.
std::string iconThemePath();

}  // namespace mavo

#pragma once

// Running applications of an X11 session: the window manager's clients grouped by class and
// process (see X11Applications.h). An application's bundle id is the class part of WM_CLASS
// ("XTerm", "firefox").
// Installed applications come from a lookup the app shell passes in, normally the desktop files:
//
//     X11Workspace workspace(*x11, [](const std::string& bid) { return DesktopApps::name(bid); });
//
// Safe to call from any thread.

#include <functional>
#include <optional>
#include <string>

#include "platform/x11/X11Connection.h"
#include "windowaccess/Workspace.h"

namespace mavo {

class X11Workspace : public Workspace {
  public:
    // The display name of the installed application with this bundle id, if there is one.
    using InstalledAppLookup = std::function<std::optional<std::string>(const std::string&)>;

    explicit X11Workspace(X11Connection& x11, InstalledAppLookup installed = {})
        : x11_(x11), installed_(std::move(installed)) {}

    std::vector<RunningApplication> runningApplications() override;
    std::optional<RunningApplication> frontmostApplication() override;
    bool isInstalled(const std::string& bundleID) override;
    std::optional<std::string> installedAppName(const std::string& bundleID) override;

  private:
    X11Connection& x11_;
    InstalledAppLookup installed_;
};

}  // namespace mavo

#include "platform/x11/X11Workspace.h"

#include <algorithm>

#include "platform/x11/X11Util.h"
#include "platform/x11/X11WindowModel.h"

namespace mavo {

namespace {

RunningApplication running(const X11Application& app, int32_t pid) {
    RunningApplication running;
    running.pid = pid;
    running.bundleID = app.bundleID;
    running.localizedName = app.name;
    running.activationPolicy =
        app.regular ? ActivationPolicy::regular : ActivationPolicy::accessory;
    return running;
}

}  // namespace

// An application spanning several processes is named by its lowest process id: any of them finds
// all its windows.
std::vector<RunningApplication> X11Workspace::runningApplications() {
    std::vector<RunningApplication> apps;
    auto all = x11_.windows().applications();
    if (!all) return apps;
    for (const X11Application& app : *all) {
        apps.push_back(running(app, app.pids.front()));
    }
    return apps;
}

std::optional<RunningApplication> X11Workspace::frontmostApplication() {
    auto reply = propertyReply(
        x11_,
        requestProperty(x11_, x11_.root(), x11_.ewmh()->_NET_ACTIVE_WINDOW, XCB_ATOM_WINDOW, 1));
    if (!reply || !*reply) return std::nullopt;
    auto windows = cardinals(reply->get());
    if (windows.empty() || windows[0] == XCB_WINDOW_NONE) return std::nullopt;
    auto active = x11_.windows().window(windows[0]);
    auto apps = x11_.windows().applications();
    if (!active || active->pid == 0 || !apps) return std::nullopt;
    for (const X11Application& app : *apps) {
        if (std::binary_search(app.pids.begin(), app.pids.end(), active->pid))
            return running(app, active->pid);
    }
    return std::nullopt;
}

bool X11Workspace::isInstalled(const std::string& bundleID) {
    return installedAppName(bundleID).has_value();
}

std::optional<std::string> X11Workspace::installedAppName(const std::string& bundleID) {
    if (bundleID.empty() || !installed_) return std::nullopt;
    return installed_(bundleID);
}

}  // namespace mavo

#include "platform/x11/X11Workspace.h"

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <map>

#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

bool contains(const std::vector<uint32_t>& values, uint32_t value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

std::vector<RunningApplication> X11Workspace::runningApplications() {
    std::vector<RunningApplication> apps;
    auto clients = clientList(x11_);
    if (!clients) return apps;
    auto pids = windowPids(x11_, *clients);
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    struct Cookies {
        xcb_get_property_cookie_t wmClass, type, state;
    };
    std::vector<Cookies> cookies;
    for (xcb_window_t window : *clients) {
        cookies.push_back({requestProperty(x11_, window, XCB_ATOM_WM_CLASS, XCB_ATOM_ANY, 256),
                           requestProperty(x11_, window, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM),
                           requestProperty(x11_, window, ewmh->_NET_WM_STATE, XCB_ATOM_ATOM)});
    }
    std::map<int32_t, size_t> indexOfPid;
    for (size_t i = 0; i < clients->size(); ++i) {
        auto wmClass = propertyReply(x11_, cookies[i].wmClass);
        auto type = propertyReply(x11_, cookies[i].type);
        auto state = propertyReply(x11_, cookies[i].state);
        // A window that vanished meanwhile, or one without a process, belongs to no application.
        if (!pids[i] || !wmClass || !type || !state) continue;

        auto [at, added] = indexOfPid.emplace(*pids[i], apps.size());
        if (added) {
            RunningApplication app;
            app.pid = *pids[i];
            app.activationPolicy = ActivationPolicy::accessory;
            apps.push_back(app);
        }
        RunningApplication& app = apps[at->second];

        // WM_CLASS holds the instance name, then the class name, each ended by a zero byte.
        if (auto raw = text(wmClass->get()); raw && !app.bundleID) {
            std::string instance = raw->substr(0, raw->find('\0'));
            std::string cls;
            if (instance.size() < raw->size()) {
                cls = raw->substr(instance.size() + 1);
                cls = cls.substr(0, cls.find('\0'));
            }
            if (!cls.empty()) {
                app.bundleID = cls;
                app.localizedName = cls;
            } else if (!instance.empty() && !app.localizedName) {
                app.localizedName = instance;
            }
        }
        auto types = cardinals(type->get());
        auto states = cardinals(state->get());
        bool ordinary = !contains(types, ewmh->_NET_WM_WINDOW_TYPE_DOCK) &&
                        !contains(types, ewmh->_NET_WM_WINDOW_TYPE_DESKTOP) &&
                        !contains(states, ewmh->_NET_WM_STATE_SKIP_TASKBAR);
        if (ordinary) app.activationPolicy = ActivationPolicy::regular;
    }
    return apps;
}

std::optional<RunningApplication> X11Workspace::frontmostApplication() {
    auto active = propertyReply(
        x11_,
        requestProperty(x11_, x11_.root(), x11_.ewmh()->_NET_ACTIVE_WINDOW, XCB_ATOM_WINDOW, 1));
    if (!active || !*active) return std::nullopt;
    auto windows = cardinals(active->get());
    if (windows.empty() || windows[0] == XCB_WINDOW_NONE) return std::nullopt;
    auto pid = windowPids(x11_, {windows[0]}).front();
    if (!pid) return std::nullopt;
    for (const RunningApplication& app : runningApplications()) {
        if (app.pid == *pid) return app;
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

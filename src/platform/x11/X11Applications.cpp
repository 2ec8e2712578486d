#include "platform/x11/X11Applications.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

bool contains(const std::vector<uint32_t>& values, uint32_t value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

std::vector<X11Application> groupApplications(const std::vector<X11Client>& clients) {
    // Union-find over the clients: one set per shared process or shared class.
    std::vector<size_t> parent(clients.size());
    std::iota(parent.begin(), parent.end(), size_t{0});
    auto find = [&](size_t i) {
        while (parent[i] != i) i = parent[i] = parent[parent[i]];
        return i;
    };
    std::map<int32_t, size_t> byPid;
    std::map<std::string, size_t> byClass;
    for (size_t i = 0; i < clients.size(); ++i) {
        auto join = [&](auto& index, const auto& key) {
            auto [at, added] = index.emplace(key, i);
            if (!added) parent[find(i)] = find(at->second);
        };
        join(byPid, clients[i].pid);
        if (!clients[i].cls.empty()) join(byClass, clients[i].cls);
    }

    std::vector<X11Application> apps;
    std::map<size_t, size_t> appOfRoot;
    for (size_t i = 0; i < clients.size(); ++i) {
        const X11Client& client = clients[i];
        auto [at, added] = appOfRoot.emplace(find(i), apps.size());
        if (added) apps.emplace_back();
        X11Application& app = apps[at->second];
        app.windows.push_back(client.window);
        auto pid = std::lower_bound(app.pids.begin(), app.pids.end(), client.pid);
        if (pid == app.pids.end() || *pid != client.pid) app.pids.insert(pid, client.pid);
        if (!client.cls.empty() && !app.bundleID) {
            app.bundleID = client.cls;
            app.name = client.cls;
        } else if (!app.bundleID && !app.name && !client.instance.empty()) {
            app.name = client.instance;
        }
        app.regular = app.regular || client.ordinary;
    }
    return apps;
}

std::optional<std::vector<X11Client>> readClients(X11Connection& x11) {
    auto windows = clientList(x11);
    if (!windows) return std::nullopt;
    auto pids = windowPids(x11, *windows);
    xcb_ewmh_connection_t* ewmh = x11.ewmh();
    struct Cookies {
        xcb_get_property_cookie_t wmClass, type, state;
    };
    std::vector<Cookies> cookies;
    for (xcb_window_t window : *windows) {
        cookies.push_back({requestProperty(x11, window, XCB_ATOM_WM_CLASS, XCB_ATOM_ANY, 256),
                           requestProperty(x11, window, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM),
                           requestProperty(x11, window, ewmh->_NET_WM_STATE, XCB_ATOM_ATOM)});
    }
    std::vector<X11Client> clients;
    for (size_t i = 0; i < windows->size(); ++i) {
        auto wmClass = propertyReply(x11, cookies[i].wmClass);
        auto type = propertyReply(x11, cookies[i].type);
        auto state = propertyReply(x11, cookies[i].state);
        // A window that vanished meanwhile, or one without a process, belongs to no application.
        if (!pids[i] || !wmClass || !type || !state) continue;
        X11Client client;
        client.window = (*windows)[i];
        client.pid = *pids[i];
        // WM_CLASS holds the instance name, then the class name, each ended by a zero byte.
        if (auto raw = text(wmClass->get())) {
            client.instance = raw->substr(0, raw->find('\0'));
            if (client.instance.size() < raw->size()) {
                client.cls = raw->substr(client.instance.size() + 1);
                client.cls = client.cls.substr(0, client.cls.find('\0'));
            }
        }
        auto types = cardinals(type->get());
        auto states = cardinals(state->get());
        client.ordinary = !contains(types, ewmh->_NET_WM_WINDOW_TYPE_DOCK) &&
                          !contains(types, ewmh->_NET_WM_WINDOW_TYPE_DESKTOP) &&
                          !contains(states, ewmh->_NET_WM_STATE_SKIP_TASKBAR);
        clients.push_back(std::move(client));
    }
    return clients;
}

}  // namespace mavo

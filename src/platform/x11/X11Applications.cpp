#include "platform/x11/X11Applications.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace mavo {

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

}  // namespace mavo

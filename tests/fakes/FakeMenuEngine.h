#pragma once

// FakeMenuEngine: the engine's menu-side settings as plain fields, with every call recorded.
//   FakeMenuEngine engine;
//   engine.excluded = {"org.b", "org.a"};  engine.cannotFill = 3;  engine.isPaused = true;
//   engine.calls  // {"setPaused(true)", "persistPaused", "toggleExclusion(org.a)", ...}
// MenuTestDefaults: an in-memory UserDefaults. MenuTestEvents: records event names and props.

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "analytics/EventTracker.h"
#include "common/UserDefaults.h"
#include "ui/MenuEngine.h"

namespace mavo::test {

class FakeMenuEngine final : public MenuEngine {
  public:
    bool isPaused = false;
    std::set<std::string> excluded;
    bool topCenter = false;
    std::set<std::string> topCenterApps;
    bool focusSize = false;
    std::set<std::string> maximizeApps;
    int cannotFill = 0;
    std::vector<std::string> calls;

    bool paused() const override { return isPaused; }
    void setPaused(bool value) override {
        isPaused = value;
        record(std::string("setPaused(") + (value ? "true" : "false") + ")");
    }
    void persistPaused() override { record("persistPaused"); }
    bool excludesBundleID(const std::string& bid) const override { return excluded.count(bid); }
    // Deliberately unsorted, as a set kept in a hash table would hand them out.
    std::vector<std::string> excludedBundleIDs() const override {
        std::vector<std::string> out(excluded.rbegin(), excluded.rend());
        return out;
    }
    void toggleExclusion(const std::string& bid) override {
        flip(excluded, bid);
        record("toggleExclusion(" + bid + ")");
    }
    bool topCenterMode() const override { return topCenter; }
    void setTopCenterMode(bool value) override {
        topCenter = value;
        record(std::string("setTopCenterMode(") + (value ? "true" : "false") + ")");
    }
    void persistTopCenterMode() override { record("persistTopCenterMode"); }
    bool topCentersBundleID(const std::string& bid) const override {
        return topCenterApps.count(bid);
    }
    void toggleTopCenter(const std::string& bid) override {
        flip(topCenterApps, bid);
        record("toggleTopCenter(" + bid + ")");
    }
    bool focusSizeBigDisplays() const override { return focusSize; }
    void setFocusSizeBigDisplays(bool value) override {
        focusSize = value;
        record(std::string("setFocusSizeBigDisplays(") + (value ? "true" : "false") + ")");
    }
    void persistFocusSizeBigDisplays() override { record("persistFocusSizeBigDisplays"); }
    bool maximizesBundleID(const std::string& bid) const override {
        return maximizeApps.count(bid);
    }
    void toggleMaximizeApp(const std::string& bid) override {
        flip(maximizeApps, bid);
        record("toggleMaximizeApp(" + bid + ")");
    }
    int cannotFillCount() const override { return cannotFill; }
    void reevaluateAll() override { record("reevaluateAll"); }
    void maximizeAllNow() override { record("maximizeAllNow"); }

  private:
    static void flip(std::set<std::string>& s, const std::string& bid) {
        if (!s.erase(bid)) s.insert(bid);
    }
    void record(std::string call) { calls.push_back(std::move(call)); }
};

class MenuTestDefaults final : public UserDefaults {
  public:
    std::map<std::string, nlohmann::json> values;
    int writes = 0;

    std::optional<nlohmann::json> object(const std::string& key) const override {
        auto it = values.find(key);
        if (it == values.end()) return std::nullopt;
        return it->second;
    }
    void set(const std::string& key, const nlohmann::json& value) override {
        values[key] = value;
        ++writes;
    }
    void remove(const std::string& key) override { values.erase(key); }
};

class MenuTestEvents final : public EventTracker {
  public:
    struct Event {
        std::string name;
        nlohmann::json props;
    };
    std::vector<Event> events;

    void trackEvent(const std::string& name, const nlohmann::json& props) override {
        events.push_back({name, props});
    }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& e : events) out.push_back(e.name);
        return out;
    }
};

}  // namespace mavo::test

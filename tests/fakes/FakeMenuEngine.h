#pragma once

// FakeMenuEngine: the engine's menu-side settings as plain fields, every call recorded in `calls`
// ("setPaused(true)", "toggleExclusion(org.a)", ...).

#include <set>
#include <string>
#include <vector>

#include "ui/MenuEngine.h"

namespace mavo::test {

class FakeMenuEngine final : public MenuEngine {
  public:
    bool isPaused = false, topCenter = false, focusSize = false;
    std::set<std::string> excluded, topCenterApps, maximizeApps;
    int cannotFill = 0, maximized = 0;
    std::vector<std::string> calls;

    bool paused() const override { return isPaused; }
    void setPaused(bool v) override { record("setPaused", isPaused = v); }
    void persistPaused() override { record("persistPaused"); }
    bool excludesBundleID(const std::string& bid) const override { return excluded.count(bid); }
    // Deliberately unsorted, as a set kept in a hash table would hand them out.
    std::vector<std::string> excludedBundleIDs() const override {
        return {excluded.rbegin(), excluded.rend()};
    }
    void toggleExclusion(const std::string& bid) override {
        flip("toggleExclusion", excluded, bid);
    }
    bool topCenterMode() const override { return topCenter; }
    void setTopCenterMode(bool v) override { record("setTopCenterMode", topCenter = v); }
    void persistTopCenterMode() override { record("persistTopCenterMode"); }
    bool topCentersBundleID(const std::string& bid) const override {
        return topCenterApps.count(bid);
    }
    void toggleTopCenter(const std::string& bid) override {
        flip("toggleTopCenter", topCenterApps, bid);
    }
    bool focusSizeBigDisplays() const override { return focusSize; }
    void setFocusSizeBigDisplays(bool v) override {
        record("setFocusSizeBigDisplays", focusSize = v);
    }
    void persistFocusSizeBigDisplays() override { record("persistFocusSizeBigDisplays"); }
    bool maximizesBundleID(const std::string& bid) const override {
        return maximizeApps.count(bid);
    }
    void toggleMaximizeApp(const std::string& bid) override {
        flip("toggleMaximizeApp", maximizeApps, bid);
    }
    int cannotFillCount() const override { return cannotFill; }
    int windowsMaximizedCount() const override { return maximized; }
    void reevaluateAll() override { record("reevaluateAll"); }
    void maximizeAllNow() override { record("maximizeAllNow"); }

  private:
    void flip(const char* name, std::set<std::string>& s, const std::string& bid) {
        if (!s.erase(bid)) s.insert(bid);
        record(std::string(name) + "(" + bid + ")");
    }
    void record(const char* name, bool value) {
        record(std::string(name) + (value ? "(true)" : "(false)"));
    }
    void record(std::string call) { calls.push_back(std::move(call)); }
};

}  // namespace mavo::test

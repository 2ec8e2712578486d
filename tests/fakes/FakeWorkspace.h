#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "windowaccess/Workspace.h"

namespace mavo::test {

// Running and installed applications, scripted before the engine reads them.
class FakeWorkspace final : public Workspace {
  public:
    void addRunning(RunningApplication app) { running_.push_back(std::move(app)); }
    void setRunning(std::vector<RunningApplication> apps) { running_ = std::move(apps); }
    void setFrontmost(std::optional<int32_t> pid) { frontmost_ = pid; }
    void addInstalled(const std::string& bundleID, const std::string& name) {
        installed_[bundleID] = name;
    }

    std::vector<RunningApplication> runningApplications() override { return running_; }
    std::optional<RunningApplication> frontmostApplication() override {
        for (const auto& a : running_)
            if (a.pid == frontmost_) return a;
        return std::nullopt;
    }
    bool isInstalled(const std::string& bundleID) override {
        return installedAppName(bundleID).has_value();
    }
    std::optional<std::string> installedAppName(const std::string& bundleID) override {
        auto it = installed_.find(bundleID);
        return it == installed_.end() ? std::nullopt : std::optional(it->second);
    }

  private:
    std::vector<RunningApplication> running_;
    std::optional<int32_t> frontmost_;
    std::map<std::string, std::string> installed_;
};

}  // namespace mavo::test

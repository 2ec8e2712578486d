#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "windowaccess/Workspace.h"

namespace mavo::test {

// Running and installed applications as the test scripts them; the engine may read while the
// test thread changes them.
class FakeWorkspace final : public Workspace {
  public:
    void addRunning(RunningApplication app) {
        std::lock_guard l(mu_);
        running_.push_back(std::move(app));
    }

    void setRunning(std::vector<RunningApplication> apps) {
        std::lock_guard l(mu_);
        running_ = std::move(apps);
    }

    // Looked up among the running applications by pid.
    void setFrontmost(std::optional<int32_t> pid) {
        std::lock_guard l(mu_);
        frontmost_ = pid;
    }

    void addInstalled(const std::string& bundleID, const std::string& name) {
        std::lock_guard l(mu_);
        installed_[bundleID] = name;
    }

    std::vector<RunningApplication> runningApplications() override {
        std::lock_guard l(mu_);
        return running_;
    }

    std::optional<RunningApplication> frontmostApplication() override {
        std::lock_guard l(mu_);
        if (!frontmost_) return std::nullopt;
        for (const auto& a : running_)
            if (a.pid == *frontmost_) return a;
        return std::nullopt;
    }

    bool isInstalled(const std::string& bundleID) override {
        std::lock_guard l(mu_);
        return installed_.count(bundleID) > 0;
    }

    std::optional<std::string> installedAppName(const std::string& bundleID) override {
        std::lock_guard l(mu_);
        auto it = installed_.find(bundleID);
        return it == installed_.end() ? std::nullopt : std::optional(it->second);
    }

  private:
    std::mutex mu_;
    std::vector<RunningApplication> running_;
    std::optional<int32_t> frontmost_;
    std::map<std::string, std::string> installed_;
};

}  // namespace mavo::test

#pragma once

// FakeWindowList: the window server's own on-screen list as the test sets it; starts empty and
// readable, and setUnreadable() makes the read fail.

#include <mutex>
#include <optional>
#include <vector>

#include "windowaccess/WindowListSource.h"

namespace mavo::test {

class FakeWindowList final : public WindowListSource {
  public:
    void setEntries(std::vector<WindowListEntry> entries) {
        std::lock_guard l(mu_);
        entries_ = std::move(entries);
    }
    void add(WindowListEntry entry) {
        std::lock_guard l(mu_);
        if (!entries_) entries_.emplace();
        entries_->push_back(entry);
    }
    void setUnreadable() {
        std::lock_guard l(mu_);
        entries_.reset();
    }
    std::optional<std::vector<WindowListEntry>> onScreenWindows() override {
        std::lock_guard l(mu_);
        return entries_;
    }

  private:
    std::mutex mu_;
    std::optional<std::vector<WindowListEntry>> entries_{std::in_place};
};

}  // namespace mavo::test

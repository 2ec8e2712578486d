#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include "windowaccess/WindowListSource.h"

namespace mavo::test {

// The window server's own on-screen list as the test sets it; starts empty and readable.
class FakeWindowList final : public WindowListSource {
  public:
    void setEntries(std::vector<WindowListEntry> entries) {
        std::lock_guard l(mu_);
        entries_ = std::move(entries);
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

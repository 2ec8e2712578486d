#pragma once

#include <optional>
#include <vector>

#include "windowaccess/WindowListSource.h"

namespace mavo::test {

// The window server's own on-screen list; starts empty and readable.
class FakeWindowList final : public WindowListSource {
  public:
    void setEntries(std::vector<WindowListEntry> entries) { entries_ = std::move(entries); }
    void setUnreadable() { entries_.reset(); }
    std::optional<std::vector<WindowListEntry>> onScreenWindows() override { return entries_; }

  private:
    std::optional<std::vector<WindowListEntry>> entries_{std::in_place};
};

}  // namespace mavo::test

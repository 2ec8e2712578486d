#pragma once

// FakeWindowList: the window server's own on-screen list, as the test sets it.
//   FakeWindowList list;                       // starts as an empty, readable list
//   list.setEntries({{42, 0, Rect{0, 25, 800, 600}}, {42, 3, Rect{...}}});
//   list.add({42, std::nullopt, Rect{...}});    // an entry without a layer value
//   list.setUnreadable();                      // the list cannot be read at all
//   list.readCount();                          // how often it was asked

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

    int readCount() const {
        std::lock_guard l(mu_);
        return reads_;
    }

    std::optional<std::vector<WindowListEntry>> onScreenWindows() override {
        std::lock_guard l(mu_);
        ++reads_;
        return entries_;
    }

  private:
    mutable std::mutex mu_;
    std::optional<std::vector<WindowListEntry>> entries_{std::in_place};
    int reads_ = 0;
};

}  // namespace mavo::test

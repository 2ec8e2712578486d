#pragma once

// Fakes for the status item's platform side: the item, the pointer and the login switch (the
// timers are in FakeTimers.h).

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fakes/FakeTimers.h"
#include "ui/StatusItem.h"

namespace mavo::test {

class FakeStatusItem final : public StatusItem {
  public:
    bool button = true, visible = true;
    int visibilityWrites = 0, invalidations = 0;
    std::vector<StatusIcon> icons;
    std::string toolTip;

    bool hasButton() const override { return button; }
    bool isVisible() const override { return visible; }
    void setVisible(bool v) override { visible = v, ++visibilityWrites; }
    void setIcon(const StatusIcon& icon) override { icons.push_back(icon); }
    void setToolTip(const std::string& text) override { toolTip = text; }
    void invalidateMenu() override { ++invalidations; }
};

// A monitor registration that runs `drop` when destroyed.
class FakeMonitor final : public PointerMonitor {
  public:
    explicit FakeMonitor(std::function<void()> drop) : drop_(std::move(drop)) {}
    ~FakeMonitor() override { drop_(); }

  private:
    std::function<void()> drop_;
};

class FakePointer final : public PointerSource {
  public:
    std::optional<Point> location;

    // Moves the pointer and tells every installed monitor, as a real mouse-moved event would.
    void moveTo(std::optional<Point> p) {
        location = p;
        for (auto& [id, handler] : std::map(handlers_)) handler();
    }
    size_t monitorCount() const { return handlers_.size(); }

    std::optional<Point> pointerLocation() override { return location; }
    std::unique_ptr<PointerMonitor> addMovedMonitor(std::function<void()> handler) override {
        handlers_[nextID_] = std::move(handler);
        return std::make_unique<FakeMonitor>([this, id = nextID_++] { handlers_.erase(id); });
    }

  private:
    std::map<uint64_t, std::function<void()>> handlers_;
    uint64_t nextID_ = 1;
};

class FakeLogin final : public LoginControl {
  public:
    bool enabled = false;
    int toggles = 0;
    bool isEnabled() override { return enabled; }
    void toggle() override { enabled = !enabled, ++toggles; }
};

}  // namespace mavo::test

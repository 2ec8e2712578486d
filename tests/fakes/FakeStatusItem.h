#pragma once

// Fakes for the status item's platform side: the item, the pointer and the login switch (the
// timers are in FakeTimers.h).

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
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

// Each monitor holds its handler; the pointer calls those of the monitors still alive.
class FakePointer final : public PointerSource {
  public:
    std::optional<Point> location;

    void moveTo(std::optional<Point> p) {
        location = p;
        for (auto& handler : std::vector(handlers_))
            if (auto h = handler.lock()) (*h)();
    }
    size_t monitorCount() const {
        return std::ranges::count_if(handlers_, [](auto& h) { return !h.expired(); });
    }

    std::optional<Point> pointerLocation() override { return location; }
    std::unique_ptr<PointerMonitor> addMovedMonitor(std::function<void()> handler) override {
        struct Monitor : PointerMonitor {
            std::shared_ptr<std::function<void()>> handler;
        };
        auto m = std::make_unique<Monitor>();
        handlers_.push_back(m->handler = std::make_shared<std::function<void()>>(handler));
        return m;
    }

  private:
    std::vector<std::weak_ptr<std::function<void()>>> handlers_;
};

class FakeLogin final : public LoginControl {
  public:
    bool enabled = false;
    int toggles = 0;
    bool isEnabled() override { return enabled; }
    void toggle() override { enabled = !enabled, ++toggles; }
};

}  // namespace mavo::test

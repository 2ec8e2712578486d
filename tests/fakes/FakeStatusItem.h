#pragma once

// Fakes for the status item's platform side: the item, timers, the pointer and the login switch.

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

// A timer or monitor handle that runs `drop` once, when invalidated or destroyed.
template <class Base>
class FakeHandle final : public Base {
  public:
    explicit FakeHandle(std::function<void()> drop) : drop_(std::move(drop)) {}
    ~FakeHandle() { invalidate(); }
    void invalidate() {
        if (auto drop = std::exchange(drop_, nullptr)) drop();
    }

  private:
    std::function<void()> drop_;
};

// Timers on a clock that moves only in `advance`. A block may cancel or destroy any timer,
// including its own, and may schedule new ones.
class FakeUiTimers final : public UiTimerScheduler {
  public:
    double now = 0;

    std::unique_ptr<UiTimer> scheduleOnce(double seconds, std::function<void()> block) override {
        return add(seconds, 0, std::move(block));
    }
    std::unique_ptr<UiTimer> scheduleRepeating(double interval,
                                               std::function<void()> block) override {
        return add(interval, interval, std::move(block));
    }
    void advance(double seconds) {
        const double end = now + seconds;
        for (;;) {
            auto next = std::min_element(entries_.begin(), entries_.end(), [](auto& a, auto& b) {
                return std::pair(a.second.due, a.first) < std::pair(b.second.due, b.first);
            });
            if (next == entries_.end() || next->second.due > end + 1e-9) break;
            now = std::max(now, next->second.due);
            auto block = next->second.block;  // the block may destroy its own entry
            if (next->second.interval > 0) {
                next->second.due += next->second.interval;
            } else {
                entries_.erase(next);
            }
            block();
        }
        now = end;
    }
    size_t pending() const { return entries_.size(); }

  private:
    struct Entry {
        double due, interval;
        std::function<void()> block;
    };
    std::unique_ptr<UiTimer> add(double delay, double interval, std::function<void()> block) {
        entries_[nextID_] = Entry{now + delay, interval, std::move(block)};
        return std::make_unique<FakeHandle<UiTimer>>(
            [this, id = nextID_++] { entries_.erase(id); });
    }
    std::map<uint64_t, Entry> entries_;
    uint64_t nextID_ = 1;
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
        return std::make_unique<FakeHandle<PointerMonitor>>(
            [this, id = nextID_++] { handlers_.erase(id); });
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

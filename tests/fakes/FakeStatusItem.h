#pragma once

// Fakes for the status item's platform side.
//   FakeStatusItem item;       item.visible, item.icons (every setIcon), item.toolTip
//   FakeUiTimers timers;       timers.advance(1.5) fires what falls due, in deadline order
//   FakePointer pointer;       pointer.moveTo({x, y}) sets the location and calls the monitors
//   FakeLogin login;           login.enabled, login.toggles

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/StatusItem.h"

namespace mavo::test {

class FakeStatusItem final : public StatusItem {
  public:
    bool button = true;
    bool visible = true;
    int visibilityWrites = 0;
    std::vector<StatusIcon> icons;
    std::string toolTip;
    int invalidations = 0;

    bool hasButton() const override { return button; }
    bool isVisible() const override { return visible; }
    void setVisible(bool v) override {
        visible = v;
        ++visibilityWrites;
    }
    void setIcon(const StatusIcon& icon) override { icons.push_back(icon); }
    void setToolTip(const std::string& text) override { toolTip = text; }
    void invalidateMenu() override { ++invalidations; }
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

    // Moves the clock, firing every timer that falls due on the way.
    void advance(double seconds) {
        const double end = now + seconds;
        while (true) {
            auto next = std::min_element(entries_.begin(), entries_.end(), [](auto& a, auto& b) {
                return a.second.due != b.second.due ? a.second.due < b.second.due
                                                    : a.first < b.first;
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
        double due;
        double interval;
        std::function<void()> block;
    };
    class Handle final : public UiTimer {
      public:
        Handle(FakeUiTimers* owner, uint64_t id) : owner_(owner), id_(id) {}
        ~Handle() override { invalidate(); }
        void invalidate() override { owner_->entries_.erase(id_); }

      private:
        FakeUiTimers* owner_;
        uint64_t id_;
    };

    std::unique_ptr<UiTimer> add(double delay, double interval, std::function<void()> block) {
        const uint64_t id = nextID_++;
        entries_[id] = Entry{now + delay, interval, std::move(block)};
        return std::make_unique<Handle>(this, id);
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
        auto handlers = handlers_;
        for (auto& [id, h] : handlers) h();
    }
    size_t monitorCount() const { return handlers_.size(); }

    std::optional<Point> pointerLocation() override { return location; }
    std::unique_ptr<PointerMonitor> addMovedMonitor(std::function<void()> handler) override {
        const uint64_t id = nextID_++;
        handlers_[id] = std::move(handler);
        return std::make_unique<Monitor>(this, id);
    }

  private:
    class Monitor final : public PointerMonitor {
      public:
        Monitor(FakePointer* owner, uint64_t id) : owner_(owner), id_(id) {}
        ~Monitor() override { owner_->handlers_.erase(id_); }

      private:
        FakePointer* owner_;
        uint64_t id_;
    };
    std::map<uint64_t, std::function<void()>> handlers_;
    uint64_t nextID_ = 1;
};

class FakeLogin final : public LoginControl {
  public:
    bool enabled = false;
    int toggles = 0;
    bool isEnabled() override { return enabled; }
    void toggle() override {
        enabled = !enabled;
        ++toggles;
    }
};

}  // namespace mavo::test

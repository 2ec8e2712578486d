#include "ui/PollingPointerSource.h"

#include <vector>

namespace mavo {

class PollingPointerSource::Monitor final : public PointerMonitor {
  public:
    Monitor(PollingPointerSource* owner, uint64_t id)
        : owner_(owner), alive_(owner->alive_), id_(id) {}
    ~Monitor() override {
        if (!alive_.expired()) owner_->remove(id_);
    }

  private:
    PollingPointerSource* owner_;
    std::weak_ptr<bool> alive_;
    uint64_t id_;
};

PollingPointerSource::PollingPointerSource(TimerScheduler& timers, Locate locate, double interval)
    : timers_(timers), locate_(std::move(locate)), interval_(interval) {}

PollingPointerSource::~PollingPointerSource() {
    poller_.reset();
}

std::optional<Point> PollingPointerSource::pointerLocation() {
    return locate_ ? locate_() : std::nullopt;
}

std::unique_ptr<PointerMonitor> PollingPointerSource::addMovedMonitor(
    std::function<void()> handler) {
    const uint64_t id = nextID_++;
    handlers_[id] = std::move(handler);
    if (!poller_) {
        last_ = pointerLocation();
        poller_ = timers_.scheduleRepeating(interval_, interval_, [this] { poll(); });
    }
    return std::make_unique<Monitor>(this, id);
}

void PollingPointerSource::remove(uint64_t id) {
    handlers_.erase(id);
    // Nobody listens: stop asking the display server ten times a second.
    if (handlers_.empty()) poller_.reset();
}

void PollingPointerSource::poll() {
    auto now = pointerLocation();
    if (now == last_) return;
    last_ = now;
    std::vector<std::function<void()>> handlers;
    for (auto& [id, h] : handlers_) handlers.push_back(h);
    for (auto& h : handlers) h();
}

}  // namespace mavo

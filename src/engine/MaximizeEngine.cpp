#include "engine/MaximizeEngine.h"

#include <thread>

namespace mavo {

std::shared_ptr<MaximizeEngine> MaximizeEngine::create(EngineEnvironment env) {
    return std::shared_ptr<MaximizeEngine>(new MaximizeEngine(std::move(env)));
}

MaximizeEngine::MaximizeEngine(EngineEnvironment env)
    : env_(std::move(env)),
      settings_(env_.defaults),
      cellSnapApps_(env_.builtIns.cellSized),
      queue_(std::make_unique<SerialQueue>(queueLabel)) {}

MaximizeEngine::~MaximizeEngine() {
    if (timer_) timer_->cancel();
    if (queue_ && queue_->isCurrent()) {
        // The last owner let go inside one of our own blocks: the queue cannot stop itself from
        // its own thread, so another thread waits for that block to end and then stops it.
        std::thread([q = std::move(queue_)]() mutable { q.reset(); }).detach();
    }
}

void MaximizeEngine::start() {
    std::weak_ptr<MaximizeEngine> weak = weak_from_this();
    timer_ = queue_->scheduleRepeating(tunables.firstTickDelay, tunables.interval, [weak] {
        if (auto self = weak.lock()) self->tick(false);
    });
}

void MaximizeEngine::submit(void (*work)(MaximizeEngine&)) {
    std::weak_ptr<MaximizeEngine> weak = weak_from_this();
    queue_->async([weak, work] {
        if (auto self = weak.lock()) work(*self);
    });
}

void MaximizeEngine::tickAndWait(bool force) {
    queue_->sync([this, force] { tick(force); });
}

void MaximizeEngine::drain() {
    queue_->sync([] {});
}

void MaximizeEngine::stop() {
    stopping_.store(true);
    if (timer_) timer_->cancel();
    drain();
}

std::optional<ManagedState> MaximizeEngine::windowState(const WindowHandle& window) {
    std::optional<ManagedState> result;
    queue_->sync([&] {
        auto it = states_.find(WindowKey{window});
        if (it != states_.end()) result = it->second;
    });
    return result;
}

size_t MaximizeEngine::trackedWindowCount() {
    size_t count = 0;
    queue_->sync([&] { count = states_.size(); });
    return count;
}

std::set<std::string> MaximizeEngine::cellSnapAppsSnapshot() {
    std::set<std::string> copy;
    queue_->sync([&] { copy = cellSnapApps_; });
    return copy;
}

std::optional<Rect> MaximizeEngine::bestFitFor(const std::string& bid, const Rect& target) {
    std::optional<Rect> result;
    queue_->sync([&] {
        auto it = bestFitMemory_.find(BestFitKey::make(bid, target));
        if (it != bestFitMemory_.end()) result = it->second;
    });
    return result;
}

bool MaximizeEngine::maximizeExistingOnStartup() {
    bool value = true;
    queue_->sync([&] { value = maximizeExistingOnStartup_; });
    return value;
}

int MaximizeEngine::tickCount() const {
    return ticks_.load();
}

}  // namespace mavo

#include "common/SerialQueue.h"

#include <future>

namespace mavo {

namespace {
thread_local const SerialQueue* currentQueue = nullptr;

std::chrono::steady_clock::duration toDuration(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds > 0 ? seconds : 0));
}
}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {
    worker_ = std::thread([this] { run(); });
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (worker_.get_id() == std::this_thread::get_id()) {
        worker_.detach();  // the last owner went away inside one of our own blocks
    } else if (worker_.joinable()) {
        worker_.join();
    }
}

void SerialQueue::enqueue(TimePoint due, Block block) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) return;
        pending_.emplace(Key{due, nextSeq_++}, std::move(block));
    }
    wake_.notify_all();
}

void SerialQueue::async(Block block) {
    enqueue(std::chrono::steady_clock::now(), std::move(block));
}

void SerialQueue::sync(const Block& block) {
    if (isCurrent()) {
        block();
        return;
    }
    std::promise<void> done;
    auto finished = done.get_future();
    enqueue(std::chrono::steady_clock::now(), [&block, &done] {
        block();
        done.set_value();
    });
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) return;
    }
    finished.wait();
}

void SerialQueue::asyncAfter(double seconds, Block block) {
    enqueue(std::chrono::steady_clock::now() + toDuration(seconds), std::move(block));
}

std::shared_ptr<RepeatingTimer> SerialQueue::scheduleRepeating(double firstDelay, double interval,
                                                               Block block) {
    auto timer = std::make_shared<RepeatingTimer>();
    auto period = toDuration(interval);
    // Each firing schedules the next from its own deadline, so the period does not drift.
    auto fire = std::make_shared<std::function<void(TimePoint)>>();
    std::weak_ptr<std::function<void(TimePoint)>> weakFire = fire;
    *fire = [this, timer, period, block = std::move(block), weakFire](TimePoint due) {
        if (timer->isCancelled()) return;
        block();
        if (timer->isCancelled()) return;
        auto next = due + period;
        if (auto self = weakFire.lock()) enqueue(next, [self, next] { (*self)(next); });
    };
    auto due = std::chrono::steady_clock::now() + toDuration(firstDelay);
    enqueue(due, [fire, due] { (*fire)(due); });
    return timer;
}

bool SerialQueue::isCurrent() const {
    return currentQueue == this;
}

void SerialQueue::run() {
    currentQueue = this;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        if (pending_.empty()) {
            wake_.wait(lock);
            continue;
        }
        auto first = pending_.begin();
        if (first->first.due > std::chrono::steady_clock::now()) {
            wake_.wait_until(lock, first->first.due);
            continue;
        }
        Block block = std::move(first->second);
        pending_.erase(first);
        lock.unlock();
        block();
        block = nullptr;  // release captures outside the lock too
        lock.lock();
    }
    pending_.clear();
}

}  // namespace mavo

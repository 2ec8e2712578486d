#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace mavo {

// A cancellable handle to a repeating timer; dropping the handle does not stop the timer.
class RepeatingTimer {
  public:
    void cancel() { cancelled_.store(true); }
    bool isCancelled() const { return cancelled_.load(); }

  private:
    std::atomic<bool> cancelled_{false};
};

// One worker thread running blocks one at a time, in submission order, with delayed blocks and
// repeating timers ordered by deadline. Blocks never run under the queue's own lock.
class SerialQueue {
  public:
    using Block = std::function<void()>;

    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const { return label_; }

    void async(Block block);
    // Runs the block on the queue and waits for it. Called from the queue itself it runs inline
    // rather than deadlocking.
    void sync(const Block& block);
    void asyncAfter(double seconds, Block block);
    // First run after `firstDelay` seconds, then every `interval` seconds until cancelled.
    std::shared_ptr<RepeatingTimer> scheduleRepeating(double firstDelay, double interval,
                                                      Block block);

    bool isCurrent() const;

  private:
    using TimePoint = std::chrono::steady_clock::time_point;
    // The worker shares this with the queue object, so a queue released by one of its own
    // blocks leaves the worker nothing dangling to touch.
    struct Core;

    void enqueue(TimePoint due, Block block);

    std::string label_;
    std::shared_ptr<Core> core_;
    std::thread worker_;
};

}  // namespace mavo

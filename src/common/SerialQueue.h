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

#include "common/Timer.h"

namespace mavo {

// One worker thread running blocks one at a time, in submission order, with delayed blocks and
// timers ordered by deadline. Blocks never run under the queue's own lock. Its timers may be
// cancelled from any thread.
class SerialQueue final : public TimerScheduler {
  public:
    explicit SerialQueue(std::string label);
    ~SerialQueue() override;
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const { return label_; }

    void async(Block block);
    // Runs the block on the queue and waits for it. Called from the queue itself it runs inline
    // rather than deadlocking.
    void sync(const Block& block);
    void asyncAfter(double seconds, Block block);
    std::unique_ptr<Timer> scheduleOnce(double seconds, Block block) override;
    std::unique_ptr<Timer> scheduleRepeating(double firstDelay, double interval,
                                             Block block) override;

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

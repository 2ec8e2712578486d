#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace mavo {

// A scheduled block. Cancelling the handle or destroying it stops the block for good, and either
// may happen inside the block itself. A block already running on another thread finishes.
class Timer {
  public:
    explicit Timer(std::function<void()> stop) : stop_(std::move(stop)) {}
    ~Timer() { cancel(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void cancel() {
        if (auto stop = std::exchange(stop_, nullptr)) stop();
    }

  private:
    std::function<void()> stop_;
};

// Runs blocks later, one at a time, on one thread: a serial queue's worker or the main loop.
class TimerScheduler {
  public:
    using Block = std::function<void()>;

    virtual ~TimerScheduler() = default;
    virtual std::unique_ptr<Timer> scheduleOnce(double seconds, Block block) = 0;
    // First run after `firstDelay` seconds, then every `interval` seconds.
    virtual std::unique_ptr<Timer> scheduleRepeating(double firstDelay, double interval,
                                                     Block block) = 0;
};

}  // namespace mavo

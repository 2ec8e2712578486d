#pragma once

#include <atomic>

#include "common/Clock.h"

namespace mavo::test {

// A clock that moves only when told. Uptime starts well after boot, so that "recently" measured
// from 0 is false, as on a real machine.
class FakeClock final : public Clock {
  public:
    explicit FakeClock(double uptime = 1000.0, double wallClock = 1.8e9)
        : uptime_(uptime), wall_(wallClock) {}
    double uptime() const override { return uptime_.load(); }
    double wallClock() const override { return wall_.load(); }
    void advance(double seconds) {
        uptime_.store(uptime_.load() + seconds);
        wall_.store(wall_.load() + seconds);
    }
    void setWallClock(double seconds) { wall_.store(seconds); }

  private:
    std::atomic<double> uptime_, wall_;
};

}  // namespace mavo::test

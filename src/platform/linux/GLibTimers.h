#pragma once

#include "common/Timer.h"

namespace mavo {

// Timers on the GLib main loop (the thread that runs the default main context); their handles
// belong to that thread too.
class GLibTimers final : public TimerScheduler {
  public:
    std::unique_ptr<Timer> scheduleOnce(double seconds, Block block) override;
    std::unique_ptr<Timer> scheduleRepeating(double firstDelay, double interval,
                                             Block block) override;
};

}  // namespace mavo

#pragma once

#include "ui/StatusItem.h"

namespace mavo {

// Menu-side timers on the GLib main loop (the thread that runs the default main context).
class GLibUiTimers final : public UiTimerScheduler {
  public:
    std::unique_ptr<UiTimer> scheduleOnce(double seconds, std::function<void()> block) override;
    std::unique_ptr<UiTimer> scheduleRepeating(double interval,
                                               std::function<void()> block) override;
};

}  // namespace mavo

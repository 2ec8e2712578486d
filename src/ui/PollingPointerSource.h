#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "common/Timer.h"
#include "ui/StatusItem.h"

namespace mavo {

// A pointer source for platforms that can ask where the pointer is but send no moved events for
// it (or none that reach us): it samples the location while anyone listens and reports changes.
class PollingPointerSource final : public PointerSource {
  public:
    using Locate = std::function<std::optional<Point>()>;

    PollingPointerSource(TimerScheduler& timers, Locate locate, double interval = 0.1);
    ~PollingPointerSource() override;

    std::optional<Point> pointerLocation() override;
    std::unique_ptr<PointerMonitor> addMovedMonitor(std::function<void()> handler) override;

  private:
    class Monitor;
    void poll();
    void remove(uint64_t id);

    TimerScheduler& timers_;
    Locate locate_;
    double interval_;
    std::unique_ptr<Timer> poller_;
    std::optional<Point> last_;
    std::map<uint64_t, std::function<void()>> handlers_;
    uint64_t nextID_ = 1;
    // Monitors may outlive the source; they check this before unregistering.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace mavo

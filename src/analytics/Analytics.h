#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "analytics/AnalyticsEvent.h"
#include "analytics/EventTracker.h"
#include "analytics/HttpSender.h"
#include "analytics/SystemPropsSource.h"
#include "common/Clock.h"
#include "common/Timer.h"

namespace mavo {

struct AnalyticsConfig {
    // "A-" + two-letter region + "-" + digits. A key beginning with "REPLACE" is the unconfigured
    // placeholder and switches the client off entirely.
    std::string appKey = "REPLACE-ME";
    std::string usBaseUrl;
    std::string euBaseUrl;
    double requestTimeout = 10.0;
    double flushInterval = 60.0;
    // The longest the termination flush waits for sends still in flight.
    double terminationWait = 2.0;
};

// Usage events: stamped with a session, the time and the system properties, queued in memory and
// posted as one JSON batch per flush. Nothing touches the disk; a batch that fails is dropped.
class Analytics final : public EventTracker, public std::enable_shared_from_this<Analytics> {
  public:
    struct Dependencies {
        std::shared_ptr<HttpSender> sender;                    // null: every batch is dropped
        std::shared_ptr<const SystemPropsSource> systemProps;  // null: blank properties
        const Clock* clock = nullptr;                          // null: the system clock
        TimerScheduler* timers = nullptr;                      // null: no periodic flush
        std::function<uint64_t()> random;                      // null: a seeded generator
    };

    static constexpr const char* eventsPath = "/api/v0/events";
    static constexpr double sessionTimeout = 3600.0;

    static std::shared_ptr<Analytics> create(AnalyticsConfig config, Dependencies deps);
    ~Analytics() override;
    Analytics(const Analytics&) = delete;
    Analytics& operator=(const Analytics&) = delete;

    // The process-wide instance. The platform layer installs the configured one at startup;
    // used before that, it is an unconfigured instance that does nothing.
    static Analytics& shared();
    // Returns false, leaving the current one, when the shared instance already exists.
    static bool installShared(std::shared_ptr<Analytics> instance);

    bool isEnabled() const { return enabled_; }

    // Tracks "app_started" and schedules the periodic flush on the timers given.
    void start();
    void trackEvent(const std::string& name,
                    const nlohmann::json& props = nlohmann::json::object()) override;
    // Takes the whole queue and sends it as one batch, off the caller's thread.
    void flush();
    // The last flush: the process must not exit before the batch has left, but it waits no
    // longer than `terminationWait`. The caller queues its final events ("session_ended") first.
    void appWillTerminate();

    std::string sessionId() const;
    size_t queuedCount() const;

    // The events address for the key's region, or none when the key is malformed or the region
    // is neither "US" nor "EU".
    static std::optional<std::string> endpointFor(const AnalyticsConfig& config);
    // Whole seconds since 1970 times 10^8 plus `random` (below 10^8), in decimal. A time whose
    // id would not fit in 64 bits stops the process; no real date comes near.
    static std::string newSessionId(double wallClock, uint64_t random);

  private:
    Analytics(AnalyticsConfig config, Dependencies deps);
    void send(std::vector<Event> batch);
    uint64_t nextRandom();  // under mutex_

    const AnalyticsConfig config_;
    const bool enabled_;
    std::shared_ptr<HttpSender> sender_;
    std::shared_ptr<const SystemPropsSource> systemProps_;
    const Clock& clock_;
    TimerScheduler* timers_;
    std::function<uint64_t()> random_;

    mutable std::mutex mutex_;  // guards the session, the queue and the generator
    std::string sessionId_;
    double lastTouched_ = 0;
    std::vector<Event> queue_;
    std::mt19937_64 generator_;

    std::mutex timerMutex_;  // guards the handle of the periodic flush
    std::unique_ptr<Timer> flushTimer_;
};

}  // namespace mavo

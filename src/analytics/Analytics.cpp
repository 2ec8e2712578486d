#include "analytics/Analytics.h"

#include <cmath>
#include <cstdlib>
#include <string_view>

namespace mavo {

namespace {

constexpr uint64_t sessionRandomRange = 100000000;

bool isPlaceholderKey(std::string_view key) {
    return key.starts_with("REPLACE");
}

std::vector<std::string_view> splitAtDash(std::string_view s) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (true) {
        size_t dash = s.find('-', start);
        if (dash == std::string_view::npos) {
            parts.push_back(s.substr(start));
            return parts;
        }
        parts.push_back(s.substr(start, dash - start));
        start = dash + 1;
    }
}

std::mutex sharedMutex;
// Deliberately never destroyed: the engine's queue may still track an event while the process
// exits, and must not find the instance gone.
std::shared_ptr<Analytics>* sharedInstance = nullptr;

}  // namespace

std::shared_ptr<Analytics> Analytics::create(AnalyticsConfig config, Dependencies deps) {
    return std::shared_ptr<Analytics>(new Analytics(std::move(config), std::move(deps)));
}

Analytics::Analytics(AnalyticsConfig config, Dependencies deps)
    : config_(std::move(config)),
      enabled_(!isPlaceholderKey(config_.appKey)),
      sender_(std::move(deps.sender)),
      systemProps_(std::move(deps.systemProps)),
      clock_(deps.clock ? *deps.clock : SystemClock::shared()),
      timers_(deps.timers),
      random_(std::move(deps.random)),
      generator_(std::random_device{}()) {
    std::lock_guard<std::mutex> lock(mutex_);
    lastTouched_ = clock_.wallClock();
    sessionId_ = newSessionId(lastTouched_, nextRandom());
}

Analytics::~Analytics() = default;  // the flush timer stops with its handle

Analytics& Analytics::shared() {
    std::lock_guard<std::mutex> lock(sharedMutex);
    if (!sharedInstance) {
        sharedInstance = new std::shared_ptr<Analytics>(create(AnalyticsConfig{}, Dependencies{}));
    }
    return **sharedInstance;
}

bool Analytics::installShared(std::shared_ptr<Analytics> instance) {
    std::lock_guard<std::mutex> lock(sharedMutex);
    if (sharedInstance || !instance) return false;
    sharedInstance = new std::shared_ptr<Analytics>(std::move(instance));
    return true;
}

std::string Analytics::newSessionId(double wallClock, uint64_t random) {
    // Also refuses NaN and negative times, which have no whole-second value.
    if (!(wallClock >= 0.0 && wallClock < 18446744073709551616.0)) std::abort();
    auto seconds = static_cast<uint64_t>(wallClock);
    uint64_t id = 0;
    if (__builtin_mul_overflow(seconds, sessionRandomRange, &id) ||
        __builtin_add_overflow(id, random % sessionRandomRange, &id)) {
        std::abort();
    }
    return std::to_string(id);
}

uint64_t Analytics::nextRandom() {
    if (random_) return random_() % sessionRandomRange;
    return std::uniform_int_distribution<uint64_t>(0, sessionRandomRange - 1)(generator_);
}

void Analytics::start() {
    if (!enabled_) return;
    trackEvent("app_started");
    if (!timers_) return;

    // Held weakly, so the last reference may go inside a flush.
    std::weak_ptr<Analytics> weak = weak_from_this();
    std::lock_guard<std::mutex> lock(timerMutex_);
    flushTimer_ = timers_->scheduleRepeating(config_.flushInterval, config_.flushInterval, [weak] {
        if (auto self = weak.lock()) self->flush();
    });
}

void Analytics::trackEvent(const std::string& name, const nlohmann::json& props) {
    if (!enabled_) return;
    double now = clock_.wallClock();
    std::string session;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (now - lastTouched_ > sessionTimeout) sessionId_ = newSessionId(now, nextRandom());
        lastTouched_ = now;
        session = sessionId_;
    }
    Event event;
    event.timestamp = now;
    event.sessionId = std::move(session);
    event.eventName = name;
    if (systemProps_) event.systemProps = systemProps_->read();
    event.props = convertProps(props);
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(event));
}

void Analytics::flush() {
    std::vector<Event> batch;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (queue_.empty()) return;
        batch.swap(queue_);
    }
    send(std::move(batch));
}

void Analytics::appWillTerminate() {
    flush();
    if (sender_) sender_->waitForInFlight(config_.terminationWait);
}

std::optional<std::string> Analytics::endpointFor(const AnalyticsConfig& config) {
    auto parts = splitAtDash(config.appKey);
    if (parts.size() != 3) return std::nullopt;
    const std::string* base = nullptr;
    if (parts[1] == "US") {
        base = &config.usBaseUrl;
    } else if (parts[1] == "EU") {
        base = &config.euBaseUrl;
    }
    if (!base || base->empty()) return std::nullopt;
    return *base + eventsPath;
}

void Analytics::send(std::vector<Event> batch) {
    // Every failure below drops the batch without a word: analytics must never disturb the app.
    auto url = endpointFor(config_);
    if (!url || !sender_) return;
    std::string body;
    try {
        body = encodeBatch(batch);
    } catch (const nlohmann::json::exception&) {
        return;
    }
    sender_->post(*url, {{"Content-Type", "application/json"}, {"App-Key", config_.appKey}},
                  std::move(body), config_.requestTimeout);
}

std::string Analytics::sessionId() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sessionId_;
}

size_t Analytics::queuedCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return queue_.size();
}

}  // namespace mavo

#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "analytics/EventTracker.h"

namespace mavo::test {

// Records every usage event; the engine tracks from its own queue.
class FakeEventTracker final : public EventTracker {
  public:
    struct Event {
        std::string name;
        nlohmann::json props;
    };

    void trackEvent(const std::string& name, const nlohmann::json& props) override {
        std::lock_guard<std::mutex> l(mu_);
        events_.push_back({name, props});
    }
    std::vector<Event> events() const {
        std::lock_guard<std::mutex> l(mu_);
        return events_;
    }
    int count(const std::string& name) const {
        return static_cast<int>(std::ranges::count(events(), name, &Event::name));
    }

  private:
    mutable std::mutex mu_;
    std::vector<Event> events_;
};

}  // namespace mavo::test

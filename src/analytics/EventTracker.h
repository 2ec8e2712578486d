#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace mavo {

// Where the engine and the menu send usage events. `props` is a JSON object; values that are not
// a string, an integer, a floating-point number or a boolean are dropped by the client.
class EventTracker {
  public:
    virtual ~EventTracker() = default;
    virtual void trackEvent(const std::string& name,
                            const nlohmann::json& props = nlohmann::json::object()) = 0;
};

}  // namespace mavo

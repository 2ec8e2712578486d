#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

namespace mavo {

// Version string of the client protocol the analytics service expects in every event.
inline constexpr const char* analyticsSdkVersion = "aptabase-swift@0.3.11";

// The fixed description of the running system that travels with every event. The JSON keys keep
// this declaration order.
struct SystemProps {
    bool isDebug = false;
    std::string locale;
    std::string osName;
    std::string osVersion;
    std::string appVersion;
    std::string appBuildNumber;
    std::string sdkVersion = analyticsSdkVersion;
    std::string deviceModel;

    bool operator==(const SystemProps&) const = default;
};

// A debug build announces itself through an application id ending in ".dev".
bool isDebugAppId(std::string_view appId);

// The only property values an event can carry; anything else is dropped before queuing.
using PropValue = std::variant<std::string, int64_t, double, bool>;
using EventProps = std::map<std::string, PropValue>;

struct Event {
    double timestamp = 0;  // wall-clock seconds since 1970
    std::string sessionId;
    std::string eventName;
    SystemProps systemProps;
    std::optional<EventProps> props;  // absent when the event has no properties
};

// Keeps the members of `props` whose values an event can carry. Returns none when nothing is
// left, so that an event never carries an empty or null "props".
std::optional<EventProps> convertProps(const nlohmann::json& props);

// "2026-11-22T23:04:18.123Z": UTC with milliseconds (truncated, never rounded up into the next
// second).
std::string iso8601(double secondsSince1970);

nlohmann::ordered_json toJson(const SystemProps& props);
nlohmann::ordered_json toJson(const Event& event);

// The request body: one JSON array of events. Throws nlohmann::json::exception when a string is
// not valid UTF-8.
std::string encodeBatch(const std::vector<Event>& events);

}  // namespace mavo

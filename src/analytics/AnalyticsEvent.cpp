#include "analytics/AnalyticsEvent.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

namespace mavo {

bool isDebugAppId(std::string_view appId) {
    return appId.ends_with(".dev");
}

namespace {

std::optional<PropValue> convertValue(const nlohmann::json& value) {
    switch (value.type()) {
        case nlohmann::json::value_t::string:
            return value.get<std::string>();
        case nlohmann::json::value_t::boolean:
            return value.get<bool>();
        case nlohmann::json::value_t::number_integer:
            return value.get<int64_t>();
        case nlohmann::json::value_t::number_unsigned: {
            auto u = value.get<uint64_t>();
            if (u > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return std::nullopt;
            return static_cast<int64_t>(u);
        }
        case nlohmann::json::value_t::number_float: {
            // JSON has no NaN or infinity; such a value would only ever arrive as null.
            auto d = value.get<double>();
            if (!std::isfinite(d)) return std::nullopt;
            return d;
        }
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<EventProps> convertProps(const nlohmann::json& props) {
    if (!props.is_object()) return std::nullopt;
    EventProps out;
    for (const auto& [key, value] : props.items()) {
        if (auto converted = convertValue(value)) out.emplace(key, std::move(*converted));
    }
    if (out.empty()) return std::nullopt;
    return out;
}

std::string iso8601(double secondsSince1970) {
    using namespace std::chrono;
    // The microsecond nudge keeps times written as decimal milliseconds (x.123, stored as
    // x.12299999...) on their millisecond.
    auto totalMs = static_cast<int64_t>(std::floor(secondsSince1970 * 1000.0 + 0.001));
    auto ms = milliseconds(totalMs);
    auto day = floor<days>(ms);
    year_month_day ymd{sys_days(day)};
    auto timeOfDay = hh_mm_ss<milliseconds>(ms - day);
    char buf[40];
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(ymd.year()),
                  unsigned(ymd.month()), unsigned(ymd.day()), int(timeOfDay.hours().count()),
                  int(timeOfDay.minutes().count()), int(timeOfDay.seconds().count()),
                  int(timeOfDay.subseconds().count()));
    return buf;
}

nlohmann::ordered_json toJson(const SystemProps& p) {
    nlohmann::ordered_json j = nlohmann::ordered_json::object();
    j["isDebug"] = p.isDebug;
    j["locale"] = p.locale;
    j["osName"] = p.osName;
    j["osVersion"] = p.osVersion;
    j["appVersion"] = p.appVersion;
    j["appBuildNumber"] = p.appBuildNumber;
    j["sdkVersion"] = p.sdkVersion;
    j["deviceModel"] = p.deviceModel;
    return j;
}

nlohmann::ordered_json toJson(const Event& e) {
    nlohmann::ordered_json j = nlohmann::ordered_json::object();
    j["timestamp"] = iso8601(e.timestamp);
    j["sessionId"] = e.sessionId;
    j["eventName"] = e.eventName;
    j["systemProps"] = toJson(e.systemProps);
    if (e.props) {
        nlohmann::ordered_json props = nlohmann::ordered_json::object();
        for (const auto& [key, value] : *e.props) {
            std::visit([&slot = props[key]](const auto& v) { slot = v; }, value);
        }
        j["props"] = std::move(props);
    }
    return j;
}

std::string encodeBatch(const std::vector<Event>& events) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const auto& e : events) array.push_back(toJson(e));
    return array.dump();
}

}  // namespace mavo

#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace mavo {

// The user's settings store: plain camel-case keys, JSON values (booleans, numbers, arrays of
// strings). A key "exists" when `object` returns a value for it.
class UserDefaults {
  public:
    virtual ~UserDefaults() = default;
    virtual std::optional<nlohmann::json> object(const std::string& key) const = 0;
    virtual void set(const std::string& key, const nlohmann::json& value) = 0;
    virtual void remove(const std::string& key) = 0;

    bool boolean(const std::string& key) const {
        auto v = object(key);
        return v && v->is_boolean() ? v->get<bool>() : false;
    }
    double number(const std::string& key) const {
        auto v = object(key);
        return v && v->is_number() ? v->get<double>() : 0.0;
    }
};

}  // namespace mavo

#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/UserDefaults.h"

namespace mavo::test {

// The settings store in memory, with the keys of every write in order.
class FakeUserDefaults final : public UserDefaults {
  public:
    std::optional<nlohmann::json> object(const std::string& key) const override {
        std::lock_guard<std::mutex> l(mu_);
        auto it = values_.find(key);
        return it == values_.end() ? std::nullopt : std::optional(it->second);
    }
    void set(const std::string& key, const nlohmann::json& value) override {
        std::lock_guard<std::mutex> l(mu_);
        values_[key] = value;
        writes_.push_back(key);
    }
    void remove(const std::string& key) override {
        std::lock_guard<std::mutex> l(mu_);
        values_.erase(key);
    }

    // The stored array of strings; nothing when absent or of another shape.
    std::optional<std::vector<std::string>> strings(const std::string& key) const {
        auto v = object(key);
        if (!v || !v->is_array() || !std::ranges::all_of(*v, &nlohmann::json::is_string))
            return std::nullopt;
        return v->get<std::vector<std::string>>();
    }
    std::vector<std::string> writtenKeys() const {
        std::lock_guard<std::mutex> l(mu_);
        return writes_;
    }
    void clearWrites() {
        std::lock_guard<std::mutex> l(mu_);
        writes_.clear();
    }

  private:
    mutable std::mutex mu_;
    std::map<std::string, nlohmann::json> values_;
    std::vector<std::string> writes_;
};

}  // namespace mavo::test

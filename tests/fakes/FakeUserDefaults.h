#pragma once

// FakeUserDefaults: the settings store in memory, thread-safe, with a record of every write.
//   FakeUserDefaults d;
//   d.set("paused", true);  d.object("paused");  d.remove("paused");
//   d.writeCount("excludedBundleIDs");  d.strings("excludedBundleIDs");  d.writtenKeys();

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/UserDefaults.h"

namespace mavo::test {

class FakeUserDefaults final : public UserDefaults {
  public:
    std::optional<nlohmann::json> object(const std::string& key) const override {
        std::lock_guard<std::mutex> l(mu_);
        auto it = values_.find(key);
        if (it == values_.end()) return std::nullopt;
        return it->second;
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

    // The stored array of strings in stored order; nothing when absent or of another shape.
    std::optional<std::vector<std::string>> strings(const std::string& key) const {
        auto v = object(key);
        if (!v || !v->is_array()) return std::nullopt;
        std::vector<std::string> out;
        for (const auto& item : *v) {
            if (!item.is_string()) return std::nullopt;
            out.push_back(item.get<std::string>());
        }
        return out;
    }

    int writeCount(const std::string& key) const {
        std::lock_guard<std::mutex> l(mu_);
        int n = 0;
        for (const auto& k : writes_) n += k == key;
        return n;
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

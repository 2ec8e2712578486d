#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "analytics/Analytics.h"
#include "analytics/HttpSender.h"
#include "analytics/SystemPropsSource.h"

namespace mavo::test {

// Records every post instead of sending it; safe from several threads.
class FakeHttpSender final : public HttpSender {
  public:
    struct Post {
        std::string url;
        std::vector<HttpHeader> headers;
        std::string body;
        double timeout = 0;
    };

    void post(const std::string& url, const std::vector<HttpHeader>& headers, std::string body,
              double timeoutSeconds) override {
        std::lock_guard<std::mutex> lock(mutex_);
        posts_.push_back({url, headers, std::move(body), timeoutSeconds});
    }
    bool waitForInFlight(double seconds) override {
        std::lock_guard<std::mutex> lock(mutex_);
        waits_.push_back(seconds);
        return true;
    }
    std::vector<Post> posts() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return posts_;
    }
    std::vector<double> waits() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return waits_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Post> posts_;
    std::vector<double> waits_;
};

// System properties the test sets, counting reads.
class FakeSystemProps final : public SystemPropsSource {
  public:
    SystemProps read() const override {
        std::lock_guard<std::mutex> lock(mutex_);
        return ++reads_, props_;
    }
    void set(SystemProps props) {
        std::lock_guard<std::mutex> lock(mutex_);
        props_ = std::move(props);
    }
    int reads() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return reads_;
    }

  private:
    mutable std::mutex mutex_;
    SystemProps props_;
    mutable int reads_ = 0;
};

}  // namespace mavo::test

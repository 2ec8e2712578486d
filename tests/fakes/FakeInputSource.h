#pragma once

#include <functional>
#include <mutex>
#include <optional>

#include "common/Clock.h"
#include "engine/InputSource.h"

namespace mavo::test {

// The left mouse button and the keyboard, pressed by the test at the clock's time.
class FakeInputSource final : public InputSource {
  public:
    explicit FakeInputSource(const Clock& clock) : clock_(clock) {}

    bool start(Handlers handlers) override {
        std::lock_guard<std::mutex> l(mu_);
        handlers_ = std::move(handlers);
        return true;
    }
    std::optional<double> secondsSinceLastKeyPress() override {
        std::lock_guard<std::mutex> l(mu_);
        if (!lastKey_) return std::nullopt;
        return clock_.uptime() - *lastKey_;
    }

    void press() { fire(&Handlers::press); }
    void release() { fire(&Handlers::release); }
    void drag() { fire(&Handlers::drag); }
    void keyPress() {
        std::lock_guard<std::mutex> l(mu_);
        lastKey_ = clock_.uptime();
    }

  private:
    void fire(std::function<void()> Handlers::*which) {
        std::function<void()> handler;
        {
            std::lock_guard<std::mutex> l(mu_);
            handler = handlers_.*which;
        }
        if (handler) handler();
    }

    const Clock& clock_;
    std::mutex mu_;
    Handlers handlers_;
    std::optional<double> lastKey_;
};

}  // namespace mavo::test

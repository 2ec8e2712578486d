#pragma once

// FakeInputSource: the left mouse button and the keyboard, pressed by the test.
//   FakeInputSource input(clock);  monitor.start(input);
//   input.press();  input.drag();  input.release();  input.keyPress();  // at the clock's time
//   input.refuseStart();  // the platform refuses the monitors

#include <functional>
#include <mutex>
#include <optional>

#include "common/Clock.h"
#include "engine/InputSource.h"

namespace mavo::test {

class FakeInputSource final : public InputSource {
  public:
    explicit FakeInputSource(const Clock& clock) : clock_(clock) {}

    bool start(Handlers handlers) override {
        std::lock_guard<std::mutex> l(mu_);
        if (refuse_) return false;
        handlers_ = std::move(handlers);
        started_ = true;
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
    void refuseStart() {
        std::lock_guard<std::mutex> l(mu_);
        refuse_ = true;
    }
    bool started() const {
        std::lock_guard<std::mutex> l(mu_);
        return started_;
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
    mutable std::mutex mu_;
    Handlers handlers_;
    std::optional<double> lastKey_;
    bool refuse_ = false;
    bool started_ = false;
};

}  // namespace mavo::test

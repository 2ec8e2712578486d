#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <functional>
#include <memory>
#include <ostream>

#include "TestDesktop.h"
#include "geometry/Rect.h"
#include "platform/x11/X11Connection.h"

namespace mavo {

inline void PrintTo(const Rect& r, std::ostream* os) {
    *os << "(" << r.x << "," << r.y << " " << r.width << "x" << r.height << ")";
}
inline void PrintTo(const Point& p, std::ostream* os) {
    *os << "(" << p.x << "," << p.y << ")";
}
inline void PrintTo(const Size& s, std::ostream* os) {
    *os << s.width << "x" << s.height;
}

}  // namespace mavo

namespace mavo::test {

// A fresh desktop per test, and the backend's connection to it in strict error mode: any X error
// other than a vanished window's fails the test.
class X11Fixture : public ::testing::Test {
  protected:
    virtual TestDesktop::Options desktopOptions() { return {}; }

    void SetUp() override {
        desktop = std::make_unique<TestDesktop>(desktopOptions());
        ASSERT_EQ(desktop->failure(), "");
        x11 = X11Connection::open(desktop->display().c_str(), {.strictErrors = true});
        ASSERT_TRUE(x11);
    }

    void TearDown() override {
        if (x11) {
            EXPECT_THAT(x11->unexpectedErrors(), ::testing::IsEmpty());
        }
        x11.reset();
        desktop.reset();
    }

    TestDesktop::Client client(std::vector<std::string> options) {
        auto started = desktop->startClient(std::move(options));
        EXPECT_TRUE(started) << "the test client did not come up";
        return started.value_or(TestDesktop::Client{});
    }

    // Runs the main-thread side of the connection (as the app's main loop does) until
    // `condition` holds or the timeout passes.
    bool pumpUntil(const std::function<bool()>& condition, double timeoutSeconds = 5) {
        auto deadline =
            std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
        while (!condition()) {
            if (std::chrono::steady_clock::now() >= deadline) return false;
            pollfd pfd{x11->fd(), POLLIN, 0};
            poll(&pfd, 1, 10);
            x11->dispatchPending();
        }
        return true;
    }

    // Runs the main-thread side for a while, for events that must not come.
    void pumpFor(double seconds) {
        pumpUntil([] { return false; }, seconds);
    }

    std::unique_ptr<TestDesktop> desktop;
    std::unique_ptr<X11Connection> x11;
};

}  // namespace mavo::test

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <memory>

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowServer.h"
#include "support/TestDesktop.h"
#include "windowaccess/AX.h"

namespace mavo {
inline void PrintTo(const Rect& r, std::ostream* os) {
    *os << "(" << r.x << "," << r.y << " " << r.width << "x" << r.height << ")";
}
inline void PrintTo(const Point& p, std::ostream* os) {
    *os << "(" << p.x << "," << p.y << ")";
}
}  // namespace mavo

namespace mavo::test {

// A fresh desktop per test and the backend's connection to it in strict mode: any X error other
// than a vanished window's fails the test.
class X11Fixture : public ::testing::Test {
  protected:
    virtual TestDesktop::Options desktopOptions() { return {}; }

    void SetUp() override {
        desktop = std::make_unique<TestDesktop>(desktopOptions());
        ASSERT_EQ(desktop->failure(), "");
        x11 = X11Connection::open(desktop->display().c_str(), {.strictErrors = true});
        ASSERT_TRUE(x11);
        server = std::make_unique<X11WindowServer>(*x11);
        ax = std::make_unique<AX>(*server);
    }
    void TearDown() override {
        if (x11) {
            EXPECT_THAT(x11->unexpectedErrors(), ::testing::IsEmpty());
        }
    }

    TestDesktop::Client client(std::vector<std::string> options) {
        auto started = desktop->startClient(std::move(options));
        EXPECT_TRUE(started) << "the test client did not come up";
        return started.value_or(TestDesktop::Client{});
    }
    static WindowHandle win(xcb_window_t window) { return {window, nullptr}; }
    // The window manager's frame as the server's tree has it, in root coordinates.
    std::optional<Rect> outer(xcb_window_t window) {
        auto f = desktop->frame(window);
        if (!f) return std::nullopt;
        return Rect{double(f->x), double(f->y), double(f->width), double(f->height)};
    }
    // Runs the main-thread side of the connection, as the app's main loop does.
    bool pumpUntil(const std::function<bool()>& condition, double timeoutSeconds = 5) {
        return TestDesktop::waitUntil(
            [&] {
                pollfd pfd{x11->fd(), POLLIN, 0};
                poll(&pfd, 1, 5);
                x11->dispatchPending();
                return condition();
            },
            timeoutSeconds);
    }
    void pumpFor(double seconds) {
        pumpUntil([] { return false; }, seconds);
    }

    std::unique_ptr<TestDesktop> desktop;
    std::unique_ptr<X11Connection> x11;
    std::unique_ptr<X11WindowServer> server;
    std::unique_ptr<AX> ax;
};

}  // namespace mavo::test

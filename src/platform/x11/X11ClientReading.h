#pragma once

// The window manager's clients as last read, shared by everything that lists windows or
// applications, so that one tick reads them once. A reading is renewed when the window manager
// changes its client list (followed from the event thread) or once it is older than a tick's work,
// which catches a class or process that changed on a listed window. Safe to call from any thread.

#include <xcb/xcb.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/x11/X11Applications.h"

namespace mavo {

class X11Connection;

class X11ClientReading {
  public:
    explicit X11ClientReading(X11Connection& x11);

    // _NET_CLIENT_LIST; nothing without a window manager's list.
    std::optional<std::vector<xcb_window_t>> listed();
    // The clients grouped into applications; nothing without a window manager's list.
    std::optional<std::vector<X11Application>> applications();
    // Called on the event thread at every change of the list; must be quick and thread-safe.
    void onChange(std::function<void()> handler);

  private:
    struct Changes {
        std::atomic<uint64_t> count{0};
        std::mutex lock;
        std::function<void()> handler;
    };
    template <typename T>
    struct Reading {
        uint64_t changes;
        std::chrono::steady_clock::time_point at;
        T value;
    };
    template <typename T, typename Read>
    std::optional<T> cached(std::optional<Reading<T>>& slot, Read read);

    X11Connection& x11_;
    // Shared with the event-thread hook, which lives as long as the connection.
    std::shared_ptr<Changes> changes_ = std::make_shared<Changes>();
    std::mutex lock_;  // guards the readings
    std::optional<Reading<std::vector<xcb_window_t>>> listed_;
    std::optional<Reading<std::vector<X11Application>>> applications_;
};

}  // namespace mavo

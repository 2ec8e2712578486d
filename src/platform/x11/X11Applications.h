#pragma once

// The window manager's clients grouped into applications. Clients of one WM_CLASS class are one
// application whatever process shows them (two xterms are one application with two windows), and
// so are the clients of one process; an application is the closure of both. Its bundle id is the
// class of its oldest client that has one; it is regular when one of its clients is an ordinary
// window (not a dock, desktop or skip-taskbar window). Clients without a process belong to none.

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mavo {

class X11Connection;

struct X11Client {
    xcb_window_t window = XCB_WINDOW_NONE;
    int32_t pid = 0;
    std::string instance, cls;  // the two parts of WM_CLASS
    bool ordinary = false;
};

struct X11Application {
    std::vector<int32_t> pids;  // ascending
    std::vector<xcb_window_t> windows;
    std::optional<std::string> bundleID, name;
    bool regular = false;
};

// In the order of each application's oldest client (`clients` in the window manager's order).
std::vector<X11Application> groupApplications(const std::vector<X11Client>& clients);

}  // namespace mavo

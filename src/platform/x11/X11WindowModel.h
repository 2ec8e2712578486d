#pragma once

// What the server says of the window manager's clients, kept current by events so that reading
// it in steady state costs no round trip. A window is read in one burst (every request sent, then
// every reply read) the first time it is asked about and again after an event says something it
// depends on changed: one of its properties, its or its frame's geometry, its parent, the client
// list, the monitors. A change shows once the server's event about it has arrived, a moment after
// the server made it. Safe to call from any thread.

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/x11/X11Applications.h"
#include "platform/x11/X11Util.h"

namespace mavo {

class X11Connection;

struct X11WindowState {
    uint32_t wmState = 0;  // WM_STATE's state; 0 (withdrawn) when absent
    std::vector<uint32_t> types, netState;
    std::optional<std::vector<uint32_t>> allowedActions;  // nothing: not published
    xcb_window_t transientFor = XCB_WINDOW_NONE;
    bool fixedSize = false;  // its minimum and maximum sizes are one size
    std::optional<std::string> title;
    int32_t pid = 0;
    std::string instance, cls;  // the two parts of WM_CLASS
    X11FrameGeometry geometry;
    // It publishes _GTK_FRAME_EXTENTS, even as zeros (as it does while maximized).
    bool drawsShadows = false;
};

class X11WindowModel {
  public:
    explicit X11WindowModel(X11Connection& x11);
    ~X11WindowModel();

    // _NET_CLIENT_LIST; nothing without a window manager's list.
    std::optional<std::vector<xcb_window_t>> listed();
    // Nothing when the window is gone.
    std::optional<X11WindowState> window(xcb_window_t window);
    // In _NET_CLIENT_LIST.
    bool isListed(xcb_window_t window);
    // The listed clients grouped into applications; nothing without a window manager's list.
    std::optional<std::vector<X11Application>> applications();
    // Called on the event thread when the client list changes or a window's WM_STATE does (the
    // window manager took it on, or it left or came back from iconified); quick and thread-safe.
    void onChange(std::function<void()> handler);

  private:
    struct Shared;
    // Reads the client list again if it changed; false without a window manager's list.
    bool refreshList();
    std::vector<std::optional<X11WindowState>> read(const std::vector<xcb_window_t>& windows);

    X11Connection& x11_;
    // Shared with the event-thread hook, which lives as long as the connection.
    std::shared_ptr<Shared> shared_;
};

}  // namespace mavo

#pragma once

// Window access over EWMH: the engine's `WindowServer` for X11 window managers.
//
// A window handle is the client window's id (the window the application created, inside the
// window manager's frame). Positions and sizes are the outer frame (client plus
// _NET_FRAME_EXTENTS) in accessibility coordinates: root coordinates moved so that the primary
// monitor's top-left corner is (0, 0). Writes go through the window manager
// (_NET_MOVERESIZE_WINDOW) and return once it acted, so that the read-back that follows sees
// the result. Safe to call from any thread (the engine calls it on its queue); a vanished window
// is "no value" or false and nothing is printed.
//
//     X11WindowServer server(*x11);
//     AX ax(server);   // what the engine is built with

#include <xcb/xcb.h>

#include <optional>

#include "platform/x11/X11Connection.h"
#include "windowaccess/WindowServer.h"

namespace mavo {

class X11WindowServer : public WindowServer {
  public:
    explicit X11WindowServer(X11Connection& x11) : x11_(x11) {}

    std::optional<AttributeValue> copyAttribute(const WindowHandle& element,
                                                std::string_view attribute) override;
    bool setPoint(const WindowHandle& element, std::string_view attribute, Point value) override;
    bool setSize(const WindowHandle& element, std::string_view attribute, Size value) override;
    bool isSettable(const WindowHandle& element, std::string_view attribute) override;
    std::optional<AttributeValue> applicationWindows(int32_t pid) override;
    std::optional<int32_t> pid(const WindowHandle& element) override;
    // Also the longest wait for the window manager to act on a write.
    void setGlobalMessagingTimeout(float seconds) override;

    // The outer frame in accessibility coordinates; nothing when the window vanished.
    std::optional<Rect> frame(xcb_window_t window);

  private:
    // The client's geometry and what the window manager adds around it.
    struct Geometry {
        Rect client;                      // root coordinates, inside the client's own border
        double border;                    // the client's border width
        double left, right, top, bottom;  // _NET_FRAME_EXTENTS
        Point origin;  // the primary monitor's top-left corner in root coordinates
        Rect frameAX() const;
    };
    std::optional<Geometry> geometry(xcb_window_t window);
    std::optional<bool> isInClientList(xcb_window_t window);
    std::optional<std::vector<uint32_t>> atomList(xcb_window_t window, xcb_atom_t property);
    // Clears the window manager's own maximized state; true when it had to.
    bool leaveMaximizedState(xcb_window_t window);
    // Sends _NET_MOVERESIZE_WINDOW and waits for the window manager to act on it.
    void moveResize(xcb_window_t window, uint32_t flags, int32_t x, int32_t y, int32_t width,
                    int32_t height);

    X11Connection& x11_;
};

}  // namespace mavo

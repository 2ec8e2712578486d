#pragma once

// Window access over EWMH: the engine's `WindowServer` for X11 window managers.
//
// A window handle is the client window's id (the window the application created, inside the
// window manager's frame). Positions and sizes are the visible frame (client plus
// _NET_FRAME_EXTENTS, less the _GTK_FRAME_EXTENTS shadows of client-side decorations) in
// accessibility coordinates: root coordinates moved so that the primary monitor's top-left corner
// is (0, 0). Writes go through the window manager (_NET_MOVERESIZE_WINDOW) and return once it
// acted, so that the read-back that follows sees the result. Only windows the window manager has
// taken on (listed, and given a WM_STATE) are windows at all: a request about a window it is still
// setting up would be dropped, and the unchanged frame taken for the application's own sizing.
// Reads come from the connection's window model, so a tick in steady state asks the server
// nothing. Safe to call from any thread (the engine calls it on its queue); a vanished window is
// "no value" or false and nothing is printed.
//
//     X11WindowServer server(*x11);
//     AX ax(server);   // what the engine is built with

#include <xcb/xcb.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Util.h"
#include "platform/x11/X11WindowModel.h"
#include "windowaccess/WindowServer.h"

namespace mavo {

class X11WindowServer : public WindowServer {
  public:
    explicit X11WindowServer(X11Connection& x11) : x11_(x11) {}

    std::optional<WindowFacts> facts(const WindowHandle& window) override;
    std::optional<std::vector<WindowHandle>> applicationWindows(int32_t pid) override;
    bool setPosition(const WindowHandle& window, Point value) override;
    bool setSize(const WindowHandle& window, Size value) override;
    // Also the longest wait for the window manager to act on a write.
    void setGlobalMessagingTimeout(float seconds) override;

    // The visible frame in accessibility coordinates; nothing when the window vanished.
    std::optional<Rect> frame(xcb_window_t window);

  private:
    using Deadline = std::chrono::steady_clock::time_point;
    std::optional<X11FrameGeometry> geometry(xcb_window_t window);
    std::string subrole(const X11WindowState& state);
    // Moves and/or resizes the visible frame; returns once the window manager acted, or at the
    // messaging timeout, which bounds the whole call.
    bool write(xcb_window_t window, std::optional<Point> position, std::optional<Size> size);
    // Clears the window manager's own maximized state; true when it had to.
    bool leaveMaximizedState(xcb_window_t window, Deadline deadline);
    // Sends _NET_MOVERESIZE_WINDOW and waits for the window manager to act on it.
    void moveResize(xcb_window_t window, const X11FrameGeometry& g, std::optional<Point> position,
                    std::optional<Size> size, Deadline deadline);
    // Waits until the window manager has acted on the request numbered `sequence` or handled
    // it; false when neither showed by the deadline.
    bool awaitAnswer(X11Connection::WindowWatch& configured, uint32_t sequence, Deadline deadline);

    // A write the window manager had not acted on by the timeout (it is busy, say with many
    // windows mapping at once): until it does, or gives up, the window's geometry is in flux and
    // reads have no value, so that the old geometry is not taken for the application's answer.
    struct Unacknowledged {
        std::unique_ptr<X11Connection::WindowWatch> watch;
        uint32_t sequence;
        std::chrono::steady_clock::time_point until;
    };
    void noteUnacknowledged(xcb_window_t window, std::unique_ptr<X11Connection::WindowWatch> watch,
                            uint32_t sequence);
    bool inFlux(xcb_window_t window);

    X11Connection& x11_;
    std::mutex lock_;  // guards unacknowledged_
    std::map<xcb_window_t, Unacknowledged> unacknowledged_;
};

}  // namespace mavo

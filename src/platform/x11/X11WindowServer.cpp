#include "platform/x11/X11WindowServer.h"

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "platform/x11/X11Util.h"
#include "windowaccess/AX.h"

namespace mavo {

namespace {

xcb_window_t windowOf(const WindowHandle& handle) {
    return static_cast<xcb_window_t>(handle.id);
}

bool contains(const std::vector<uint32_t>& values, uint32_t value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

std::chrono::steady_clock::time_point deadlineAfter(double seconds) {
    return std::chrono::steady_clock::now() +
           std::chrono::duration_cast<std::chrono::steady_clock::duration>(
               std::chrono::duration<double>(seconds));
}

// Long enough for a window manager that acts on a request to show it, on a loaded machine too.
constexpr double kAnswerGrace = 0.05;

int32_t toPixels(double value) {
    return static_cast<int32_t>(std::lround(value));
}

}  // namespace

bool X11WindowServer::awaitAnswer(X11Connection::WindowWatch& configured, uint32_t sequence,
                                  Deadline deadline) {
    // A window manager answers a request it acts on with a ConfigureNotify. Only when none comes
    // soon is it asked whether it has handled the request at all: the question costs some window
    // managers a great deal of work (a whole pretend management), which delays the very window
    // being resized. Once it has handled the request the server holds the new geometry; the
    // ConfigureNotify still covers window managers that configure later.
    if (configured.waitAfter(sequence, std::min(deadline, deadlineAfter(kAnswerGrace))))
        return true;
    bool handled = x11_.windowManagerRoundTrip(deadline);
    return configured.waitAfter(sequence, deadline) || handled;
}

void X11WindowServer::noteUnacknowledged(xcb_window_t window,
                                         std::unique_ptr<X11Connection::WindowWatch> watch,
                                         uint32_t sequence) {
    // Window managers that silently drop a request never answer it: give up after a while.
    constexpr std::chrono::seconds patience{2};
    std::lock_guard<std::mutex> guard(lock_);
    unacknowledged_[window] = {std::move(watch), sequence,
                               std::chrono::steady_clock::now() + patience};
}

bool X11WindowServer::inFlux(xcb_window_t window) {
    std::lock_guard<std::mutex> guard(lock_);
    auto found = unacknowledged_.find(window);
    if (found == unacknowledged_.end()) return false;
    auto now = std::chrono::steady_clock::now();
    if (found->second.watch->waitAfter(found->second.sequence, now) || now >= found->second.until) {
        unacknowledged_.erase(found);
        return false;
    }
    return true;
}

std::optional<X11FrameGeometry> X11WindowServer::geometry(xcb_window_t window) {
    if (inFlux(window)) return std::nullopt;
    auto state = x11_.windows().window(window);
    if (!state) return std::nullopt;
    return state->geometry;
}

std::optional<Rect> X11WindowServer::frame(xcb_window_t window) {
    auto g = geometry(window);
    if (!g) return std::nullopt;
    return g->visible();
}

std::string X11WindowServer::subrole(const X11WindowState& state) {
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    // The first type this backend knows decides, as the window manager does it.
    for (uint32_t type : state.types) {
        if (type == ewmh->_NET_WM_WINDOW_TYPE_NORMAL) return std::string(Attr::standardWindow);
        if (type == ewmh->_NET_WM_WINDOW_TYPE_DIALOG) return "AXDialog";
        if (type == ewmh->_NET_WM_WINDOW_TYPE_UTILITY ||
            type == ewmh->_NET_WM_WINDOW_TYPE_TOOLBAR || type == ewmh->_NET_WM_WINDOW_TYPE_MENU) {
            return "AXFloatingWindow";
        }
        if (type == ewmh->_NET_WM_WINDOW_TYPE_DOCK || type == ewmh->_NET_WM_WINDOW_TYPE_DESKTOP ||
            type == ewmh->_NET_WM_WINDOW_TYPE_SPLASH ||
            type == ewmh->_NET_WM_WINDOW_TYPE_NOTIFICATION ||
            type == ewmh->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU ||
            type == ewmh->_NET_WM_WINDOW_TYPE_POPUP_MENU ||
            type == ewmh->_NET_WM_WINDOW_TYPE_TOOLTIP || type == ewmh->_NET_WM_WINDOW_TYPE_COMBO ||
            type == ewmh->_NET_WM_WINDOW_TYPE_DND) {
            return "AXSystemFloatingWindow";
        }
    }
    // No known type: a transient window is a dialog of its owner, anything else is normal.
    if (state.transientFor != XCB_WINDOW_NONE) return "AXDialog";
    return std::string(Attr::standardWindow);
}

std::optional<WindowFacts> X11WindowServer::facts(const WindowHandle& handle) {
    xcb_window_t window = windowOf(handle);
    auto state = x11_.windows().window(window);
    if (!state) return std::nullopt;
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    WindowFacts f;
    // Window managers list a client as they begin to manage it; WM_STATE follows once it is set
    // up (mapped, or iconified) and acts on requests about it. Only then is it a window at all.
    bool managed =
        x11_.windows().isListed(window) && (state->wmState == XCB_ICCCM_WM_STATE_NORMAL ||
                                            state->wmState == XCB_ICCCM_WM_STATE_ICONIC);
    if (managed) f.role = std::string(Attr::windowRole);
    f.subrole = subrole(*state);
    f.title = state->title.value_or("");
    f.minimized = contains(state->netState, ewmh->_NET_WM_STATE_HIDDEN) ||
                  state->wmState == XCB_ICCCM_WM_STATE_ICONIC;
    f.fullScreen = contains(state->netState, ewmh->_NET_WM_STATE_FULLSCREEN);
    // Window managers that publish the allowed actions have the last word.
    auto allows = [&](xcb_atom_t action) {
        return !state->allowedActions || contains(*state->allowedActions, action);
    };
    f.positionSettable = allows(ewmh->_NET_WM_ACTION_MOVE);
    f.sizeSettable = allows(ewmh->_NET_WM_ACTION_RESIZE) && !state->fixedSize;
    if (!inFlux(window)) f.frame = state->geometry.visible();
    f.pid = state->pid;
    return f;
}

bool X11WindowServer::leaveMaximizedState(xcb_window_t window, Deadline deadline) {
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    auto state = x11_.windows().window(window);
    if (!state || (!contains(state->netState, ewmh->_NET_WM_STATE_MAXIMIZED_VERT) &&
                   !contains(state->netState, ewmh->_NET_WM_STATE_MAXIMIZED_HORZ))) {
        return false;
    }
    bool drawsShadows = state->drawsShadows;
    x11_.selectEvents(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                                  (drawsShadows ? XCB_EVENT_MASK_PROPERTY_CHANGE : 0));
    X11Connection::WindowWatch configured(x11_, window);
    X11Connection::WindowWatch reshadowed(x11_, window, x11_.atoms().gtkFrameExtents);
    auto cookie = xcb_ewmh_request_change_wm_state(
        ewmh, x11_.screenNumber(), window, XCB_EWMH_WM_STATE_REMOVE,
        ewmh->_NET_WM_STATE_MAXIMIZED_VERT, ewmh->_NET_WM_STATE_MAXIMIZED_HORZ,
        XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    xcb_flush(x11_.xcb());
    awaitAnswer(configured, cookie.sequence, deadline);
    // An application drawing its own decorations drops its shadows while maximized and puts them
    // back only once it learns the state is gone, after the window manager acted: the size
    // written next must count them.
    if (drawsShadows) reshadowed.waitAfter(cookie.sequence, deadline);
    return true;
}

void X11WindowServer::moveResize(xcb_window_t window, const X11FrameGeometry& g,
                                 std::optional<Point> position, std::optional<Size> size,
                                 Deadline deadline) {
    uint32_t flags = 0;
    Point corner{0, 0};
    Size client{1, 1};
    if (position) {
        flags |= XCB_EWMH_MOVERESIZE_WINDOW_X | XCB_EWMH_MOVERESIZE_WINDOW_Y;
        corner = g.outerCornerFor(*position);
    }
    if (size) {
        flags |= XCB_EWMH_MOVERESIZE_WINDOW_WIDTH | XCB_EWMH_MOVERESIZE_WINDOW_HEIGHT;
        client = g.clientSizeFor(*size);
    }
    x11_.selectEvents(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    auto watch = std::make_unique<X11Connection::WindowWatch>(x11_, window);
    // With north-west gravity the window manager puts the frame's outer corner at (x, y).
    auto cookie = xcb_ewmh_request_moveresize_window(
        x11_.ewmh(), x11_.screenNumber(), window, XCB_GRAVITY_NORTH_WEST,
        XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER,
        static_cast<xcb_ewmh_moveresize_window_opt_flags_t>(flags),
        static_cast<uint32_t>(toPixels(corner.x)), static_cast<uint32_t>(toPixels(corner.y)),
        static_cast<uint32_t>(std::max(toPixels(client.width), 1)),
        static_cast<uint32_t>(std::max(toPixels(client.height), 1)));
    xcb_flush(x11_.xcb());
    if (!awaitAnswer(*watch, cookie.sequence, deadline))
        noteUnacknowledged(window, std::move(watch), cookie.sequence);
}

bool X11WindowServer::write(xcb_window_t window, std::optional<Point> position,
                            std::optional<Size> size) {
    // One deadline for every step, so that a write never holds the engine longer than the
    // messaging timeout.
    Deadline deadline = deadlineAfter(x11_.messagingTimeout());
    auto g = geometry(window);
    if (!g) return false;
    Rect current = g->visible();
    auto samePixels = [](double a, double b) { return toPixels(a) == toPixels(b); };
    bool placed =
        !position || (samePixels(current.x, position->x) && samePixels(current.y, position->y));
    bool sized = !size || (samePixels(current.width, size->width) &&
                           samePixels(current.height, size->height));
    if (placed && sized) return true;
    if (leaveMaximizedState(window, deadline)) {
        g = geometry(window);
        if (!g) return false;
    }
    // The window manager may change its decorations, and the application its shadows, as the
    // window leaves a maximized or tiled state, after the geometry already changed: when the
    // surroundings the write was computed from turn out stale, it is sent again with the new ones.
    for (int attempt = 0; attempt < 3; ++attempt) {
        moveResize(window, *g, position, size, deadline);
        auto after = geometry(window);
        if (!after) return true;  // sent; the window went away meanwhile
        if (after->sameSurroundings(*g) || std::chrono::steady_clock::now() >= deadline) break;
        g = after;
    }
    return true;
}

bool X11WindowServer::setPosition(const WindowHandle& window, Point value) {
    return write(windowOf(window), value, std::nullopt);
}

bool X11WindowServer::setSize(const WindowHandle& window, Size value) {
    return write(windowOf(window), std::nullopt, value);
}

// All the windows of the application this process belongs to, whatever process shows them.
std::optional<std::vector<WindowHandle>> X11WindowServer::applicationWindows(int32_t pid) {
    auto apps = x11_.windows().applications();
    if (!apps) return std::nullopt;
    std::vector<WindowHandle> windows;
    for (const X11Application& app : *apps) {
        if (!std::binary_search(app.pids.begin(), app.pids.end(), pid)) continue;
        for (xcb_window_t window : app.windows) windows.push_back(WindowHandle{window, nullptr});
    }
    return windows;
}

void X11WindowServer::setGlobalMessagingTimeout(float seconds) {
    x11_.setMessagingTimeout(seconds);
}

}  // namespace mavo

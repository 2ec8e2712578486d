#include "platform/x11/X11WindowServer.h"

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "platform/x11/X11ClientReading.h"
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

int32_t toPixels(double value) {
    return static_cast<int32_t>(std::lround(value));
}

}  // namespace

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
    xcb_connection_t* c = x11_.xcb();
    auto geometryCookie = xcb_get_geometry(c, window);
    auto translateCookie = xcb_translate_coordinates(c, window, x11_.root(), 0, 0);
    auto decorationsCookie =
        requestProperty(x11_, window, x11_.ewmh()->_NET_FRAME_EXTENTS, XCB_ATOM_CARDINAL, 4);
    auto shadowsCookie =
        requestProperty(x11_, window, x11_.atoms().gtkFrameExtents, XCB_ATOM_CARDINAL, 4);
    auto monitorsCookie = requestMonitors(x11_);

    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_geometry_reply_t> geo(xcb_get_geometry_reply(c, geometryCookie, &error));
    if (error) {
        x11_.noteError(error);
        free(error);
        error = nullptr;
    }
    Reply<xcb_translate_coordinates_reply_t> translated(
        xcb_translate_coordinates_reply(c, translateCookie, &error));
    if (error) {
        x11_.noteError(error);
        free(error);
    }
    auto decorations = propertyReply(x11_, decorationsCookie);
    auto shadows = propertyReply(x11_, shadowsCookie);
    auto monitors = monitorsReply(x11_, monitorsCookie);
    if (!geo || !translated || !decorations || !shadows) return std::nullopt;

    X11FrameGeometry g;
    g.client = {double(translated->dst_x), double(translated->dst_y), double(geo->width),
                double(geo->height)};
    g.border = geo->border_width;
    g.decorations = extents(decorations->get());
    g.shadows = extents(shadows->get());
    g.origin = primaryOrigin(monitors);
    return g;
}

std::optional<Rect> X11WindowServer::frame(xcb_window_t window) {
    auto g = geometry(window);
    if (!g) return std::nullopt;
    return g->visible();
}

std::optional<bool> X11WindowServer::isManaged(xcb_window_t window) {
    auto wmStateCookie =
        requestProperty(x11_, window, x11_.atoms().wmState, x11_.atoms().wmState, 2);
    auto clients = x11_.clients().listed();
    auto wmState = propertyReply(x11_, wmStateCookie);
    if (!clients || !wmState) return std::nullopt;
    // Window managers list a client as they begin to manage it; WM_STATE follows once it is set
    // up (mapped, or iconified) and acts on requests about it.
    auto state = cardinals(wmState->get());
    return contains(*clients, window) && !state.empty() &&
           (state[0] == XCB_ICCCM_WM_STATE_NORMAL || state[0] == XCB_ICCCM_WM_STATE_ICONIC);
}

std::optional<std::vector<uint32_t>> X11WindowServer::atomList(xcb_window_t window,
                                                               xcb_atom_t property) {
    auto reply = propertyReply(x11_, requestProperty(x11_, window, property, XCB_ATOM_ATOM));
    if (!reply) return std::nullopt;
    return cardinals(reply->get());
}

std::optional<AttributeValue> X11WindowServer::copyAttribute(const WindowHandle& element,
                                                             std::string_view attribute) {
    xcb_window_t window = windowOf(element);
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    if (attribute == Attr::role) {
        auto managed = isManaged(window);
        if (!managed || !*managed) return std::nullopt;
        return AttributeValue(std::string(Attr::windowRole));
    }
    if (attribute == Attr::subrole) {
        auto typeCookie = requestProperty(x11_, window, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM);
        auto transientCookie =
            requestProperty(x11_, window, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 1);
        auto types = propertyReply(x11_, typeCookie);
        auto transient = propertyReply(x11_, transientCookie);
        if (!types || !transient) return std::nullopt;
        // The first type this backend knows decides, as the window manager does it.
        for (uint32_t type : cardinals(types->get())) {
            if (type == ewmh->_NET_WM_WINDOW_TYPE_NORMAL) {
                return AttributeValue(std::string(Attr::standardWindow));
            }
            if (type == ewmh->_NET_WM_WINDOW_TYPE_DIALOG) {
                return AttributeValue(std::string("AXDialog"));
            }
            if (type == ewmh->_NET_WM_WINDOW_TYPE_UTILITY ||
                type == ewmh->_NET_WM_WINDOW_TYPE_TOOLBAR ||
                type == ewmh->_NET_WM_WINDOW_TYPE_MENU) {
                return AttributeValue(std::string("AXFloatingWindow"));
            }
            if (type == ewmh->_NET_WM_WINDOW_TYPE_DOCK ||
                type == ewmh->_NET_WM_WINDOW_TYPE_DESKTOP ||
                type == ewmh->_NET_WM_WINDOW_TYPE_SPLASH ||
                type == ewmh->_NET_WM_WINDOW_TYPE_NOTIFICATION ||
                type == ewmh->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU ||
                type == ewmh->_NET_WM_WINDOW_TYPE_POPUP_MENU ||
                type == ewmh->_NET_WM_WINDOW_TYPE_TOOLTIP ||
                type == ewmh->_NET_WM_WINDOW_TYPE_COMBO || type == ewmh->_NET_WM_WINDOW_TYPE_DND) {
                return AttributeValue(std::string("AXSystemFloatingWindow"));
            }
        }
        // No known type: a transient window is a dialog of its owner, anything else is normal.
        auto owner = cardinals(transient->get());
        if (!owner.empty() && owner[0] != XCB_WINDOW_NONE) {
            return AttributeValue(std::string("AXDialog"));
        }
        return AttributeValue(std::string(Attr::standardWindow));
    }
    if (attribute == Attr::minimized) {
        auto stateCookie = requestProperty(x11_, window, ewmh->_NET_WM_STATE, XCB_ATOM_ATOM);
        auto wmStateCookie =
            requestProperty(x11_, window, x11_.atoms().wmState, x11_.atoms().wmState, 2);
        auto state = propertyReply(x11_, stateCookie);
        auto wmState = propertyReply(x11_, wmStateCookie);
        if (!state || !wmState) return std::nullopt;
        auto iconic = cardinals(wmState->get());
        bool hidden = contains(cardinals(state->get()), ewmh->_NET_WM_STATE_HIDDEN) ||
                      (!iconic.empty() && iconic[0] == XCB_ICCCM_WM_STATE_ICONIC);
        return AttributeValue(hidden);
    }
    if (attribute == Attr::fullScreen) {
        auto state = atomList(window, ewmh->_NET_WM_STATE);
        if (!state) return std::nullopt;
        return AttributeValue(contains(*state, ewmh->_NET_WM_STATE_FULLSCREEN));
    }
    if (attribute == Attr::position || attribute == Attr::size) {
        auto f = frame(window);
        if (!f) return std::nullopt;
        if (attribute == Attr::position) return AttributeValue(f->origin());
        return AttributeValue(f->size());
    }
    if (attribute == Attr::title) {
        auto netNameCookie = requestProperty(x11_, window, ewmh->_NET_WM_NAME, ewmh->UTF8_STRING);
        auto nameCookie = requestProperty(x11_, window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY);
        auto netName = propertyReply(x11_, netNameCookie);
        auto name = propertyReply(x11_, nameCookie);
        if (netName && *netName) {
            if (auto utf8 = text(netName->get())) return AttributeValue(*utf8);
        }
        if (!name || !*name) return std::nullopt;
        auto raw = text(name->get());
        if (!raw) return std::nullopt;
        xcb_atom_t type = (*name)->type;
        if (type == ewmh->UTF8_STRING) return AttributeValue(*raw);
        if (type == XCB_ATOM_STRING) return AttributeValue(latin1ToUtf8(*raw));
        // Compound text: keep its ASCII, which is what it shares with UTF-8.
        std::string ascii;
        for (char ch : *raw) ascii.push_back(static_cast<unsigned char>(ch) < 0x80 ? ch : '?');
        return AttributeValue(ascii);
    }
    return std::nullopt;
}

bool X11WindowServer::leaveMaximizedState(xcb_window_t window, Deadline deadline) {
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    auto stateCookie = requestProperty(x11_, window, ewmh->_NET_WM_STATE, XCB_ATOM_ATOM);
    auto shadowsCookie =
        requestProperty(x11_, window, x11_.atoms().gtkFrameExtents, XCB_ATOM_CARDINAL, 4);
    auto state = propertyReply(x11_, stateCookie);
    auto shadows = propertyReply(x11_, shadowsCookie);
    auto states = state ? cardinals(state->get()) : std::vector<uint32_t>{};
    if (!contains(states, ewmh->_NET_WM_STATE_MAXIMIZED_VERT) &&
        !contains(states, ewmh->_NET_WM_STATE_MAXIMIZED_HORZ)) {
        return false;
    }
    bool drawsShadows = shadows && *shadows;
    x11_.selectEvents(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                                  (drawsShadows ? XCB_EVENT_MASK_PROPERTY_CHANGE : 0));
    X11Connection::WindowWatch configured(x11_, window);
    X11Connection::WindowWatch reshadowed(x11_, window, x11_.atoms().gtkFrameExtents);
    auto cookie = xcb_ewmh_request_change_wm_state(
        ewmh, x11_.screenNumber(), window, XCB_EWMH_WM_STATE_REMOVE,
        ewmh->_NET_WM_STATE_MAXIMIZED_VERT, ewmh->_NET_WM_STATE_MAXIMIZED_HORZ,
        XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    xcb_flush(x11_.xcb());
    x11_.windowManagerRoundTrip(deadline);
    configured.waitAfter(cookie.sequence, deadline);
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
    // Once the window manager has handled the request (the round trip), the server holds the new
    // geometry; the ConfigureNotify covers window managers that configure later or cannot
    // answer round trips.
    bool handled = x11_.windowManagerRoundTrip(deadline);
    bool configured = watch->waitAfter(cookie.sequence, deadline);
    if (!handled && !configured) noteUnacknowledged(window, std::move(watch), cookie.sequence);
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

bool X11WindowServer::setPoint(const WindowHandle& element, std::string_view attribute,
                               Point value) {
    if (attribute != Attr::position) return false;
    return write(windowOf(element), value, std::nullopt);
}

bool X11WindowServer::setSize(const WindowHandle& element, std::string_view attribute, Size value) {
    if (attribute != Attr::size) return false;
    return write(windowOf(element), std::nullopt, value);
}

bool X11WindowServer::isSettable(const WindowHandle& element, std::string_view attribute) {
    if (attribute != Attr::position && attribute != Attr::size) return false;
    xcb_window_t window = windowOf(element);
    xcb_connection_t* c = x11_.xcb();
    auto existsCookie = xcb_get_geometry(c, window);
    auto actionsCookie =
        requestProperty(x11_, window, x11_.ewmh()->_NET_WM_ALLOWED_ACTIONS, XCB_ATOM_ATOM);
    auto hintsCookie = xcb_icccm_get_wm_normal_hints(c, window);

    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_geometry_reply_t> exists(xcb_get_geometry_reply(c, existsCookie, &error));
    if (error) {
        x11_.noteError(error);
        free(error);
        error = nullptr;
    }
    auto actions = propertyReply(x11_, actionsCookie);
    xcb_size_hints_t hints{};
    bool haveHints = xcb_icccm_get_wm_normal_hints_reply(c, hintsCookie, &hints, &error) != 0;
    if (error) {
        x11_.noteError(error);
        free(error);
    }
    if (!exists || !actions) return false;

    // Window managers that publish the allowed actions have the last word.
    if (*actions) {
        auto allowed = cardinals(actions->get());
        xcb_atom_t needed = attribute == Attr::position ? x11_.ewmh()->_NET_WM_ACTION_MOVE
                                                        : x11_.ewmh()->_NET_WM_ACTION_RESIZE;
        if (!contains(allowed, needed)) return false;
    }
    if (attribute == Attr::size && haveHints) {
        bool bounded = (hints.flags & XCB_ICCCM_SIZE_HINT_P_MIN_SIZE) &&
                       (hints.flags & XCB_ICCCM_SIZE_HINT_P_MAX_SIZE);
        if (bounded && hints.min_width == hints.max_width && hints.min_height == hints.max_height) {
            return false;
        }
    }
    return true;
}

// All the windows of the application this process belongs to, whatever process shows them.
std::optional<AttributeValue> X11WindowServer::applicationWindows(int32_t pid) {
    auto apps = x11_.clients().applications();
    if (!apps) return std::nullopt;
    std::vector<WindowHandle> windows;
    for (const X11Application& app : *apps) {
        if (!std::binary_search(app.pids.begin(), app.pids.end(), pid)) continue;
        for (xcb_window_t window : app.windows) windows.push_back(WindowHandle{window, nullptr});
    }
    return AttributeValue(std::move(windows));
}

std::optional<int32_t> X11WindowServer::pid(const WindowHandle& element) {
    return windowPids(x11_, {windowOf(element)}).front();
}

void X11WindowServer::setGlobalMessagingTimeout(float seconds) {
    x11_.setMessagingTimeout(seconds);
}

}  // namespace mavo

#pragma once

// Small helpers shared by the X11 backend's classes: owned replies, property values and the
// RandR monitor list with the coordinate shift it implies.

#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geometry/Rect.h"

namespace mavo {

class X11Connection;

struct FreeDeleter {
    void operator()(void* p) const { free(p); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeDeleter>;

// Takes a property reply. An error (the window vanished) goes to the connection's error record
// and gives nothing; a property that is not set gives an empty reply.
std::optional<Reply<xcb_get_property_reply_t>> propertyReply(X11Connection& x11,
                                                             xcb_get_property_cookie_t cookie);

// A 32-bit property's values (CARDINAL, WINDOW, ATOM...); empty when absent or of another format.
std::vector<uint32_t> cardinals(const xcb_get_property_reply_t* reply);
// An 8-bit property's bytes as a string.
std::optional<std::string> text(const xcb_get_property_reply_t* reply);
std::string latin1ToUtf8(const std::string& latin1);

// Requests a 32-bit property with up to `longs` values.
xcb_get_property_cookie_t requestProperty(X11Connection& x11, xcb_window_t window,
                                          xcb_atom_t property, xcb_atom_t type,
                                          uint32_t longs = 1024);

// Space on each side of a window.
struct X11Extents {
    double left = 0, right = 0, top = 0, bottom = 0;
    friend bool operator==(const X11Extents&, const X11Extents&) = default;
};
// Reads a left, right, top, bottom property (_NET_FRAME_EXTENTS, _GTK_FRAME_EXTENTS); zeros when
// absent.
X11Extents extents(const xcb_get_property_reply_t* reply);

// A managed client's geometry and what surrounds it. The frame people see is the client grown by
// the window manager's decorations, less the invisible shadows that applications drawing their
// own decorations paint inside their window (and resize handles there).
struct X11FrameGeometry {
    Rect client;             // root coordinates, inside the client's own border
    double border = 0;       // the client's border width
    X11Extents decorations;  // _NET_FRAME_EXTENTS, outside the client
    X11Extents shadows;      // _GTK_FRAME_EXTENTS, inside the client
    Point origin;            // the primary monitor's top-left corner in root coordinates

    // The visible frame in accessibility coordinates.
    Rect visible() const;
    // The outer corner (root coordinates) a north-west gravity move asks for, so that the visible
    // frame's corner lands on `topLeft`.
    Point outerCornerFor(Point topLeft) const;
    // The client size that makes the visible frame `size`.
    Size clientSizeFor(Size size) const;
    bool sameSurroundings(const X11FrameGeometry& other) const {
        return border == other.border && decorations == other.decorations &&
               shadows == other.shadows;
    }
};

// One RandR monitor, in root coordinates.
struct X11Monitor {
    std::string name;
    Rect rootRect;
    bool primary = false;
    uint32_t widthMM = 0;
    std::vector<xcb_randr_output_t> outputs;
};

// The managed clients (_NET_CLIENT_LIST); nothing when no window manager publishes the list.
std::optional<std::vector<xcb_window_t>> clientList(X11Connection& x11);
// The local process an X-Resource client-id answer names; nothing when it names none.
std::optional<int32_t> localClientPid(const xcb_res_query_client_ids_reply_t* reply);
// Each window's process id, from _NET_WM_PID, else from the X-Resource extension's client id.
std::vector<std::optional<int32_t>> windowPids(X11Connection& x11,
                                               const std::vector<xcb_window_t>& windows);

// Asks for the RandR events that tell of monitors changing (the same mask for every caller, as
// a later selection replaces an earlier one).
void selectMonitorEvents(X11Connection& x11);
xcb_randr_get_monitors_cookie_t requestMonitors(X11Connection& x11);
// The active monitors, the primary first (else in the server's order); nothing without RandR.
std::vector<X11Monitor> monitorsReply(X11Connection& x11, xcb_randr_get_monitors_cookie_t cookie);
// Accessibility coordinates are root coordinates moved so that the primary monitor's top-left
// corner is the origin: this is that corner (the root origin without monitors).
Point primaryOrigin(const std::vector<X11Monitor>& monitors);

}  // namespace mavo

#include "platform/x11/X11WindowList.h"

#include <algorithm>

#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

bool contains(const std::vector<uint32_t>& values, uint32_t value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

std::vector<xcb_window_t> children(X11Connection& x11, xcb_window_t window) {
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x11.xcb(), xcb_query_tree(x11.xcb(), window), &error));
    if (error) {
        x11.noteError(error);
        free(error);
    }
    if (!tree) return {};
    xcb_window_t* list = xcb_query_tree_children(tree.get());
    return std::vector<xcb_window_t>(list, list + xcb_query_tree_children_length(tree.get()));
}

bool hasWmState(X11Connection& x11, xcb_window_t window) {
    auto reply = propertyReply(
        x11, requestProperty(x11, window, x11.atoms().wmState, x11.atoms().wmState, 2));
    return reply && *reply;
}

// The client window of a top-level window: the window itself or the descendant that carries
// WM_STATE, as window managers set it on the windows they manage.
xcb_window_t clientOf(X11Connection& x11, xcb_window_t topLevel) {
    if (hasWmState(x11, topLevel)) return topLevel;
    std::vector<xcb_window_t> level = children(x11, topLevel);
    for (int depth = 0; depth < 3 && !level.empty(); ++depth) {
        std::vector<xcb_window_t> next;
        for (xcb_window_t child : level) {
            if (hasWmState(x11, child)) return child;
            auto grandchildren = children(x11, child);
            next.insert(next.end(), grandchildren.begin(), grandchildren.end());
        }
        level = std::move(next);
    }
    return topLevel;
}

}  // namespace

std::optional<std::vector<WindowListEntry>> X11WindowList::onScreenWindows() {
    xcb_connection_t* c = x11_.xcb();
    xcb_generic_error_t* error = nullptr;
    auto monitorsCookie = requestMonitors(x11_);
    Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, x11_.root()), &error));
    auto monitors = monitorsReply(x11_, monitorsCookie);
    if (error) {
        x11_.noteError(error);
        free(error);
    }
    if (!tree) return std::nullopt;
    Point origin = primaryOrigin(monitors);

    // The server lists the root's children bottom to top.
    xcb_window_t* list = xcb_query_tree_children(tree.get());
    std::vector<xcb_window_t> topLevels(list, list + xcb_query_tree_children_length(tree.get()));
    std::reverse(topLevels.begin(), topLevels.end());

    std::vector<xcb_get_window_attributes_cookie_t> attributeCookies;
    std::vector<xcb_get_geometry_cookie_t> geometryCookies;
    for (xcb_window_t window : topLevels) {
        attributeCookies.push_back(xcb_get_window_attributes(c, window));
        geometryCookies.push_back(xcb_get_geometry(c, window));
    }
    struct Visible {
        xcb_window_t topLevel;
        bool overrideRedirect;
        Rect bounds;
    };
    std::vector<Visible> visible;
    for (size_t i = 0; i < topLevels.size(); ++i) {
        Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, attributeCookies[i], &error));
        if (error) {
            x11_.noteError(error);
            free(error);
            error = nullptr;
        }
        Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, geometryCookies[i], &error));
        if (error) {
            x11_.noteError(error);
            free(error);
            error = nullptr;
        }
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY) {
            continue;
        }
        double border = geometry->border_width;
        visible.push_back({topLevels[i], bool(attributes->override_redirect),
                           Rect{geometry->x - origin.x, geometry->y - origin.y,
                                geometry->width + 2 * border, geometry->height + 2 * border}});
    }

    std::vector<xcb_window_t> clients;
    for (const Visible& v : visible) clients.push_back(clientOf(x11_, v.topLevel));
    auto pids = windowPids(x11_, clients);
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    struct Cookies {
        xcb_get_property_cookie_t type, state, shadows;
    };
    std::vector<Cookies> cookies;
    for (xcb_window_t client : clients) {
        cookies.push_back(
            {requestProperty(x11_, client, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM),
             requestProperty(x11_, client, ewmh->_NET_WM_STATE, XCB_ATOM_ATOM),
             requestProperty(x11_, client, x11_.atoms().gtkFrameExtents, XCB_ATOM_CARDINAL, 4)});
    }

    std::vector<WindowListEntry> entries;
    for (size_t i = 0; i < visible.size(); ++i) {
        auto typeReply = propertyReply(x11_, cookies[i].type);
        auto stateReply = propertyReply(x11_, cookies[i].state);
        auto shadowsReply = propertyReply(x11_, cookies[i].shadows);
        auto types =
            typeReply && *typeReply ? cardinals(typeReply->get()) : std::vector<uint32_t>{};
        auto states =
            stateReply && *stateReply ? cardinals(stateReply->get()) : std::vector<uint32_t>{};
        if (contains(types, ewmh->_NET_WM_WINDOW_TYPE_DESKTOP)) continue;

        WindowListEntry entry;
        if (pids[i]) entry.ownerPID = *pids[i];
        int64_t layer = 0;
        if (visible[i].overrideRedirect) {
            layer = popupLayer;
        } else if (contains(types, ewmh->_NET_WM_WINDOW_TYPE_DOCK)) {
            layer = dockLayer;
        } else if (contains(types, ewmh->_NET_WM_WINDOW_TYPE_NOTIFICATION)) {
            layer = notificationLayer;
        } else if (contains(states, ewmh->_NET_WM_STATE_ABOVE)) {
            layer = aboveLayer;
        }
        entry.layer = layer;
        // The shadows an application paints inside its own window are not part of what is seen.
        X11Extents shadows = shadowsReply ? extents(shadowsReply->get()) : X11Extents{};
        const Rect& b = visible[i].bounds;
        entry.bounds =
            Rect{b.x + shadows.left, b.y + shadows.top, b.width - shadows.left - shadows.right,
                 b.height - shadows.top - shadows.bottom};
        entries.push_back(entry);
    }
    return entries;
}

}  // namespace mavo

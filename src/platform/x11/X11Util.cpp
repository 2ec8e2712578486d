#include "platform/x11/X11Util.h"

#include <xcb/res.h>

#include <algorithm>

#include "platform/x11/X11Connection.h"

namespace mavo {

std::optional<Reply<xcb_get_property_reply_t>> propertyReply(X11Connection& x11,
                                                             xcb_get_property_cookie_t cookie) {
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(x11.xcb(), cookie, &error));
    if (error) {
        x11.noteError(error);
        free(error);
        return std::nullopt;
    }
    if (!reply) return std::nullopt;
    if (reply->type == XCB_ATOM_NONE) reply.reset();
    return reply;
}

std::vector<uint32_t> cardinals(const xcb_get_property_reply_t* reply) {
    if (!reply || reply->format != 32) return {};
    auto* values = static_cast<const uint32_t*>(
        xcb_get_property_value(const_cast<xcb_get_property_reply_t*>(reply)));
    int length = xcb_get_property_value_length(reply) / 4;
    return std::vector<uint32_t>(values, values + std::max(length, 0));
}

std::optional<std::string> text(const xcb_get_property_reply_t* reply) {
    if (!reply || reply->format != 8) return std::nullopt;
    auto* bytes = static_cast<const char*>(
        xcb_get_property_value(const_cast<xcb_get_property_reply_t*>(reply)));
    int length = xcb_get_property_value_length(reply);
    return std::string(bytes, bytes + std::max(length, 0));
}

std::string latin1ToUtf8(const std::string& latin1) {
    std::string out;
    out.reserve(latin1.size());
    for (unsigned char c : latin1) {
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back(static_cast<char>(0xc0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3f)));
        }
    }
    return out;
}

X11Extents extents(const xcb_get_property_reply_t* reply) {
    auto values = cardinals(reply);
    if (values.size() < 4) return {};
    return {double(values[0]), double(values[1]), double(values[2]), double(values[3])};
}

Rect X11FrameGeometry::visible() const {
    return {client.x - border - decorations.left + shadows.left - origin.x,
            client.y - border - decorations.top + shadows.top - origin.y,
            client.width + 2 * border + decorations.left + decorations.right - shadows.left -
                shadows.right,
            client.height + 2 * border + decorations.top + decorations.bottom - shadows.top -
                shadows.bottom};
}

Point X11FrameGeometry::outerCornerFor(Point topLeft) const {
    return {topLeft.x + origin.x - shadows.left, topLeft.y + origin.y - shadows.top};
}

Size X11FrameGeometry::clientSizeFor(Size size) const {
    return {size.width - 2 * border - decorations.left - decorations.right + shadows.left +
                shadows.right,
            size.height - 2 * border - decorations.top - decorations.bottom + shadows.top +
                shadows.bottom};
}

xcb_get_property_cookie_t requestProperty(X11Connection& x11, xcb_window_t window,
                                          xcb_atom_t property, xcb_atom_t type, uint32_t longs) {
    return xcb_get_property(x11.xcb(), 0, window, property, type, 0, longs);
}

std::optional<std::vector<xcb_window_t>> clientList(X11Connection& x11) {
    auto reply = propertyReply(x11, requestProperty(x11, x11.root(), x11.ewmh()->_NET_CLIENT_LIST,
                                                    XCB_ATOM_WINDOW, 65536));
    if (!reply || !*reply) return std::nullopt;
    return cardinals(reply->get());
}

std::vector<std::optional<int32_t>> windowPids(X11Connection& x11,
                                               const std::vector<xcb_window_t>& windows) {
    std::vector<std::optional<int32_t>> pids(windows.size());
    std::vector<xcb_get_property_cookie_t> cookies;
    cookies.reserve(windows.size());
    for (xcb_window_t window : windows) {
        cookies.push_back(
            requestProperty(x11, window, x11.ewmh()->_NET_WM_PID, XCB_ATOM_CARDINAL, 1));
    }
    for (size_t i = 0; i < windows.size(); ++i) {
        auto reply = propertyReply(x11, cookies[i]);
        if (!reply || !*reply) continue;
        auto values = cardinals(reply->get());
        if (!values.empty() && values[0] > 0) pids[i] = static_cast<int32_t>(values[0]);
    }
    if (!x11.hasXRes()) return pids;

    // Clients that do not publish their pid: ask the server which local process owns them.
    std::vector<std::pair<size_t, xcb_res_query_client_ids_cookie_t>> asked;
    for (size_t i = 0; i < windows.size(); ++i) {
        if (pids[i]) continue;
        xcb_res_client_id_spec_t spec{windows[i], XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        asked.emplace_back(i, xcb_res_query_client_ids(x11.xcb(), 1, &spec));
    }
    for (auto& [index, cookie] : asked) {
        xcb_generic_error_t* error = nullptr;
        Reply<xcb_res_query_client_ids_reply_t> reply(
            xcb_res_query_client_ids_reply(x11.xcb(), cookie, &error));
        if (error) {
            x11.noteError(error);
            free(error);
        }
        if (reply) pids[index] = localClientPid(reply.get());
    }
    return pids;
}

std::optional<int32_t> localClientPid(const xcb_res_query_client_ids_reply_t* reply) {
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply); it.rem;
         xcb_res_client_id_value_next(&it)) {
        if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
            xcb_res_client_id_value_value_length(it.data) >= 1) {
            uint32_t pid = *xcb_res_client_id_value_value(it.data);
            if (pid > 0 && pid <= INT32_MAX) return static_cast<int32_t>(pid);
            return std::nullopt;
        }
    }
    return std::nullopt;
}

void selectMonitorEvents(X11Connection& x11) {
    if (!x11.hasRandr()) return;
    xcb_randr_select_input(x11.xcb(), x11.root(),
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
    xcb_flush(x11.xcb());
}

xcb_randr_get_monitors_cookie_t requestMonitors(X11Connection& x11) {
    if (!x11.hasRandr()) return {0};
    return xcb_randr_get_monitors(x11.xcb(), x11.root(), 1);
}

std::vector<X11Monitor> monitorsReply(X11Connection& x11, xcb_randr_get_monitors_cookie_t cookie) {
    std::vector<X11Monitor> monitors;
    if (!x11.hasRandr()) return monitors;
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_randr_get_monitors_reply_t> reply(
        xcb_randr_get_monitors_reply(x11.xcb(), cookie, &error));
    if (error) {
        x11.noteError(error);
        free(error);
    }
    if (!reply) return monitors;

    std::vector<xcb_get_atom_name_cookie_t> nameCookies;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
         xcb_randr_monitor_info_next(&it)) {
        const xcb_randr_monitor_info_t* info = it.data;
        X11Monitor monitor;
        monitor.rootRect = {double(info->x), double(info->y), double(info->width),
                            double(info->height)};
        monitor.primary = info->primary;
        monitor.widthMM = info->width_in_millimeters;
        const xcb_randr_output_t* outputs = xcb_randr_monitor_info_outputs(info);
        monitor.outputs.assign(outputs, outputs + xcb_randr_monitor_info_outputs_length(info));
        nameCookies.push_back(xcb_get_atom_name(x11.xcb(), info->name));
        monitors.push_back(std::move(monitor));
    }
    for (size_t i = 0; i < monitors.size(); ++i) {
        Reply<xcb_get_atom_name_reply_t> name(
            xcb_get_atom_name_reply(x11.xcb(), nameCookies[i], nullptr));
        if (name) {
            monitors[i].name.assign(xcb_get_atom_name_name(name.get()),
                                    xcb_get_atom_name_name_length(name.get()));
        }
    }
    std::stable_partition(monitors.begin(), monitors.end(),
                          [](const X11Monitor& m) { return m.primary; });
    return monitors;
}

Point primaryOrigin(const std::vector<X11Monitor>& monitors) {
    if (monitors.empty()) return {0, 0};
    return monitors.front().rootRect.origin();
}

}  // namespace mavo

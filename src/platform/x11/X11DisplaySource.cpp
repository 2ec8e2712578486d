#include "platform/x11/X11DisplaySource.h"

#include <xcb/randr.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "platform/x11/UsableArea.h"
#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

// What the window manager and the panels publish about reserved space.
struct Reservations {
    std::vector<Strut> struts;
    std::set<xcb_window_t> watched;  // windows with a strut, and panels that may set one
    std::optional<Rect> workArea;
    std::vector<Rect> monitorWorkAreas;
};

std::vector<Rect> rects(const std::vector<uint32_t>& values) {
    std::vector<Rect> out;
    for (size_t i = 0; i + 4 <= values.size(); i += 4)
        out.push_back({double(int32_t(values[i])), double(int32_t(values[i + 1])),
                       double(values[i + 2]), double(values[i + 3])});
    return out;
}

xcb_atom_t internAtom(X11Connection& x11, const std::string& name) {
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        x11.xcb(), xcb_intern_atom(x11.xcb(), 0, uint16_t(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

std::vector<uint32_t> rootValues(X11Connection& x11, xcb_atom_t property, xcb_atom_t type) {
    auto reply = propertyReply(x11, requestProperty(x11, x11.root(), property, type));
    return reply ? cardinals(reply->get()) : std::vector<uint32_t>{};
}

// Candidates for struts: the managed clients and the root's own children, since some panels
// are never listed as clients.
std::vector<xcb_window_t> topLevelWindows(X11Connection& x11) {
    std::vector<xcb_window_t> windows = clientList(x11).value_or(std::vector<xcb_window_t>{});
    Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x11.xcb(), xcb_query_tree(x11.xcb(), x11.root()), nullptr));
    if (tree) {
        xcb_window_t* children = xcb_query_tree_children(tree.get());
        windows.insert(windows.end(), children,
                       children + xcb_query_tree_children_length(tree.get()));
    }
    std::ranges::sort(windows);
    windows.erase(std::unique(windows.begin(), windows.end()), windows.end());
    return windows;
}

Reservations readReservations(X11Connection& x11, const Rect& root, xcb_atom_t gtkWorkAreas,
                              xcb_atom_t& gtkWorkAreasOfDesktop) {
    Reservations r;
    xcb_ewmh_connection_t* ewmh = x11.ewmh();
    auto windows = topLevelWindows(x11);
    struct Cookies {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_property_cookie_t partial, strut, type;
    };
    std::vector<Cookies> cookies;
    for (xcb_window_t window : windows) {
        cookies.push_back(
            {xcb_get_window_attributes(x11.xcb(), window),
             requestProperty(x11, window, ewmh->_NET_WM_STRUT_PARTIAL, XCB_ATOM_CARDINAL, 12),
             requestProperty(x11, window, ewmh->_NET_WM_STRUT, XCB_ATOM_CARDINAL, 4),
             requestProperty(x11, window, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM)});
    }
    for (size_t i = 0; i < windows.size(); ++i) {
        Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(x11.xcb(), cookies[i].attributes, nullptr));
        auto partial = propertyReply(x11, cookies[i].partial);
        auto plain = propertyReply(x11, cookies[i].strut);
        auto type = propertyReply(x11, cookies[i].type);
        auto types = type ? cardinals(type->get()) : std::vector<uint32_t>{};
        bool isDock = std::ranges::count(types, ewmh->_NET_WM_WINDOW_TYPE_DOCK) > 0;
        auto p = partial ? cardinals(partial->get()) : std::vector<uint32_t>{};
        auto w = plain ? cardinals(plain->get()) : std::vector<uint32_t>{};
        std::optional<Strut> strut;
        if (p.size() >= 12) {
            strut.emplace();
            std::copy_n(p.begin(), 12, strut->begin());
        } else if (w.size() >= 4) {
            strut = wholeEdgeStrut(w[0], w[1], w[2], w[3], root);
        }
        if (strut || isDock) r.watched.insert(windows[i]);
        // A hidden panel reserves nothing.
        bool mapped = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        if (strut && mapped) r.struts.push_back(*strut);
    }

    auto desktopValues = rootValues(x11, ewmh->_NET_CURRENT_DESKTOP, XCB_ATOM_CARDINAL);
    uint32_t desktop = desktopValues.empty() ? 0 : desktopValues[0];
    auto workAreas = rects(rootValues(x11, ewmh->_NET_WORKAREA, XCB_ATOM_CARDINAL));
    if (desktop < workAreas.size()) r.workArea = workAreas[desktop];
    auto supported = rootValues(x11, ewmh->_NET_SUPPORTED, XCB_ATOM_ATOM);
    gtkWorkAreasOfDesktop = XCB_ATOM_NONE;
    if (gtkWorkAreas != XCB_ATOM_NONE && std::ranges::count(supported, gtkWorkAreas)) {
        gtkWorkAreasOfDesktop = internAtom(x11, "_GTK_WORKAREAS_D" + std::to_string(desktop));
        r.monitorWorkAreas = rects(rootValues(x11, gtkWorkAreasOfDesktop, XCB_ATOM_CARDINAL));
    }
    return r;
}

// 64-bit FNV-1a: a fixed, well-spread hash for the serial-number text.
uint64_t fnv1a(const std::string& text) {
    uint64_t hash = 0xcbf29ce484222325ull;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 0x100000001b3ull;
    }
    return hash;
}

std::vector<uint8_t> edidOf(X11Connection& x11, xcb_randr_output_t output) {
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_randr_get_output_property_reply_t> reply(xcb_randr_get_output_property_reply(
        x11.xcb(),
        xcb_randr_get_output_property(x11.xcb(), output, x11.atoms().edid, XCB_ATOM_ANY, 0, 256, 0,
                                      0),
        &error));
    if (error) {
        x11.noteError(error);
        free(error);
    }
    if (!reply || reply->format != 8) return {};
    const uint8_t* data = xcb_randr_get_output_property_data(reply.get());
    return std::vector<uint8_t>(data,
                                data + xcb_randr_get_output_property_data_length(reply.get()));
}

std::string outputName(X11Connection& x11, xcb_randr_output_t output) {
    Reply<xcb_randr_get_output_info_reply_t> info(xcb_randr_get_output_info_reply(
        x11.xcb(), xcb_randr_get_output_info(x11.xcb(), output, XCB_CURRENT_TIME), nullptr));
    if (!info) return {};
    return std::string(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                       xcb_randr_get_output_info_name_length(info.get()));
}

Rect rootRect(X11Connection& x11) {
    Reply<xcb_get_geometry_reply_t> geo(
        xcb_get_geometry_reply(x11.xcb(), xcb_get_geometry(x11.xcb(), x11.root()), nullptr));
    if (!geo) return {};
    return {0, 0, double(geo->width), double(geo->height)};
}

}  // namespace

X11DisplaySource::~X11DisplaySource() {
    if (handler_) x11_.removeListener(this);
}

std::optional<std::string> X11DisplaySource::uuidFromEdid(const std::vector<uint8_t>& edid,
                                                          const std::string& connector) {
    static const uint8_t header[8] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    if (edid.size() < 128 || !std::equal(header, header + 8, edid.begin())) return std::nullopt;
    uint16_t vendor = uint16_t(edid[8] << 8 | edid[9]);  // big-endian, three packed letters
    uint16_t product = uint16_t(edid[10] | edid[11] << 8);
    uint32_t serial = uint32_t(edid[12]) | uint32_t(edid[13]) << 8 | uint32_t(edid[14]) << 16 |
                      uint32_t(edid[15]) << 24;
    // Many panels leave the numeric serial 0 and put it in a text descriptor instead.
    std::string serialText;
    for (size_t at = 54; at + 18 <= 126; at += 18) {
        if (edid[at] == 0 && edid[at + 1] == 0 && edid[at + 2] == 0 && edid[at + 3] == 0xff) {
            for (size_t i = at + 5; i < at + 18 && edid[i] != 0x0a; ++i) {
                serialText.push_back(static_cast<char>(edid[i]));
            }
        }
    }
    if (!connector.empty()) serialText += '\n' + connector;  // a newline ends no serial text
    uint64_t textHash = serialText.empty() ? 0 : fnv1a(serialText);
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04X%04X-%04X-%04X-%04X-%04X%08X", vendor, product,
                  unsigned(serial >> 16), unsigned(serial & 0xffff), unsigned(textHash >> 48),
                  unsigned((textHash >> 32) & 0xffff), unsigned(textHash & 0xffffffffu));
    return std::string(buffer);
}

std::vector<std::string> X11DisplaySource::uniqueUuids(
    const std::vector<MonitorIdentity>& monitors) {
    std::vector<std::string> plain;
    for (const MonitorIdentity& m : monitors)
        plain.push_back(uuidFromEdid(m.edid).value_or("did:" + m.monitorName));
    // Identical monitors without serial numbers tell apart by the connector they are on, which
    // stays the same across restarts and re-plugs.
    auto uuids = plain;
    for (size_t i = 0; i < monitors.size(); ++i) {
        if (std::ranges::count(plain, plain[i]) > 1 && !monitors[i].connector.empty())
            uuids[i] = *uuidFromEdid(monitors[i].edid, monitors[i].connector);
    }
    return uuids;
}

bool X11DisplaySource::isBuiltInConnector(const std::string& name) {
    for (const char* prefix : {"eDP", "LVDS", "DSI"}) {
        if (name.rfind(prefix, 0) == 0) return true;
    }
    return false;
}

std::vector<ScreenInfo> X11DisplaySource::screens() {
    auto monitors = monitorsReply(x11_, requestMonitors(x11_));
    Rect root = rootRect(x11_);
    if (monitors.empty()) {
        // No RandR monitors: the root window is the one screen.
        if (root.isEmpty()) return {};
        X11Monitor whole;
        whole.name = "root";
        whole.rootRect = root;
        monitors.push_back(whole);
    }
    if (gtkWorkAreas_ == XCB_ATOM_NONE) gtkWorkAreas_ = internAtom(x11_, "_GTK_WORKAREAS");
    auto reserved = readReservations(x11_, root, gtkWorkAreas_, gtkWorkAreasOfDesktop_);
    if (handler_) watchWindows(reserved.watched);
    UsableAreaInputs inputs{
        root, {}, reserved.struts, reserved.workArea, reserved.monitorWorkAreas};
    for (const X11Monitor& monitor : monitors) inputs.monitors.push_back(monitor.rootRect);
    auto usable = usableAreas(inputs);

    Point origin = primaryOrigin(monitors);
    double primaryHeight = monitors.front().rootRect.height;
    // Accessibility coordinates shift the root so the primary starts at (0, 0); the bottom-left
    // convention then flips them about the primary's height.
    auto toBottomLeft = [&](const Rect& r) {
        double axY = r.y - origin.y;
        return Rect{r.x - origin.x, primaryHeight - (axY + r.height), r.width, r.height};
    };

    std::vector<ScreenInfo> screens;
    std::vector<MonitorIdentity> identities;
    for (size_t i = 0; i < monitors.size(); ++i) {
        const X11Monitor& monitor = monitors[i];
        ScreenInfo info;
        info.frame = toBottomLeft(monitor.rootRect);
        info.visibleFrame = toBottomLeft(usable[i]);
        info.physWidthMM = monitor.widthMM;
        info.backingScale = 1.0;
        MonitorIdentity identity{{}, {}, monitor.name};
        for (xcb_randr_output_t output : monitor.outputs) {
            std::string name = outputName(x11_, output);
            if (isBuiltInConnector(name)) info.isBuiltIn = true;
            if (identity.connector.empty()) {
                auto edid = edidOf(x11_, output);
                if (uuidFromEdid(edid)) identity = {edid, name, monitor.name};
            }
        }
        identities.push_back(identity);
        screens.push_back(info);
    }
    auto uuids = uniqueUuids(identities);
    for (size_t i = 0; i < screens.size(); ++i) screens[i].uuid = uuids[i];
    return screens;
}

void X11DisplaySource::watchChanges(std::function<void()> handler) {
    bool first = !handler_;
    handler_ = std::move(handler);
    if (!first) return;
    x11_.addListener(this);
    selectMonitorEvents(x11_);
    // Substructure events tell of panels that are no managed client coming and going.
    x11_.selectEvents(x11_.root(),
                      XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    last_ = screens();
}

void X11DisplaySource::watchWindows(const std::set<xcb_window_t>& windows) {
    for (xcb_window_t window : windows) {
        if (!watched_.count(window)) {
            x11_.selectEvents(window,
                              XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
        }
    }
    watched_ = windows;
}

void X11DisplaySource::handleEvent(const xcb_generic_event_t& event) {
    uint8_t type = event.response_type & 0x7f;
    if (x11_.hasRandr() && (type == x11_.randrFirstEvent() + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                            type == x11_.randrFirstEvent() + XCB_RANDR_NOTIFY)) {
        dirty_ = true;
        return;
    }
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto& e = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (e.window == x11_.root()) {
            for (xcb_atom_t atom : {ewmh->_NET_WORKAREA, ewmh->_NET_CURRENT_DESKTOP,
                                    ewmh->_NET_SUPPORTED, ewmh->_NET_CLIENT_LIST})
                dirty_ |= e.atom == atom;
            dirty_ |= e.atom == gtkWorkAreasOfDesktop_ && e.atom != XCB_ATOM_NONE;
        } else if (watched_.count(e.window)) {
            dirty_ |= e.atom == ewmh->_NET_WM_STRUT_PARTIAL || e.atom == ewmh->_NET_WM_STRUT;
        }
    } else if (type == XCB_MAP_NOTIFY) {
        // A new top-level may be a panel; menus and tooltips (override-redirect) never are, and
        // they come and go all the time.
        const auto& e = reinterpret_cast<const xcb_map_notify_event_t&>(event);
        dirty_ |= (e.event == x11_.root() && !e.override_redirect) || watched_.count(e.window) > 0;
    } else if (type == XCB_UNMAP_NOTIFY || type == XCB_DESTROY_NOTIFY) {
        // Only a window whose strut counted can give space back by going.
        const auto& e = reinterpret_cast<const xcb_unmap_notify_event_t&>(event);
        dirty_ |= watched_.count(e.window) > 0;
    }
}

void X11DisplaySource::eventsDone() {
    if (!dirty_) return;
    dirty_ = false;
    // Some window managers rewrite the work area on every map: only a change of some monitor's
    // frame, usable area or identity is a reconfiguration.
    auto now = screens();
    if (now == last_) return;
    last_ = std::move(now);
    if (handler_) handler_();
}

}  // namespace mavo

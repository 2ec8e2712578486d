#include "platform/x11/X11DisplaySource.h"

#include <xcb/randr.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

// A client's reservation at the root window's edges, in the partial-strut layout: left, right,
// top, bottom, then the start and end of each along its edge.
struct Strut {
    xcb_window_t window = XCB_WINDOW_NONE;
    bool isDock = false;
    std::optional<std::array<uint32_t, 12>> values;
};

std::vector<Strut> readStruts(X11Connection& x11, const Rect& root) {
    std::vector<Strut> struts;
    auto clients = clientList(x11);
    if (!clients) return struts;
    xcb_ewmh_connection_t* ewmh = x11.ewmh();
    struct Cookies {
        xcb_get_property_cookie_t partial, strut, type;
    };
    std::vector<Cookies> cookies;
    for (xcb_window_t window : *clients) {
        cookies.push_back(
            {requestProperty(x11, window, ewmh->_NET_WM_STRUT_PARTIAL, XCB_ATOM_CARDINAL, 12),
             requestProperty(x11, window, ewmh->_NET_WM_STRUT, XCB_ATOM_CARDINAL, 4),
             requestProperty(x11, window, ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM)});
    }
    uint32_t lastX = root.width > 0 ? uint32_t(root.width) - 1 : 0;
    uint32_t lastY = root.height > 0 ? uint32_t(root.height) - 1 : 0;
    for (size_t i = 0; i < clients->size(); ++i) {
        auto partial = propertyReply(x11, cookies[i].partial);
        auto plain = propertyReply(x11, cookies[i].strut);
        auto type = propertyReply(x11, cookies[i].type);
        Strut strut;
        strut.window = (*clients)[i];
        if (type) {
            auto types = cardinals(type->get());
            strut.isDock = std::find(types.begin(), types.end(), ewmh->_NET_WM_WINDOW_TYPE_DOCK) !=
                           types.end();
        }
        auto partialValues = partial ? cardinals(partial->get()) : std::vector<uint32_t>{};
        auto plainValues = plain ? cardinals(plain->get()) : std::vector<uint32_t>{};
        if (partialValues.size() >= 12) {
            std::array<uint32_t, 12> v{};
            std::copy_n(partialValues.begin(), 12, v.begin());
            strut.values = v;
        } else if (plainValues.size() >= 4) {
            // The older form reserves along the whole edge.
            strut.values = std::array<uint32_t, 12>{plainValues[0],
                                                    plainValues[1],
                                                    plainValues[2],
                                                    plainValues[3],
                                                    0,
                                                    lastY,
                                                    0,
                                                    lastY,
                                                    0,
                                                    lastX,
                                                    0,
                                                    lastX};
        }
        if (strut.values || strut.isDock) struts.push_back(strut);
    }
    return struts;
}

// The visible part of a monitor (root coordinates) once every strut that touches it is taken.
Rect visibleRect(const Rect& monitor, const Rect& root, const std::vector<Strut>& struts) {
    double left = monitor.minX(), right = monitor.maxX();
    double top = monitor.minY(), bottom = monitor.maxY();
    for (const Strut& strut : struts) {
        if (!strut.values) continue;
        const auto& v = *strut.values;
        auto span = [](uint32_t start, uint32_t end) {
            return end >= start ? double(end) - double(start) + 1 : 0.0;
        };
        Rect leftArea{0, double(v[4]), double(v[0]), span(v[4], v[5])};
        Rect rightArea{root.width - v[1], double(v[6]), double(v[1]), span(v[6], v[7])};
        Rect topArea{double(v[8]), 0, span(v[8], v[9]), double(v[2])};
        Rect bottomArea{double(v[10]), root.height - v[3], span(v[10], v[11]), double(v[3])};
        if (intersects(leftArea, monitor)) left = std::max(left, leftArea.maxX());
        if (intersects(rightArea, monitor)) right = std::min(right, rightArea.minX());
        if (intersects(topArea, monitor)) top = std::max(top, topArea.maxY());
        if (intersects(bottomArea, monitor)) bottom = std::min(bottom, bottomArea.minY());
    }
    return {left, top, std::max(0.0, right - left), std::max(0.0, bottom - top)};
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

std::optional<std::string> X11DisplaySource::uuidFromEdid(const std::vector<uint8_t>& edid) {
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
    uint64_t textHash = serialText.empty() ? 0 : fnv1a(serialText);
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04X%04X-%04X-%04X-%04X-%04X%08X", vendor, product,
                  unsigned(serial >> 16), unsigned(serial & 0xffff), unsigned(textHash >> 48),
                  unsigned((textHash >> 32) & 0xffff), unsigned(textHash & 0xffffffffu));
    return std::string(buffer);
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
    auto struts = readStruts(x11_, root);
    Point origin = primaryOrigin(monitors);
    double primaryHeight = monitors.front().rootRect.height;
    // Accessibility coordinates shift the root so the primary starts at (0, 0); the bottom-left
    // convention then flips them about the primary's height.
    auto toBottomLeft = [&](const Rect& r) {
        double axY = r.y - origin.y;
        return Rect{r.x - origin.x, primaryHeight - (axY + r.height), r.width, r.height};
    };

    std::vector<ScreenInfo> screens;
    for (const X11Monitor& monitor : monitors) {
        ScreenInfo info;
        info.frame = toBottomLeft(monitor.rootRect);
        info.visibleFrame = toBottomLeft(visibleRect(monitor.rootRect, root, struts));
        info.physWidthMM = monitor.widthMM;
        info.backingScale = 1.0;
        for (xcb_randr_output_t output : monitor.outputs) {
            if (isBuiltInConnector(outputName(x11_, output))) info.isBuiltIn = true;
            if (info.uuid.empty()) {
                if (auto uuid = uuidFromEdid(edidOf(x11_, output))) info.uuid = *uuid;
            }
        }
        if (info.uuid.empty()) info.uuid = "did:" + monitor.name;
        screens.push_back(info);
    }
    return screens;
}

void X11DisplaySource::watchChanges(std::function<void()> handler) {
    bool first = !handler_;
    handler_ = std::move(handler);
    if (!first) return;
    x11_.addListener(this);
    if (x11_.hasRandr()) {
        xcb_randr_select_input(x11_.xcb(), x11_.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
    }
    x11_.selectEvents(x11_.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
    trackStrutWindows();
}

bool X11DisplaySource::trackStrutWindows() {
    std::set<xcb_window_t> now;
    for (const Strut& strut : readStruts(x11_, rootRect(x11_))) now.insert(strut.window);
    for (xcb_window_t window : now) {
        if (!strutWindows_.count(window)) {
            x11_.selectEvents(window,
                              XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
        }
    }
    bool changed = now != strutWindows_;
    strutWindows_ = std::move(now);
    return changed;
}

void X11DisplaySource::handleEvent(const xcb_generic_event_t& event) {
    uint8_t type = event.response_type & 0x7f;
    if (x11_.hasRandr() && (type == x11_.randrFirstEvent() + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                            type == x11_.randrFirstEvent() + XCB_RANDR_NOTIFY)) {
        changed_ = true;
        return;
    }
    xcb_ewmh_connection_t* ewmh = x11_.ewmh();
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto& e = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (e.window == x11_.root()) {
            if (e.atom == ewmh->_NET_WORKAREA) changed_ = true;
            if (e.atom == ewmh->_NET_CLIENT_LIST) rescan_ = true;
        } else if (strutWindows_.count(e.window) &&
                   (e.atom == ewmh->_NET_WM_STRUT_PARTIAL || e.atom == ewmh->_NET_WM_STRUT)) {
            changed_ = true;
        }
    } else if (type == XCB_UNMAP_NOTIFY || type == XCB_DESTROY_NOTIFY) {
        xcb_window_t window =
            type == XCB_UNMAP_NOTIFY
                ? reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window
                : reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
        if (strutWindows_.count(window)) rescan_ = true;
    }
}

void X11DisplaySource::eventsDone() {
    if (rescan_) {
        rescan_ = false;
        if (trackStrutWindows()) changed_ = true;
    }
    if (changed_) {
        changed_ = false;
        if (handler_) handler_();
    }
}

}  // namespace mavo

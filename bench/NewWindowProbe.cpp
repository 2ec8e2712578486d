// Times how long a new ordinary window takes to reach the usable area of the desktop.
//
//   mavo_new_window_probe [--samples N] [--ask-wm] [--timeout-ms MS]
//
// Each sample maps a 400×300 window and waits until its outer frame (the client translated to the
// root, grown by _NET_FRAME_EXTENTS) equals _NET_WORKAREA of the current desktop. With --ask-wm the
// window asks the window manager to maximize it before it is mapped: the floor any helper can
// reach. Prints one line per sample (milliseconds, or "timeout") and a summary line:
//   samples=N timeouts=T median_ms=M p95_ms=P

#include <poll.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Box {
    int x = 0, y = 0, w = 0, h = 0;
    bool operator==(const Box&) const = default;
};

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    auto* r = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
    xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(r);
    return a;
}

std::vector<uint32_t> cardinals(xcb_connection_t* c, xcb_window_t w, xcb_atom_t prop) {
    auto* r = xcb_get_property_reply(c, xcb_get_property(c, 0, w, prop, XCB_ATOM_CARDINAL, 0, 64),
                                     nullptr);
    std::vector<uint32_t> out;
    if (r && r->format == 32) {
        auto* v = static_cast<uint32_t*>(xcb_get_property_value(r));
        out.assign(v, v + xcb_get_property_value_length(r) / 4);
    }
    std::free(r);
    return out;
}

std::optional<Box> usableArea(xcb_connection_t* c, xcb_window_t root) {
    auto desktop = cardinals(c, root, atom(c, "_NET_CURRENT_DESKTOP"));
    auto area = cardinals(c, root, atom(c, "_NET_WORKAREA"));
    size_t i = (desktop.empty() ? 0 : desktop[0]) * 4;
    if (area.size() < i + 4) return std::nullopt;
    return Box{int(area[i]), int(area[i + 1]), int(area[i + 2]), int(area[i + 3])};
}

std::optional<Box> outerFrame(xcb_connection_t* c, xcb_window_t root, xcb_window_t w,
                              xcb_atom_t extentsAtom) {
    auto geoCookie = xcb_get_geometry(c, w);
    auto transCookie = xcb_translate_coordinates(c, w, root, 0, 0);
    auto extents = cardinals(c, w, extentsAtom);
    auto* geo = xcb_get_geometry_reply(c, geoCookie, nullptr);
    auto* trans = xcb_translate_coordinates_reply(c, transCookie, nullptr);
    std::optional<Box> box;
    if (geo && trans) {
        uint32_t l = 0, r = 0, t = 0, b = 0;
        if (extents.size() == 4) l = extents[0], r = extents[1], t = extents[2], b = extents[3];
        box = Box{trans->dst_x - int(l), trans->dst_y - int(t), geo->width + int(l + r),
                  geo->height + int(t + b)};
    }
    std::free(geo);
    std::free(trans);
    return box;
}

// One sample: milliseconds from map to the frame reaching `target`, nothing on timeout.
std::optional<double> sample(xcb_connection_t* c, xcb_screen_t* screen, const Box& target,
                             bool askWm, int timeoutMs) {
    xcb_window_t w = xcb_generate_id(c);
    uint32_t values[] = {screen->white_pixel,
                         XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 100, 100, 400, 300, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    const char wmClass[] = "probe\0MavoProbe";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        sizeof wmClass, wmClass);
    xcb_atom_t normal = atom(c, "_NET_WM_WINDOW_TYPE_NORMAL");
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM,
                        32, 1, &normal);
    if (askWm) {
        xcb_atom_t state[] = {atom(c, "_NET_WM_STATE_MAXIMIZED_VERT"),
                              atom(c, "_NET_WM_STATE_MAXIMIZED_HORZ")};
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_WM_STATE"), XCB_ATOM_ATOM,
                            32, 2, state);
    }
    xcb_atom_t extents = atom(c, "_NET_FRAME_EXTENTS");
    xcb_map_window(c, w);
    xcb_flush(c);
    auto start = Clock::now();
    auto deadline = start + std::chrono::milliseconds(timeoutMs);
    std::optional<double> result;
    while (!result && Clock::now() < deadline) {
        pollfd pfd{xcb_get_file_descriptor(c), POLLIN, 0};
        int left = int(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
        if (poll(&pfd, 1, std::max(left, 0)) <= 0) break;
        bool relevant = false;
        while (auto* ev = xcb_poll_for_event(c)) {
            uint8_t type = ev->response_type & 0x7f;
            relevant |= type == XCB_CONFIGURE_NOTIFY || type == XCB_PROPERTY_NOTIFY ||
                        type == XCB_REPARENT_NOTIFY || type == XCB_MAP_NOTIFY;
            std::free(ev);
        }
        if (xcb_connection_has_error(c)) break;
        if (relevant) {
            auto frame = outerFrame(c, screen->root, w, extents);
            if (frame && *frame == target)
                result = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        }
    }
    xcb_destroy_window(c, w);
    xcb_flush(c);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    int samples = 30, timeoutMs = 3000;
    bool askWm = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--samples" && i + 1 < argc)
            samples = std::atoi(argv[++i]);
        else if (a == "--timeout-ms" && i + 1 < argc)
            timeoutMs = std::atoi(argv[++i]);
        else if (a == "--ask-wm")
            askWm = true;
        else {
            std::fprintf(stderr, "usage: %s [--samples N] [--ask-wm] [--timeout-ms MS]\n", argv[0]);
            return 2;
        }
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "cannot open the display\n");
        return 1;
    }
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    auto target = usableArea(c, screen->root);
    if (!target) {
        std::fprintf(stderr, "the window manager publishes no _NET_WORKAREA\n");
        return 1;
    }
    std::vector<double> times;
    int timeouts = 0;
    for (int i = 0; i < samples; ++i) {
        auto ms = sample(c, screen, *target, askWm, timeoutMs);
        if (ms) {
            times.push_back(*ms);
            std::printf("%.2f\n", *ms);
        } else {
            ++timeouts;
            std::printf("timeout\n");
        }
        // A random pause puts each map at another phase of any periodic work of the helper.
        std::this_thread::sleep_for(std::chrono::milliseconds(150 + std::rand() % 400));
    }
    std::sort(times.begin(), times.end());
    auto at = [&](double q) {
        return times.empty() ? -1.0 : times[std::min(times.size() - 1, size_t(q * times.size()))];
    };
    std::printf("samples=%d timeouts=%d median_ms=%.2f p95_ms=%.2f\n", samples, timeouts, at(0.5),
                at(0.95));
    xcb_disconnect(c);
    return timeouts == samples ? 1 : 0;
}

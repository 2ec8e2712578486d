// A small X client for the platform and end-to-end tests: one window whose behaviour towards the
// window manager is chosen on the command line.
//
//   mavo_test_client [--kind plain|fixed|overshoot|fighting|dock] [--title T] [--class C]
//                    [--instance I] [--geometry WxH+X+Y] [--type normal|dialog|utility|none]
//                    [--transient-for WINDOW] [--no-pid] [--strut-top N] [--overshoot N]
//                    [--fight-delay MS] [--no-class] [--skip-taskbar] [--extra-windows N]
//
// plain      an ordinary resizable window
// fixed      minimum size = maximum size, so the window manager will not resize it
// overshoot  whenever someone else sizes it to W×H, asks to be N pixels larger in each direction
// fighting   after being resized by someone else, restores its own geometry FIGHT-DELAY ms later
// dock       a panel: _NET_WM_WINDOW_TYPE_DOCK with a top strut as tall as the window
//
// --extra-windows adds that many plain windows of the same class to the process; --no-class
// leaves WM_CLASS unset; --skip-taskbar asks to be left out of task bars.
//
// Once the window is mapped the client prints "window 0x<id>" on standard output.

#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string kind = "plain";
    std::string title = "Mavo test window";
    std::string wmClass = "MavoTest";
    std::string instance;
    int x = 100, y = 100, width = 640, height = 480;
    std::string type = "normal";
    xcb_window_t transientFor = XCB_WINDOW_NONE;
    bool setPid = true;
    int strutTop = -1;
    int overshoot = 7;
    int fightDelayMs = 300;
    bool setClass = true;
    bool skipTaskbar = false;
    int extraWindows = 0;
};

[[noreturn]] void usage(const char* message) {
    std::fprintf(stderr, "mavo_test_client: %s\n", message);
    std::exit(2);
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) usage(("missing value for " + arg).c_str());
            return argv[++i];
        };
        if (arg == "--kind") {
            o.kind = value();
        } else if (arg == "--title") {
            o.title = value();
        } else if (arg == "--class") {
            o.wmClass = value();
        } else if (arg == "--instance") {
            o.instance = value();
        } else if (arg == "--geometry") {
            std::string g = value();
            if (std::sscanf(g.c_str(), "%dx%d%d%d", &o.width, &o.height, &o.x, &o.y) != 4) {
                usage("geometry must be WxH+X+Y");
            }
        } else if (arg == "--type") {
            o.type = value();
        } else if (arg == "--transient-for") {
            o.transientFor = static_cast<xcb_window_t>(std::strtoul(value().c_str(), nullptr, 0));
        } else if (arg == "--no-pid") {
            o.setPid = false;
        } else if (arg == "--strut-top") {
            o.strutTop = std::atoi(value().c_str());
        } else if (arg == "--overshoot") {
            o.overshoot = std::atoi(value().c_str());
        } else if (arg == "--fight-delay") {
            o.fightDelayMs = std::atoi(value().c_str());
        } else if (arg == "--no-class") {
            o.setClass = false;
        } else if (arg == "--skip-taskbar") {
            o.skipTaskbar = true;
        } else if (arg == "--extra-windows") {
            o.extraWindows = std::atoi(value().c_str());
        } else {
            usage(("unknown option " + arg).c_str());
        }
    }
    if (o.instance.empty()) {
        o.instance = o.wmClass;
        for (char& c : o.instance) c = static_cast<char>(std::tolower(c));
    }
    return o;
}

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    xcb_intern_atom_reply_t* reply =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return result;
}

void setCardinals(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property, xcb_atom_t type,
                  const std::vector<uint32_t>& values) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, type, 32, uint32_t(values.size()),
                        values.data());
}

void setText(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property, xcb_atom_t type,
             const std::string& text) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, type, 8, uint32_t(text.size()),
                        text.data());
}

void configure(xcb_connection_t* c, xcb_window_t w, std::optional<std::pair<int, int>> position,
               int width, int height) {
    if (position) {
        uint32_t values[] = {uint32_t(position->first), uint32_t(position->second), uint32_t(width),
                             uint32_t(height)};
        xcb_configure_window(c, w,
                             XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                                 XCB_CONFIG_WINDOW_HEIGHT,
                             values);
    } else {
        uint32_t values[] = {uint32_t(width), uint32_t(height)};
        xcb_configure_window(c, w, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    }
    xcb_flush(c);
}

xcb_window_t createWindow(xcb_connection_t* c, xcb_screen_t* screen, const Options& o,
                          const std::string& kind, int x, int y) {
    xcb_window_t w = xcb_generate_id(c);
    uint32_t mask = XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK;
    uint32_t values[] = {screen->white_pixel,
                         XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, int16_t(x), int16_t(y),
                      uint16_t(o.width), uint16_t(o.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, mask, values);

    xcb_atom_t utf8 = atom(c, "UTF8_STRING");
    setText(c, w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, o.title);
    setText(c, w, atom(c, "_NET_WM_NAME"), utf8, o.title);
    if (o.setClass) {
        std::string wmClass = o.instance + '\0' + o.wmClass + '\0';
        setText(c, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, wmClass);
    }
    if (o.skipTaskbar) {
        setCardinals(c, w, atom(c, "_NET_WM_STATE"), XCB_ATOM_ATOM,
                     {atom(c, "_NET_WM_STATE_SKIP_TASKBAR")});
    }
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    setText(c, w, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, host);
    if (o.setPid)
        setCardinals(c, w, atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, {uint32_t(getpid())});

    xcb_size_hints_t hints{};
    xcb_icccm_size_hints_set_position(&hints, 1, x, y);
    xcb_icccm_size_hints_set_size(&hints, 1, o.width, o.height);
    if (kind == "fixed") {
        xcb_icccm_size_hints_set_min_size(&hints, o.width, o.height);
        xcb_icccm_size_hints_set_max_size(&hints, o.width, o.height);
    }
    xcb_icccm_set_wm_normal_hints(c, w, &hints);

    setCardinals(c, w, atom(c, "WM_PROTOCOLS"), XCB_ATOM_ATOM, {atom(c, "WM_DELETE_WINDOW")});

    std::string type = kind == "dock" ? "dock" : o.type;
    xcb_atom_t typeProperty = atom(c, "_NET_WM_WINDOW_TYPE");
    if (type == "normal") {
        setCardinals(c, w, typeProperty, XCB_ATOM_ATOM, {atom(c, "_NET_WM_WINDOW_TYPE_NORMAL")});
    } else if (type == "dialog") {
        setCardinals(c, w, typeProperty, XCB_ATOM_ATOM, {atom(c, "_NET_WM_WINDOW_TYPE_DIALOG")});
    } else if (type == "utility") {
        setCardinals(c, w, typeProperty, XCB_ATOM_ATOM, {atom(c, "_NET_WM_WINDOW_TYPE_UTILITY")});
    } else if (type == "dock") {
        setCardinals(c, w, typeProperty, XCB_ATOM_ATOM, {atom(c, "_NET_WM_WINDOW_TYPE_DOCK")});
    } else if (type != "none") {
        usage("type must be normal, dialog, utility or none");
    }
    if (o.transientFor != XCB_WINDOW_NONE) {
        setCardinals(c, w, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, {o.transientFor});
    }
    if (kind == "dock") {
        uint32_t top = uint32_t(o.strutTop >= 0 ? o.strutTop : o.y + o.height);
        setCardinals(c, w, atom(c, "_NET_WM_STRUT_PARTIAL"), XCB_ATOM_CARDINAL,
                     {0, 0, top, 0, 0, 0, 0, 0, uint32_t(o.x), uint32_t(o.x + o.width - 1), 0, 0});
        setCardinals(c, w, atom(c, "_NET_WM_STRUT"), XCB_ATOM_CARDINAL, {0, 0, top, 0});
    }

    return w;
}

}  // namespace

int main(int argc, char** argv) {
    Options o = parse(argc, argv);
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(c)) usage("cannot open the display");
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber; ++i) xcb_screen_next(&it);
    xcb_screen_t* screen = it.data;

    xcb_atom_t protocols = atom(c, "WM_PROTOCOLS");
    xcb_atom_t deleteWindow = atom(c, "WM_DELETE_WINDOW");
    xcb_window_t w = createWindow(c, screen, o, o.kind, o.x, o.y);
    for (int i = 1; i <= o.extraWindows; ++i) {
        xcb_window_t extra = createWindow(c, screen, o, "plain", o.x + 40 * i, o.y + 40 * i);
        xcb_map_window(c, extra);
    }
    xcb_map_window(c, w);
    xcb_flush(c);

    int lastWidth = o.width, lastHeight = o.height;  // the size this client last asked for
    // A plain deadline and flag: gcc's -O2 flow analysis misreads an optional<time_point> here.
    bool restoring = false;
    Clock::time_point restoreAt{};
    bool announced = false;
    for (;;) {
        if (restoring && Clock::now() >= restoreAt) {
            restoring = false;
            configure(c, w, std::make_pair(o.x, o.y), o.width, o.height);
        }
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            uint8_t kind = event->response_type & 0x7f;
            if (kind == XCB_MAP_NOTIFY && !announced) {
                announced = true;
                std::printf("window 0x%x\n", w);
                std::fflush(stdout);
            } else if (kind == XCB_CONFIGURE_NOTIFY) {
                auto* e = reinterpret_cast<xcb_configure_notify_event_t*>(event);
                if (e->window == w) {
                    bool ours = e->width == lastWidth && e->height == lastHeight;
                    if (o.kind == "overshoot" && !ours) {
                        lastWidth = e->width + o.overshoot;
                        lastHeight = e->height + o.overshoot;
                        configure(c, w, std::nullopt, lastWidth, lastHeight);
                    } else if (o.kind == "fighting" &&
                               (e->width != o.width || e->height != o.height) && !restoring) {
                        restoring = true;
                        restoreAt = Clock::now() + std::chrono::milliseconds(o.fightDelayMs);
                    }
                }
            } else if (kind == XCB_CLIENT_MESSAGE) {
                auto* e = reinterpret_cast<xcb_client_message_event_t*>(event);
                if (e->type == protocols && e->data.data32[0] == deleteWindow) {
                    free(event);
                    xcb_disconnect(c);
                    return 0;
                }
            }
            free(event);
        }
        if (xcb_connection_has_error(c)) return 1;
        // Everything queued is handled, so only new data on the socket can bring more.
        int timeout = -1;
        if (restoring) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(restoreAt - Clock::now());
            timeout = int(std::max<long long>(0, left.count()));
        }
        pollfd pfd{xcb_get_file_descriptor(c), POLLIN, 0};
        poll(&pfd, 1, timeout);
    }
}

// A small X client for the platform and end-to-end tests (options in parse()): one window whose
// behaviour towards the window manager is chosen by --kind. Prints "window 0x<id>" once mapped.
// fixed: minimum = maximum size; settling: grows itself by 120×80 once, SETTLE-DELAY ms after it
// was mapped, as an application restoring its own size does; dock: a panel with a top strut as
// tall as it. --extra-windows adds plain windows.

#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string kind = "plain", title = "Mavo test window", wmClass = "MavoTest", instance;
    std::string type = "normal", transientFor, geometry;
    int x = 100, y = 100, width = 640, height = 480, settleDelayMs = 300, extraWindows = 0;
    bool noPid = false, noClass = false, skipTaskbar = false;
};

Options parse(int argc, char** argv) {
    Options o;
    const std::map<std::string, std::string*> texts = {{"--kind", &o.kind},
                                                       {"--title", &o.title},
                                                       {"--class", &o.wmClass},
                                                       {"--instance", &o.instance},
                                                       {"--type", &o.type},
                                                       {"--geometry", &o.geometry},
                                                       {"--transient-for", &o.transientFor}};
    const std::map<std::string, int*> numbers = {{"--settle-delay", &o.settleDelayMs},
                                                 {"--extra-windows", &o.extraWindows}};
    const std::map<std::string, bool*> flags = {
        {"--no-pid", &o.noPid}, {"--no-class", &o.noClass}, {"--skip-taskbar", &o.skipTaskbar}};
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (flags.count(arg)) {
            *flags.at(arg) = true;
        } else if (i + 1 < argc && texts.count(arg)) {
            *texts.at(arg) = argv[++i];
        } else if (i + 1 < argc && numbers.count(arg)) {
            *numbers.at(arg) = std::atoi(argv[++i]);
        } else {
            std::fprintf(stderr, "mavo_test_client: bad option %s\n", arg.c_str());
            std::exit(2);
        }
    }
    if (!o.geometry.empty())
        std::sscanf(o.geometry.c_str(), "%dx%d%d%d", &o.width, &o.height, &o.x, &o.y);
    if (o.instance.empty())
        for (char ch : o.wmClass) o.instance += char(std::tolower(ch));
    return o;
}

xcb_atom_t atom(xcb_connection_t* c, const std::string& name) {
    auto* reply = xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, uint16_t(name.size()), name.c_str()), nullptr);
    xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return result;
}

void set(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property, xcb_atom_t type,
         const std::vector<uint32_t>& values) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, type, 32, uint32_t(values.size()),
                        values.data());
}

void setText(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property, xcb_atom_t type,
             const std::string& text) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, type, 8, uint32_t(text.size()),
                        text.data());
}

xcb_window_t createWindow(xcb_connection_t* c, xcb_screen_t* screen, const Options& o,
                          const std::string& kind, int x, int y) {
    xcb_window_t w = xcb_generate_id(c);
    uint32_t values[] = {screen->white_pixel,
                         XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, int16_t(x), int16_t(y),
                      uint16_t(o.width), uint16_t(o.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    setText(c, w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, o.title);
    setText(c, w, atom(c, "_NET_WM_NAME"), atom(c, "UTF8_STRING"), o.title);
    if (!o.noClass)
        setText(c, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, o.instance + '\0' + o.wmClass + '\0');
    if (o.skipTaskbar)
        set(c, w, atom(c, "_NET_WM_STATE"), XCB_ATOM_ATOM, {atom(c, "_NET_WM_STATE_SKIP_TASKBAR")});
    if (!o.noPid) set(c, w, atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, {uint32_t(getpid())});

    xcb_size_hints_t hints{};
    xcb_icccm_size_hints_set_position(&hints, 1, x, y);
    xcb_icccm_size_hints_set_size(&hints, 1, o.width, o.height);
    if (kind == "fixed") {
        xcb_icccm_size_hints_set_min_size(&hints, o.width, o.height);
        xcb_icccm_size_hints_set_max_size(&hints, o.width, o.height);
    }
    xcb_icccm_set_wm_normal_hints(c, w, &hints);

    std::string type = kind == "dock" ? "DOCK" : o.type;
    std::ranges::transform(type, type.begin(), ::toupper);
    if (type != "NONE")
        set(c, w, atom(c, "_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM,
            {atom(c, "_NET_WM_WINDOW_TYPE_" + type)});
    if (!o.transientFor.empty())
        set(c, w, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW,
            {uint32_t(std::strtoul(o.transientFor.c_str(), nullptr, 0))});
    if (kind == "dock") {
        uint32_t top = uint32_t(o.y + o.height);
        set(c, w, atom(c, "_NET_WM_STRUT_PARTIAL"), XCB_ATOM_CARDINAL,
            {0, 0, top, 0, 0, 0, 0, 0, uint32_t(o.x), uint32_t(o.x + o.width - 1), 0, 0});
        set(c, w, atom(c, "_NET_WM_STRUT"), XCB_ATOM_CARDINAL, {0, 0, top, 0});
    }
    return w;
}

}  // namespace

int main(int argc, char** argv) {
    Options o = parse(argc, argv);
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(c)) return 2;
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber; ++i) xcb_screen_next(&it);

    xcb_window_t w = createWindow(c, it.data, o, o.kind, o.x, o.y);
    for (int i = 1; i <= o.extraWindows; ++i)
        xcb_map_window(c, createWindow(c, it.data, o, "plain", o.x + 40 * i, o.y + 40 * i));
    xcb_map_window(c, w);
    xcb_flush(c);

    // A plain deadline and flag: gcc's -O2 flow analysis misreads an optional<time_point> here.
    bool settling = false, announced = false;
    Clock::time_point settleAt{};
    for (;;) {
        if (settling && Clock::now() >= settleAt) {
            settling = false;
            uint32_t size[] = {uint32_t(o.width + 120), uint32_t(o.height + 80)};
            xcb_configure_window(c, w, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
            xcb_flush(c);
        }
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            if ((event->response_type & 0x7f) == XCB_MAP_NOTIFY && !announced) {
                announced = true;
                settling = o.kind == "settling";
                settleAt = Clock::now() + std::chrono::milliseconds(o.settleDelayMs);
                std::printf("window 0x%x\n", w);
                std::fflush(stdout);
            }
            free(event);
        }
        if (xcb_connection_has_error(c)) return 1;
        // Everything queued is handled, so only new data on the socket can bring more.
        int timeout = -1;
        if (settling)
            timeout = int(std::max<long long>(
                0, std::chrono::duration_cast<std::chrono::milliseconds>(settleAt - Clock::now())
                       .count()));
        pollfd pfd{xcb_get_file_descriptor(c), POLLIN, 0};
        poll(&pfd, 1, timeout);
    }
}

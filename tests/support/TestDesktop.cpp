#include "TestDesktop.h"

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/randr.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

namespace mavo::test {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

template <class T>
std::unique_ptr<T, void (*)(void*)> owned(T* reply) {
    return {reply, &std::free};
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const Frame& f) {
    return os << "(" << f.x << "," << f.y << " " << f.width << "x" << f.height << ")";
}

TestDesktop::TestDesktop(Options options) {
    char pattern[] = "/tmp/mavo-desktop-XXXXXX";
    if (!mkdtemp(pattern)) {
        failure_ = "cannot create a temporary folder";
        return;
    }
    dir_ = pattern;
    for (const char* sub : {"config", "data", "cache", "run"}) fs::create_directories(dir_ / sub);
    chmod((dir_ / "run").c_str(), 0700);
    // The GNOME-family window managers read GSettings and the Xfce ones xfconf, over a session
    // bus; settings stay in memory so that nothing outside home() is touched.
    using enum WindowManager;
    wmEnv_ = {"GSETTINGS_BACKEND=memory"};
    if (!startServer(options)) return;
    pid_t bus = 0;
    if (options.sessionBus || options.windowManager == xfwm4 || options.windowManager == marco ||
        options.windowManager == mutter) {
        auto address =
            firstLine(bus, {"dbus-daemon", "--session", "--nofork", "--print-address"}, 10);
        if (!address) {
            failure_ = "dbus-daemon did not start";
            return;
        }
        wmEnv_.push_back("DBUS_SESSION_BUS_ADDRESS=" + (bus_ = *address));
    }
    if (options.windowManager != none && startWindowManager(options) && options.panel) startPanel();
}

TestDesktop::~TestDesktop() {
    if (conn_) xcb_disconnect(conn_);
    // In reverse order of start: clients first, the window manager next, the server last.
    for (pid_t pid : std::vector(children_.rbegin(), children_.rend())) stop(pid);
    // MAVO_KEEP_TEST_DESKTOP=1 keeps the programs' logs for a post-mortem.
    std::error_code ignored;
    if (!dir_.empty() && !std::getenv("MAVO_KEEP_TEST_DESKTOP")) fs::remove_all(dir_, ignored);
}

pid_t TestDesktop::spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env,
                         int stdoutFd) {
    gchar** vars = g_get_environ();
    for (std::string entry : std::vector<std::string>(vars, vars + g_strv_length(vars)))
        for (const char* prefix : {"XDG_", "XAUTHORITY=", "WAYLAND_DISPLAY=", "MAVO_"})
            if (entry.starts_with(prefix))
                vars = g_environ_unsetenv(vars, entry.substr(0, entry.find('=')).c_str());
    auto in = [&](const char* sub) { return (dir_ / sub).string(); };
    std::vector<std::string> set{"DISPLAY=" + display_,
                                 "HOME=" + dir_.string(),
                                 "XDG_CONFIG_HOME=" + in("config"),
                                 "XDG_DATA_HOME=" + in("data"),
                                 "XDG_CACHE_HOME=" + in("cache"),
                                 "XDG_RUNTIME_DIR=" + in("run"),
                                 "DBUS_SESSION_BUS_ADDRESS=unix:path=" + in("run/none"),
                                 "NO_AT_BRIDGE=1"};
    set.insert(set.end(), env.begin(), env.end());
    for (const auto& entry : set) {
        auto eq = entry.find('=');
        vars = g_environ_setenv(vars, entry.substr(0, eq).c_str(), entry.c_str() + eq + 1, TRUE);
    }
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    int log = ::open((in("") + fs::path(argv[0]).filename().string() + ".log").c_str(),
                     O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    auto dieWithParent = [](gpointer parent) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != GPOINTER_TO_INT(parent)) _exit(127);
    };
    GPid pid = 0;
    if (!g_spawn_async_with_fds(nullptr, args.data(), vars,
                                GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                                dieWithParent, GINT_TO_POINTER(getpid()), &pid, -1,
                                stdoutFd >= 0 ? stdoutFd : log, log, nullptr))
        pid = 0;
    ::close(log);
    g_strfreev(vars);
    if (pid > 0) children_.push_back(pid);
    return pid;
}

std::optional<std::string> TestDesktop::firstLine(pid_t& pid, const std::vector<std::string>& argv,
                                                  double seconds) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
    pid = spawn(argv, {}, fds[1]);
    ::close(fds[1]);
    std::string line;
    bool complete = false;
    waitUntil(
        [&] {
            char ch;
            for (pollfd pfd{fds[0], POLLIN, 0}; poll(&pfd, 1, 0) > 0;) {
                if (::read(fds[0], &ch, 1) != 1) return true;  // the writer went away
                if (ch == '\n') return complete = true;
                line.push_back(ch);
            }
            return false;
        },
        seconds);
    ::close(fds[0]);
    return complete && pid > 0 ? std::optional(line) : std::nullopt;
}

bool TestDesktop::startServer(const Options& options) {
    // Xvfb picks a free display number and reports it once it accepts connections; -noreset
    // keeps the monitors a lone xrandr sets across client exits.
    std::string screen = std::to_string(options.width) + "x" + std::to_string(options.height);
    auto number = firstLine(server_,
                            {"Xvfb", "-displayfd", "1", "-screen", "0", screen + "x24", "-noreset",
                             "-nolisten", "tcp", "+extension", "RANDR"},
                            20);
    if (!number) return failure_ = "Xvfb did not report a display number", false;
    display_ = ":" + *number;
    conn_ = xcb_connect(display_.c_str(), nullptr);
    if (xcb_connection_has_error(conn_)) return failure_ = "cannot connect to " + display_, false;
    root_ = xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root;
    if (options.monitors.empty()) return true;

    for (const Monitor& m : options.monitors) {
        char geometry[64];
        snprintf(geometry, sizeof geometry, "%d/%dx%d/%d+%d+%d", m.width, m.widthMM, m.height,
                 m.heightMM, m.x, m.y);
        if (run({"xrandr", "--setmonitor", m.name, geometry, "none"}) != 0)
            return failure_ = "xrandr --setmonitor " + m.name + " failed", false;
    }
    // Turning the output off drops the automatic whole-screen monitor (xrandr complains, and
    // does it all the same).
    run({"xrandr", "--output", "screen", "--off"});
    auto reply = owned(
        xcb_randr_get_monitors_reply(conn_, xcb_randr_get_monitors(conn_, root_, 1), nullptr));
    if (!reply || reply->nMonitors != options.monitors.size())
        return failure_ = "the monitor layout did not take", false;
    return true;
}

bool TestDesktop::startWindowManager(const Options& options) {
    using enum WindowManager;
    static const std::map<WindowManager, std::vector<std::string>> commands = {
        {openbox, {"openbox", "--sm-disable"}},
        {xfwm4, {"xfwm4"}},
        {marco, {"marco", "--no-composite", "--sm-disable"}},
        {mutter, {"mutter", "--x11", "--replace", "--sm-disable"}},
        {fluxbox, {"fluxbox", "-no-slit"}},
    };
    auto argv = commands.at(options.windowManager);
    if (options.windowManager == xfwm4)
        argv.push_back(options.compositor ? "--compositor=on" : "--compositor=off");
    windowManager_ = spawn(argv, wmEnv_);
    auto wmUp = [&] {
        auto wm = property(root_, "_NET_SUPPORTING_WM_CHECK");
        auto cm = owned(xcb_get_selection_owner_reply(
            conn_, xcb_get_selection_owner(conn_, atom("_NET_WM_CM_S0")), nullptr));
        return !wm.empty() && property(wm[0], "_NET_SUPPORTING_WM_CHECK") == wm &&
               (!options.compositor || (cm && cm->owner != XCB_WINDOW_NONE));
    };
    if (!waitUntil(wmUp, 20)) return failure_ = argv[0] + " did not come up", false;
    // Window managers publish their check window before they handle map requests and some drop
    // the ones that come too early: map a window of our own until it is managed.
    auto listed = [&](xcb_window_t w) { return std::ranges::count(clientList(), w) > 0; };
    for (int attempt = 0; attempt < 40; ++attempt) {
        xcb_window_t w = xcb_generate_id(conn_);
        xcb_create_window(conn_, XCB_COPY_FROM_PARENT, w, root_, 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_map_window(conn_, w);
        xcb_flush(conn_);
        bool managed = waitUntil([&] { return listed(w); }, 0.5);
        xcb_destroy_window(conn_, w);
        xcb_flush(conn_);
        if (managed) return waitUntil([&] { return !listed(w); });
    }
    return failure_ = argv[0] + " does not manage windows", false;
}

bool TestDesktop::startPanel() {
    // One empty panel across the top; without a configuration the panel asks the user instead.
    fs::path channel = dir_ / "config/xfce4/xfconf/xfce-perchannel-xml";
    fs::create_directories(channel);
    std::ofstream(channel / "xfce4-panel.xml") << R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="panels" type="array"><value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="30"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator"/>
  </property>
</channel>
)";
    spawn({"xfce4-panel", "--disable-wm-check"}, wmEnv_);
    // The panel reserves smaller strips while it lays itself out: ready once the window manager
    // has taken its full strut into the work area.
    auto reserved = [&] {
        auto area = property(root_, "_NET_WORKAREA");
        return area.size() >= 4 && area[1] >= 30 &&
               std::ranges::any_of(clientList(), [&](uint32_t w) {
                   auto strut = property(w, "_NET_WM_STRUT_PARTIAL");
                   return strut.size() >= 4 && strut[2] == area[1];
               });
    };
    return waitUntil(reserved, 20) || (failure_ = "xfce4-panel reserved no space", false);
}

int TestDesktop::run(const std::vector<std::string>& argv, double timeoutSeconds) {
    pid_t pid = spawn(argv);
    auto status = waitExit(pid, timeoutSeconds);
    if (!status) stop(pid, SIGKILL);
    return status.value_or(-1);
}

bool TestDesktop::xdotool(const std::string& commands) {
    std::vector<std::string> argv{"xdotool"};
    std::istringstream words(commands);
    for (std::string word; words >> word;) argv.push_back(word);
    return run(argv, 20) == 0;
}

bool TestDesktop::drag(int x, int y, int dx, int dy) {
    // One xdotool run for the gesture; the first step is longer than Openbox's drag threshold.
    std::ostringstream script;
    script << "mousemove " << x << " " << y << " sleep 0.05 mousedown 1 sleep 0.05";
    for (int i = 0, n = 12; i < n; ++i) {
        script << " mousemove_relative -- " << dx * (i + 1) / n - dx * i / n << " "
               << dy * (i + 1) / n - dy * i / n << " sleep 0.02";
    }
    return xdotool(script.str() + " sleep 0.05 mouseup 1");
}

std::optional<int> TestDesktop::waitExit(pid_t pid, double timeoutSeconds) {
    int status = -1;
    auto reaped = [&] {
        int raw = 0;
        if (!std::ranges::count(children_, pid)) return true;
        pid_t done = waitpid(pid, &raw, WNOHANG);
        if (done == 0) return false;
        if (done == pid && WIFEXITED(raw)) status = WEXITSTATUS(raw);
        std::erase(children_, pid);
        return true;
    };
    return waitUntil(reaped, timeoutSeconds) ? std::optional(status) : std::nullopt;
}

int TestDesktop::stop(pid_t pid, int signum) {
    if (pid <= 0 || waitExit(pid, 0)) return -1;
    kill(pid, signum);
    if (auto status = waitExit(pid, 5)) return *status;
    kill(pid, SIGKILL);
    waitExit(pid, 5);
    return -1;
}

void TestDesktop::stopServer() {
    if (conn_) xcb_disconnect(conn_);
    conn_ = nullptr;
    stop(windowManager_);
    stop(server_);
}

std::optional<TestDesktop::Client> TestDesktop::startClient(std::vector<std::string> options) {
    options.insert(options.begin(), MAVO_TEST_CLIENT);
    Client client;
    auto line = firstLine(client.pid, options, 15);
    if (!line || !line->starts_with("window ")) return std::nullopt;
    client.window = xcb_window_t(std::strtoul(line->c_str() + 7, nullptr, 16));
    if (!waitUntil([&] { return isManaged(client.window); }, 15)) return std::nullopt;
    return client;
}

std::optional<TestDesktop::Client> TestDesktop::startApplication(
    const std::vector<std::string>& argv, const std::string& wmClass,
    const std::vector<std::string>& env) {
    Client client{spawn(argv, env)};
    auto found = [&] {
        for (uint32_t w : clientList())
            if (text(w, "WM_CLASS").find(wmClass) != std::string::npos && isManaged(w))
                return (client.window = w) != XCB_WINDOW_NONE;
        return false;
    };
    return waitUntil(found, 20) ? std::optional(client) : std::nullopt;
}

xcb_atom_t TestDesktop::atom(const std::string& name) {
    auto reply = owned(xcb_intern_atom_reply(
        conn_, xcb_intern_atom(conn_, 0, uint16_t(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

template <class T>
std::vector<T> TestDesktop::values(xcb_window_t window, const std::string& name) {
    auto reply = owned(xcb_get_property_reply(
        conn_, xcb_get_property(conn_, 0, window, atom(name), XCB_ATOM_ANY, 0, 4096), nullptr));
    if (!reply || reply->format != 8 * sizeof(T)) return {};
    auto* data = static_cast<T*>(xcb_get_property_value(reply.get()));
    return {data, data + xcb_get_property_value_length(reply.get()) / sizeof(T)};
}

std::vector<uint32_t> TestDesktop::property(xcb_window_t window, const std::string& name) {
    return values<uint32_t>(window, name);
}

std::string TestDesktop::text(xcb_window_t window, const std::string& name) {
    auto chars = values<char>(window, name);
    return {chars.begin(), chars.end()};
}

void TestDesktop::setProperty(xcb_window_t window, const std::string& name, xcb_atom_t type,
                              const std::vector<uint32_t>& values) {
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, window, atom(name), type, 32,
                        uint32_t(values.size()), values.data());
    std::free(xcb_get_input_focus_reply(conn_, xcb_get_input_focus(conn_), nullptr));
}

void TestDesktop::sendClientMessage(xcb_window_t window, const std::string& type,
                                    const std::vector<uint32_t>& data) {
    xcb_client_message_event_t event{XCB_CLIENT_MESSAGE, 32, 0, window, atom(type), {}};
    std::copy_n(data.begin(), std::min<size_t>(data.size(), 5), event.data.data32);
    xcb_send_event(conn_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(conn_);
}

std::optional<Frame> TestDesktop::frame(xcb_window_t window) {
    // The client grown by the extents the window manager publishes (none for a window that draws
    // its own): the window manager's frame window can be larger, by invisible resize borders.
    auto e = property(window, "_NET_FRAME_EXTENTS");
    e.resize(4);
    auto g = owned(xcb_get_geometry_reply(conn_, xcb_get_geometry(conn_, window), nullptr));
    auto at = owned(xcb_translate_coordinates_reply(
        conn_, xcb_translate_coordinates(conn_, window, root_, 0, 0), nullptr));
    if (!g || !at) return std::nullopt;
    return Frame{at->dst_x - int(e[0]), at->dst_y - int(e[2]), g->width + int(e[0] + e[1]),
                 g->height + int(e[2] + e[3])};
}

bool TestDesktop::isManaged(xcb_window_t window) {
    // Some window managers give windows they do not frame (panels, and under Marco windows that
    // draw their own title bar) no extents; ICCCM's WM_STATE is set on every window taken on.
    auto types = property(window, "_NET_WM_WINDOW_TYPE");
    bool dock = std::ranges::count(types, atom("_NET_WM_WINDOW_TYPE_DOCK")) > 0;
    return std::ranges::count(clientList(), window) &&
           (dock || property(window, "_NET_FRAME_EXTENTS").size() == 4 ||
            !property(window, "WM_STATE").empty());
}

bool TestDesktop::waitUntil(const std::function<bool()>& condition, double timeoutSeconds) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!condition()) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace mavo::test

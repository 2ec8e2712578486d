#include "Desktop.h"

#include <fcntl.h>
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
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace mavo::e2e {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

std::ostream& operator<<(std::ostream& os, const Frame& f) {
    return os << "(" << f.x << "," << f.y << " " << f.width << "×" << f.height << ")";
}

namespace {

template <class T>
struct Freed {
    T* p;
    explicit Freed(T* ptr) : p(ptr) {}
    ~Freed() { free(p); }
    Freed(const Freed&) = delete;
    Freed& operator=(const Freed&) = delete;
    T* operator->() const { return p; }
    explicit operator bool() const { return p != nullptr; }
};

std::optional<std::string> readLine(int fd, double timeoutSeconds) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    std::string line;
    while (Clock::now() < deadline) {
        pollfd pfd{fd, POLLIN, 0};
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (::poll(&pfd, 1, std::max<int>(int(left.count()), 1)) <= 0) continue;
        char ch;
        if (::read(fd, &ch, 1) <= 0) return std::nullopt;
        if (ch == '\n') return line;
        line.push_back(ch);
    }
    return std::nullopt;
}

// Waits for a child to end; true with its status when it did within the timeout.
bool waitForExit(pid_t pid, double timeoutSeconds, int* status) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    do {
        pid_t done = ::waitpid(pid, status, WNOHANG);
        if (done == pid) return true;
        if (done < 0 && errno == ECHILD) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    } while (Clock::now() < deadline);
    return false;
}

bool isDropped(const std::string& entry) {
    for (const char* prefix : {"DISPLAY=", "HOME=", "XDG_", "XAUTHORITY=",
                               "DBUS_SESSION_BUS_ADDRESS=", "WAYLAND_DISPLAY=", "MAVO_"}) {
        if (entry.rfind(prefix, 0) == 0) return true;
    }
    return false;
}

std::string readAll(const fs::path& p) {
    std::ifstream in(p);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

Desktop::Desktop() : Desktop(Options{}) {}

Desktop::Desktop(Options options) {
    char pattern[] = "/tmp/mavo-e2e-XXXXXX";
    if (!::mkdtemp(pattern)) {
        failure_ = "cannot create a temporary folder";
        return;
    }
    dir_ = pattern;
    for (const char* sub : {"config", "data", "cache", "run"}) fs::create_directories(dir_ / sub);
    ::chmod((dir_ / "run").c_str(), 0700);
    if (!startServer(options)) return;
    startWindowManager();
}

Desktop::~Desktop() {
    if (mavo_ > 0) stopMavo();
    if (conn_) {
        xcb_disconnect(conn_);
        conn_ = nullptr;
    }
    // Clients first, the window manager next, the server last.
    std::vector<pid_t> order;
    for (auto it = children_.rbegin(); it != children_.rend(); ++it) {
        if (*it != windowManager_ && *it != server_) order.push_back(*it);
    }
    order.push_back(windowManager_);
    order.push_back(server_);
    for (pid_t pid : order) stop(pid);
    // MAVO_KEEP_TEST_DESKTOP=1 keeps the logs for a post-mortem.
    if (!dir_.empty() && !std::getenv("MAVO_KEEP_TEST_DESKTOP")) {
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }
}

pid_t Desktop::spawn(const std::vector<std::string>& argv, const std::vector<std::string>& extraEnv,
                     int stdoutFd, int keepFd, const std::string& logName) {
    // Everything the child needs is prepared before fork: in a threaded parent the child may
    // only make async-signal-safe calls.
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        if (!isDropped(*e)) env.emplace_back(*e);
    }
    if (!display_.empty()) env.push_back("DISPLAY=" + display_);
    env.push_back("HOME=" + dir_.string());
    env.push_back("XDG_CONFIG_HOME=" + (dir_ / "config").string());
    env.push_back("XDG_DATA_HOME=" + (dir_ / "data").string());
    env.push_back("XDG_CACHE_HOME=" + (dir_ / "cache").string());
    env.push_back("XDG_RUNTIME_DIR=" + (dir_ / "run").string());
    // No session bus: nothing of the test reaches the machine's own desktop services.
    env.push_back("DBUS_SESSION_BUS_ADDRESS=unix:path=" + (dir_ / "run/no-bus").string());
    for (const auto& e : extraEnv) env.push_back(e);
    std::vector<char*> envp, args;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<std::string> argvCopy = argv;
    for (auto& a : argvCopy) args.push_back(a.data());
    args.push_back(nullptr);
    std::string logPath = (dir_ / (logName + ".log")).string();
    int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    int devnull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    pid_t parent = ::getpid();

    pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) _exit(127);
        ::dup2(devnull, 0);
        ::dup2(stdoutFd >= 0 ? stdoutFd : (log >= 0 ? log : devnull), 1);
        ::dup2(log >= 0 ? log : devnull, 2);
        if (keepFd >= 0) {
            if (keepFd == 3) {
                ::fcntl(3, F_SETFD, 0);
            } else {
                ::dup2(keepFd, 3);
            }
        }
        ::execvpe(args[0], args.data(), envp.data());
        _exit(127);
    }
    if (log >= 0) ::close(log);
    if (devnull >= 0) ::close(devnull);
    if (pid > 0) children_.push_back(pid);
    return pid;
}

bool Desktop::startServer(const Options& options) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        failure_ = "pipe failed";
        return false;
    }
    // -displayfd: the server picks a free display number itself and writes it to fd 3 once it
    // accepts connections. -noreset keeps monitors set by a lone xrandr across client exits.
    std::string screen =
        std::to_string(options.width) + "x" + std::to_string(options.height) + "x24";
    server_ = spawn({"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-noreset", "-nolisten",
                     "tcp", "+extension", "RANDR"},
                    {}, -1, fds[1], "Xvfb");
    ::close(fds[1]);
    auto number = readLine(fds[0], 20);
    ::close(fds[0]);
    if (server_ <= 0 || !number || number->empty()) {
        failure_ = "Xvfb did not report a display number";
        return false;
    }
    display_ = ":" + *number;
    int screenNumber = 0;
    conn_ = xcb_connect(display_.c_str(), &screenNumber);
    if (xcb_connection_has_error(conn_)) {
        failure_ = "cannot connect to " + display_;
        return false;
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root;

    if (!options.monitors.empty()) {
        for (const Monitor& m : options.monitors) {
            std::string geometry = std::to_string(m.width) + "/" + std::to_string(m.widthMM) + "x" +
                                   std::to_string(m.height) + "/" + std::to_string(m.heightMM) +
                                   "+" + std::to_string(m.x) + "+" + std::to_string(m.y);
            if (run({"xrandr", "--setmonitor", m.name, geometry, "none"}) != 0) {
                failure_ = "xrandr --setmonitor " + m.name + " failed";
                return false;
            }
        }
        // Turning the output off removes the automatic monitor of the whole screen (xrandr
        // complains about the screen size, and does it all the same).
        run({"xrandr", "--output", "screen", "--off"});
        Freed<xcb_randr_get_monitors_reply_t> reply(
            xcb_randr_get_monitors_reply(conn_, xcb_randr_get_monitors(conn_, root_, 1), nullptr));
        if (!reply || reply->nMonitors != options.monitors.size()) {
            failure_ = "the monitor layout did not take";
            return false;
        }
    }
    return true;
}

bool Desktop::startWindowManager() {
    windowManager_ = spawn({"openbox", "--sm-disable"}, {}, -1, -1, "openbox");
    xcb_atom_t check = atom("_NET_SUPPORTING_WM_CHECK");
    bool up = waitUntil(
        [&] {
            auto wm = property(root_, "_NET_SUPPORTING_WM_CHECK");
            if (wm.empty()) return false;
            auto self = property(wm[0], "_NET_SUPPORTING_WM_CHECK");
            return !self.empty() && self[0] == wm[0];
        },
        20);
    (void)check;
    if (!up) {
        failure_ = "Openbox did not come up";
        return false;
    }
    // Openbox publishes its check window before it handles map requests: map a window of our
    // own until it is managed, so that the test's first client is not dropped.
    for (int attempt = 0; attempt < 40; ++attempt) {
        xcb_window_t w = xcb_generate_id(conn_);
        xcb_create_window(conn_, XCB_COPY_FROM_PARENT, w, root_, 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_map_window(conn_, w);
        xcb_flush(conn_);
        bool managed = waitUntil([&] { return isManaged(w); }, 0.5);
        xcb_destroy_window(conn_, w);
        xcb_flush(conn_);
        if (managed) {
            auto list = [&] { return property(root_, "_NET_CLIENT_LIST"); };
            return waitUntil(
                [&] {
                    auto l = list();
                    return std::find(l.begin(), l.end(), w) == l.end();
                },
                5);
        }
    }
    failure_ = "Openbox does not manage windows";
    return false;
}

int Desktop::run(const std::vector<std::string>& argv, double timeoutSeconds) {
    pid_t pid = spawn(argv, {}, -1, -1, fs::path(argv[0]).filename().string());
    if (pid <= 0) return -1;
    int status = 0;
    if (!waitForExit(pid, timeoutSeconds, &status)) {
        stop(pid);
        return -1;
    }
    forget(pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::optional<Desktop::Client> Desktop::startClient(std::vector<std::string> options) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
    options.insert(options.begin(), MAVO_TEST_CLIENT);
    Client client;
    client.pid = spawn(options, {}, fds[1], -1, "test-client");
    ::close(fds[1]);
    auto line = readLine(fds[0], 15);
    ::close(fds[0]);
    if (client.pid <= 0 || !line || line->rfind("window ", 0) != 0) return std::nullopt;
    client.window = static_cast<xcb_window_t>(std::strtoul(line->c_str() + 7, nullptr, 16));
    if (!waitUntil([&] { return isManaged(client.window); }, 15)) return std::nullopt;
    return client;
}

std::optional<Desktop::Client> Desktop::startXterm(const std::string& title,
                                                   const std::string& geometry) {
    Client client;
    client.pid = spawn({"xterm", "-T", title, "-geometry", geometry, "-e", "sleep", "600"}, {}, -1,
                       -1, "xterm");
    if (client.pid <= 0) return std::nullopt;
    xcb_atom_t netName = atom("_NET_WM_NAME");
    auto titleOf = [&](xcb_window_t w, xcb_atom_t prop) {
        Freed<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            conn_, xcb_get_property(conn_, 0, w, prop, XCB_ATOM_ANY, 0, 1024), nullptr));
        if (!reply || reply->format != 8) return std::string();
        return std::string(static_cast<char*>(xcb_get_property_value(reply.p)),
                           size_t(xcb_get_property_value_length(reply.p)));
    };
    bool found = waitUntil(
        [&] {
            for (uint32_t w : property(root_, "_NET_CLIENT_LIST")) {
                if (titleOf(w, netName) == title || titleOf(w, XCB_ATOM_WM_NAME) == title) {
                    client.window = w;
                    return isManaged(w);
                }
            }
            return false;
        },
        15);
    if (!found) return std::nullopt;
    return client;
}

void Desktop::forget(pid_t pid) {
    children_.erase(std::remove(children_.begin(), children_.end(), pid), children_.end());
}

void Desktop::stop(pid_t pid) {
    if (pid <= 0 || std::find(children_.begin(), children_.end(), pid) == children_.end()) return;
    forget(pid);
    ::kill(pid, SIGTERM);
    int status = 0;
    if (!waitForExit(pid, 5, &status)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
    }
}

xcb_atom_t Desktop::atom(const std::string& name) {
    Freed<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        conn_, xcb_intern_atom(conn_, 0, uint16_t(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

std::vector<uint32_t> Desktop::property(xcb_window_t window, const std::string& name) {
    Freed<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        conn_, xcb_get_property(conn_, 0, window, atom(name), XCB_ATOM_ANY, 0, 4096), nullptr));
    std::vector<uint32_t> values;
    if (reply && reply->format == 32) {
        auto* data = static_cast<uint32_t*>(xcb_get_property_value(reply.p));
        values.assign(data, data + xcb_get_property_value_length(reply.p) / 4);
    }
    return values;
}

void Desktop::setProperty(xcb_window_t window, const std::string& name, xcb_atom_t type,
                          const std::vector<uint32_t>& values) {
    xcb_change_property(conn_, XCB_PROP_MODE_REPLACE, window, atom(name), type, 32,
                        uint32_t(values.size()), values.data());
    xcb_flush(conn_);
}

void Desktop::sendClientMessage(xcb_window_t window, const std::string& type,
                                const std::vector<uint32_t>& data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(type);
    for (size_t i = 0; i < data.size() && i < 5; ++i) event.data.data32[i] = data[i];
    xcb_send_event(conn_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(conn_);
}

std::optional<Frame> Desktop::frame(xcb_window_t window) {
    Freed<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(conn_, xcb_get_geometry(conn_, window), nullptr));
    Freed<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        conn_, xcb_translate_coordinates(conn_, window, root_, 0, 0), nullptr));
    if (!geometry || !origin) return std::nullopt;
    std::vector<uint32_t> extents =
        property(window, "_NET_FRAME_EXTENTS");  // left right top bottom
    if (extents.size() != 4) extents = {0, 0, 0, 0};
    return Frame{origin->dst_x - int(extents[0]), origin->dst_y - int(extents[2]),
                 geometry->width + int(extents[0] + extents[1]),
                 geometry->height + int(extents[2] + extents[3])};
}

bool Desktop::isManaged(xcb_window_t window) {
    auto clients = property(root_, "_NET_CLIENT_LIST");
    if (std::find(clients.begin(), clients.end(), window) == clients.end()) return false;
    return property(window, "_NET_FRAME_EXTENTS").size() == 4;
}

bool Desktop::isMapped(xcb_window_t window) {
    Freed<xcb_get_window_attributes_reply_t> attrs(
        xcb_get_window_attributes_reply(conn_, xcb_get_window_attributes(conn_, window), nullptr));
    return attrs && attrs->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool Desktop::xdotool(const std::vector<std::string>& args) {
    std::vector<std::string> argv{"xdotool"};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(argv, 20) == 0;
}

bool Desktop::drag(int x, int y, int dx, int dy) {
    // One xdotool run for the whole gesture; the first step is longer than the window
    // manager's drag threshold.
    const int steps = 12;
    std::vector<std::string> args{"mousemove",
                                  std::to_string(x),
                                  std::to_string(y),
                                  "sleep",
                                  "0.05",
                                  "mousedown",
                                  "1",
                                  "sleep",
                                  "0.05"};
    int doneX = 0, doneY = 0;
    for (int i = 1; i <= steps; ++i) {
        int nx = dx * i / steps, ny = dy * i / steps;
        args.insert(args.end(), {"mousemove_relative", "--", std::to_string(nx - doneX),
                                 std::to_string(ny - doneY), "sleep", "0.02"});
        doneX = nx;
        doneY = ny;
    }
    args.insert(args.end(), {"sleep", "0.05", "mouseup", "1"});
    return xdotool(args);
}

bool Desktop::startMavo(const std::vector<std::string>& extraEnv) {
    std::vector<std::string> env{"MAVO_TEST_HOOKS=1", "MAVO_STRICT_X_ERRORS=1",
                                 "MAVO_DIAG_LOG=" + diagLog().string()};
    env.insert(env.end(), extraEnv.begin(), extraEnv.end());
    mavoReaped_ = false;
    mavo_ = spawn({MAVO_BINARY}, env, -1, -1, "mavo");
    if (mavo_ <= 0) return false;
    return waitUntil(
               [&] {
                   if (!mavoAlive()) return true;
                   auto ready = property(root_, "_MAVO_READY");
                   return !ready.empty() && pid_t(ready[0]) == mavo_;
               },
               20) &&
           mavoAlive();
}

bool Desktop::mavoAlive() {
    if (mavo_ <= 0 || mavoReaped_) return false;
    if (::waitpid(mavo_, &mavoStatus_, WNOHANG) == 0) return true;
    mavoReaped_ = true;
    return false;
}

Desktop::SyncReply Desktop::sync(bool force) {
    SyncReply reply;
    if (!mavoAlive()) return reply;
    uint32_t counter = ++syncCounter_;
    setProperty(root_, "_MAVO_SYNC_REQUEST", XCB_ATOM_CARDINAL, {counter, force ? 1u : 0u});
    waitUntil(
        [&] {
            auto done = property(root_, "_MAVO_SYNC_DONE");
            if (done.size() >= 3 && done[0] == counter) {
                reply = {true, done[1], done[2]};
                return true;
            }
            return !mavoAlive();
        },
        30);
    return reply;
}

int Desktop::stopMavo(int signum) {
    if (mavo_ <= 0) return -1;
    pid_t pid = mavo_;
    mavo_ = 0;
    forget(pid);
    if (mavoReaped_) return -1;  // it ended before it was asked to: not an orderly exit
    ::kill(pid, signum);
    int status = 0;
    if (!waitForExit(pid, 15, &status)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int Desktop::waitForMavoExit(double timeoutSeconds) {
    if (mavo_ <= 0) return -1;
    if (!waitUntil([&] { return !mavoAlive(); }, timeoutSeconds)) return -1;
    forget(mavo_);
    mavo_ = 0;
    return WIFEXITED(mavoStatus_) ? WEXITSTATUS(mavoStatus_) : -1;
}

void Desktop::stopServer() {
    if (conn_) {
        xcb_disconnect(conn_);
        conn_ = nullptr;
    }
    stop(windowManager_);
    stop(server_);
}

std::string Desktop::mavoStderr() const {
    return readAll(dir_ / "mavo.log");
}

std::vector<std::string> Desktop::diagLines() const {
    std::ifstream in(diagLog());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool Desktop::diagHas(const std::string& text) const {
    return diagCount(text) > 0;
}

int Desktop::diagCount(const std::string& text) const {
    int n = 0;
    for (const auto& line : diagLines()) n += line.find(text) != std::string::npos;
    return n;
}

std::optional<nlohmann::json> Desktop::placements() const {
    std::ifstream in(placementsFile());
    if (!in) return std::nullopt;
    nlohmann::json doc = nlohmann::json::parse(in, nullptr, false);
    if (doc.is_discarded()) return std::nullopt;
    return doc;
}

void Desktop::writeDefaults(const nlohmann::json& object) const {
    fs::create_directories(defaultsFile().parent_path());
    std::ofstream(defaultsFile()) << object.dump(2);
}

bool Desktop::waitUntil(const std::function<bool()>& condition, double timeoutSeconds) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!condition()) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

Output runWithoutDesktop(const std::vector<std::string>& argv,
                         const std::vector<std::string>& env) {
    Output result;
    int out[2], err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) return result;
    std::vector<std::string> envCopy = env;
    if (const char* path = std::getenv("PATH")) envCopy.push_back(std::string("PATH=") + path);
    std::vector<char*> envp, args;
    for (auto& e : envCopy) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<std::string> argvCopy = argv;
    for (auto& a : argvCopy) args.push_back(a.data());
    args.push_back(nullptr);
    pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        ::execvpe(args[0], args.data(), envp.data());
        _exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    auto deadline = Clock::now() + std::chrono::seconds(10);
    int open = 2;
    while (open > 0 && Clock::now() < deadline) {
        if (::poll(fds, 2, 100) <= 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
            char buf[4096];
            ssize_t n = ::read(fds[i].fd, buf, sizeof buf);
            if (n <= 0) {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            } else {
                (i == 0 ? result.out : result.err).append(buf, size_t(n));
            }
        }
    }
    for (auto& f : fds)
        if (f.fd >= 0) ::close(f.fd);
    int status = 0;
    if (!waitForExit(pid, 5, &status)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
        return result;
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace mavo::e2e

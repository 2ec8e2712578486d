#include "TestDesktop.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/randr.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

extern char** environ;

namespace mavo::test {

namespace {

using Clock = std::chrono::steady_clock;

xcb_atom_t atomOf(xcb_connection_t* c, const char* name) {
    xcb_intern_atom_reply_t* reply =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(strlen(name)), name), nullptr);
    xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return atom;
}

std::vector<uint32_t> property32(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property) {
    xcb_get_property_reply_t* reply = xcb_get_property_reply(
        c, xcb_get_property(c, 0, w, property, XCB_ATOM_ANY, 0, 4096), nullptr);
    std::vector<uint32_t> values;
    if (reply && reply->format == 32) {
        auto* data = static_cast<uint32_t*>(xcb_get_property_value(reply));
        values.assign(data, data + xcb_get_property_value_length(reply) / 4);
    }
    free(reply);
    return values;
}

std::string property8(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property) {
    xcb_get_property_reply_t* reply = xcb_get_property_reply(
        c, xcb_get_property(c, 0, w, property, XCB_ATOM_ANY, 0, 4096), nullptr);
    std::string value;
    if (reply && reply->format == 8) {
        auto* data = static_cast<char*>(xcb_get_property_value(reply));
        value.assign(data, data + xcb_get_property_value_length(reply));
    }
    free(reply);
    return value;
}

// Reads one line from `fd` within the timeout.
std::optional<std::string> readLine(int fd, double timeoutSeconds) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    std::string line;
    while (Clock::now() < deadline) {
        pollfd pfd{fd, POLLIN, 0};
        int left = int(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
        if (poll(&pfd, 1, std::max(left, 1)) <= 0) continue;
        char ch;
        ssize_t got = ::read(fd, &ch, 1);
        if (got <= 0) return std::nullopt;
        if (ch == '\n') return line;
        line.push_back(ch);
    }
    return std::nullopt;
}

bool waitForExit(pid_t pid, double timeoutSeconds, int* status) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    do {
        pid_t done = waitpid(pid, status, WNOHANG);
        if (done == pid || (done < 0 && errno == ECHILD)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    } while (Clock::now() < deadline);
    return false;
}

}  // namespace

TestDesktop::TestDesktop(Options options) {
    char pattern[] = "/tmp/mavo-x11-test-XXXXXX";
    if (!mkdtemp(pattern)) {
        failure_ = "cannot create a temporary folder";
        return;
    }
    dir_ = pattern;
    if (!startServer(options)) return;
    if (options.windowManager && !startWindowManager()) return;
}

TestDesktop::~TestDesktop() {
    stopAll();
    // MAVO_KEEP_TEST_DESKTOP=1 keeps the logs of the desktop's programs for a post-mortem.
    if (!dir_.empty() && !std::getenv("MAVO_KEEP_TEST_DESKTOP")) {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
}

pid_t TestDesktop::spawn(const std::vector<std::string>& argv, int stdoutFd, int keepFd) {
    // Everything the child needs is prepared before fork: a threaded parent allows the child
    // only async-signal-safe calls.
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        std::string entry = *e;
        for (const char* drop : {"DISPLAY=", "HOME=", "XDG_CONFIG_HOME=", "XDG_CACHE_HOME=",
                                 "XDG_DATA_HOME=", "XAUTHORITY="}) {
            if (entry.rfind(drop, 0) == 0) entry.clear();
        }
        if (!entry.empty()) env.push_back(entry);
    }
    if (!display_.empty()) env.push_back("DISPLAY=" + display_);
    env.push_back("HOME=" + dir_);
    env.push_back("XDG_CONFIG_HOME=" + dir_ + "/config");
    env.push_back("XDG_CACHE_HOME=" + dir_ + "/cache");
    env.push_back("XDG_DATA_HOME=" + dir_ + "/data");
    std::vector<char*> envp, args;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    std::vector<std::string> argvCopy = argv;
    for (auto& a : argvCopy) args.push_back(a.data());
    args.push_back(nullptr);
    std::string logPath = dir_ + "/" + std::filesystem::path(argv[0]).filename().string() + ".log";
    int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    int devnull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    pid_t parent = getpid();

    pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(127);
        dup2(devnull, 0);
        dup2(stdoutFd >= 0 ? stdoutFd : devnull, 1);
        dup2(log >= 0 ? log : devnull, 2);
        if (keepFd >= 0) {
            if (keepFd == 3) {
                fcntl(3, F_SETFD, 0);
            } else {
                dup2(keepFd, 3);
            }
        }
        execvpe(args[0], args.data(), envp.data());
        _exit(127);
    }
    if (log >= 0) ::close(log);
    if (devnull >= 0) ::close(devnull);
    if (pid > 0) children_.push_back(pid);
    return pid;
}

bool TestDesktop::startServer(const Options& options) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        failure_ = "pipe failed";
        return false;
    }
    std::string screen =
        std::to_string(options.width) + "x" + std::to_string(options.height) + "x24";
    server_ = spawn({"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-noreset", "-nolisten",
                     "tcp", "+extension", "RANDR"},
                    -1, fds[1]);
    ::close(fds[1]);
    auto number = readLine(fds[0], 15);
    ::close(fds[0]);
    if (server_ <= 0 || !number || number->empty()) {
        failure_ = "Xvfb did not report a display number";
        return false;
    }
    display_ = ":" + *number;
    int screenNumber = 0;
    probe_ = xcb_connect(display_.c_str(), &screenNumber);
    if (xcb_connection_has_error(probe_)) {
        failure_ = "cannot connect to " + display_;
        return false;
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(probe_)).data->root;

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
        // Turning the output off removes the automatic monitor of the whole screen; xrandr
        // reports an error about the screen size but does it.
        run({"xrandr", "--output", "screen", "--off"});
        xcb_randr_get_monitors_reply_t* reply =
            xcb_randr_get_monitors_reply(probe_, xcb_randr_get_monitors(probe_, root_, 1), nullptr);
        size_t count = reply ? reply->nMonitors : 0;
        free(reply);
        if (count != options.monitors.size()) {
            failure_ = "the monitor layout did not take";
            return false;
        }
    }
    return true;
}

bool TestDesktop::startWindowManager() {
    windowManager_ = spawn({"openbox", "--sm-disable"}, -1, -1);
    xcb_atom_t check = atomOf(probe_, "_NET_SUPPORTING_WM_CHECK");
    bool up = waitUntil(
        [&] {
            auto wm = property32(probe_, root_, check);
            if (wm.empty()) return false;
            auto self = property32(probe_, wm[0], check);
            return !self.empty() && self[0] == wm[0];
        },
        15);
    if (!up) {
        failure_ = "Openbox did not come up";
        return false;
    }
    // Openbox publishes its check window before it handles map requests, and drops the ones
    // that come too early: map a window of our own until it is managed.
    xcb_atom_t clients = atomOf(probe_, "_NET_CLIENT_LIST");
    auto listed = [&](xcb_window_t w) {
        auto list = property32(probe_, root_, clients);
        return std::find(list.begin(), list.end(), w) != list.end();
    };
    for (int attempt = 0; attempt < 30; ++attempt) {
        xcb_window_t w = xcb_generate_id(probe_);
        xcb_create_window(probe_, XCB_COPY_FROM_PARENT, w, root_, 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_map_window(probe_, w);
        xcb_flush(probe_);
        bool managed = waitUntil([&] { return listed(w); }, 0.5);
        xcb_destroy_window(probe_, w);
        xcb_flush(probe_);
        if (managed) return waitUntil([&] { return !listed(w); }, 5);
    }
    failure_ = "Openbox does not manage windows";
    return false;
}

int TestDesktop::run(std::vector<std::string> argv, double timeoutSeconds) {
    pid_t pid = spawn(argv, -1, -1);
    if (pid <= 0) return -1;
    int status = 0;
    bool exited = waitForExit(pid, timeoutSeconds, &status);
    if (!exited) {
        stop(pid);
        return -1;
    }
    children_.erase(std::remove(children_.begin(), children_.end(), pid), children_.end());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::optional<TestDesktop::Client> TestDesktop::startClient(std::vector<std::string> options) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
    options.insert(options.begin(), MAVO_TEST_CLIENT);
    Client client;
    client.pid = spawn(options, fds[1], -1);
    ::close(fds[1]);
    auto line = readLine(fds[0], 10);
    ::close(fds[0]);
    if (client.pid <= 0 || !line || line->rfind("window ", 0) != 0) return std::nullopt;
    client.window = static_cast<xcb_window_t>(std::strtoul(line->c_str() + 7, nullptr, 16));
    if (!waitUntil([&] { return isManaged(client.window); }, 10)) return std::nullopt;
    return client;
}

std::optional<TestDesktop::Client> TestDesktop::startXterm(const std::string& title,
                                                           const std::string& geometry) {
    Client client;
    client.pid = spawn({"xterm", "-T", title, "-geometry", geometry, "-e", "sleep", "600"}, -1, -1);
    if (client.pid <= 0) return std::nullopt;
    xcb_atom_t clients = atomOf(probe_, "_NET_CLIENT_LIST");
    xcb_atom_t netName = atomOf(probe_, "_NET_WM_NAME");
    bool found = waitUntil(
        [&] {
            for (uint32_t w : property32(probe_, root_, clients)) {
                if (property8(probe_, w, netName) == title ||
                    property8(probe_, w, XCB_ATOM_WM_NAME) == title) {
                    client.window = w;
                    return isManaged(w);
                }
            }
            return false;
        },
        10);
    if (!found) return std::nullopt;
    return client;
}

void TestDesktop::stop(pid_t pid) {
    if (pid <= 0) return;
    auto found = std::find(children_.begin(), children_.end(), pid);
    if (found == children_.end()) return;
    children_.erase(found);
    kill(pid, SIGTERM);
    int status = 0;
    if (!waitForExit(pid, 3, &status)) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
    }
}

void TestDesktop::stopServer() {
    if (probe_) {
        xcb_disconnect(probe_);
        probe_ = nullptr;
    }
    stop(windowManager_);
    stop(server_);
}

void TestDesktop::stopAll() {
    if (probe_) {
        xcb_disconnect(probe_);
        probe_ = nullptr;
    }
    // Clients first, the window manager next, the server last.
    std::vector<pid_t> order;
    for (auto it = children_.rbegin(); it != children_.rend(); ++it) {
        if (*it != windowManager_ && *it != server_) order.push_back(*it);
    }
    order.push_back(windowManager_);
    order.push_back(server_);
    for (pid_t pid : order) stop(pid);
}

bool TestDesktop::isManaged(xcb_window_t window) const {
    auto clients = property32(probe_, root_, atomOf(probe_, "_NET_CLIENT_LIST"));
    if (std::find(clients.begin(), clients.end(), window) == clients.end()) return false;
    return property32(probe_, window, atomOf(probe_, "_NET_FRAME_EXTENTS")).size() == 4;
}

bool TestDesktop::waitUntil(const std::function<bool()>& condition, double timeoutSeconds) {
    auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!condition()) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::optional<std::vector<int>> TestDesktop::frameWindowGeometry(xcb_window_t window) const {
    xcb_window_t current = window;
    for (int depth = 0; depth < 16; ++depth) {
        xcb_query_tree_reply_t* tree =
            xcb_query_tree_reply(probe_, xcb_query_tree(probe_, current), nullptr);
        if (!tree) return std::nullopt;
        xcb_window_t parent = tree->parent;
        free(tree);
        if (parent == root_) break;
        current = parent;
    }
    xcb_get_geometry_reply_t* geo =
        xcb_get_geometry_reply(probe_, xcb_get_geometry(probe_, current), nullptr);
    if (!geo) return std::nullopt;
    std::vector<int> result{geo->x, geo->y, geo->width + 2 * geo->border_width,
                            geo->height + 2 * geo->border_width};
    free(geo);
    return result;
}

}  // namespace mavo::test

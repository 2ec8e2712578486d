#pragma once

// A private X desktop for one test: Xvfb on a free display, an optional RandR monitor layout, a
// window manager (optionally with its desktop's panel), and the programs the test starts on it.
// Children run with HOME and the XDG folders inside home() and no session bus unless `env` names
// one; they are stopped by pid when the desktop goes away and die with the test process.

#include <sys/types.h>
#include <xcb/xcb.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace mavo::test {

// A window's outer frame (client plus the decorations the window manager reports) in root
// coordinates.
struct Frame {
    int x = 0, y = 0, width = 0, height = 0;
    friend bool operator==(const Frame&, const Frame&) = default;
};
std::ostream& operator<<(std::ostream& os, const Frame& f);

class TestDesktop {
  public:
    struct Monitor {
        std::string name;  // a leading '*' makes it the primary
        int width, height, x, y, widthMM, heightMM;
    };
    // Window managers as Debian ships them; fluxbox draws its own toolbar.
    enum class WindowManager { none, openbox, xfwm4, marco, mutter, fluxbox };
    struct Options {
        int width = 1920, height = 1080;
        std::vector<Monitor> monitors = {};  // empty: Xvfb's own single monitor
        WindowManager windowManager = WindowManager::openbox;
        // xfce4-panel, 30 px at the top, with xfwm4; ready once the work area leaves it out.
        bool panel = false;
        bool compositor = false;  // xfwm4's; ready once it owns the compositing selection
        bool sessionBus = false;  // a bus even for a window manager that needs none
    };
    struct Client {
        pid_t pid = 0;
        xcb_window_t window = XCB_WINDOW_NONE;
    };

    TestDesktop() : TestDesktop(Options{}) {}
    explicit TestDesktop(Options options);
    ~TestDesktop();
    TestDesktop(const TestDesktop&) = delete;
    TestDesktop& operator=(const TestDesktop&) = delete;

    const std::string& failure() const { return failure_; }  // empty when the desktop is up
    const std::string& display() const { return display_; }
    const std::string& sessionBus() const { return bus_; }  // empty unless one was started
    const std::filesystem::path& home() const { return dir_; }
    xcb_connection_t* connection() const { return conn_; }  // the test's own, not the backend's
    xcb_window_t root() const { return root_; }
    pid_t windowManager() const { return windowManager_; }

    // Starts a program; `env` entries ("NAME=value") override the desktop's. Its stderr, and its
    // stdout unless `stdoutFd` is given, go to home()/<program name>.log.
    pid_t spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env = {},
                int stdoutFd = -1);
    // Runs a program to completion: its exit status, -1 when it failed or timed out.
    int run(const std::vector<std::string>& argv, double timeoutSeconds = 10);
    bool xdotool(const std::string& commands);  // words separated by spaces
    // Left-button drag from (x, y) by (dx, dy) in small relative steps, as a hand would.
    bool drag(int x, int y, int dx, int dy);
    // The exit status (-1 after a signal, or when it was reaped before) once `pid` ended within
    // the timeout, else nullopt.
    std::optional<int> waitExit(pid_t pid, double timeoutSeconds);
    // Sends `signum`, waits (killing after 5 s): the exit status, -1 when the program had already
    // ended, died of a signal or had to be killed.
    int stop(pid_t pid, int signum = 15);
    void stopServer();  // as when the session ends under a running program

    // The project's test client, or a program of the system whose window has `wmClass`; each
    // returns once the window manager manages it.
    std::optional<Client> startClient(std::vector<std::string> options);
    std::optional<Client> startApplication(const std::vector<std::string>& argv,
                                           const std::string& wmClass,
                                           const std::vector<std::string>& env = {});

    xcb_atom_t atom(const std::string& name);
    std::vector<uint32_t> property(xcb_window_t window, const std::string& name);
    std::string text(xcb_window_t window, const std::string& name);  // an 8-bit property
    // Returns once the server has it, so that other clients' reads see it.
    void setProperty(xcb_window_t window, const std::string& name, xcb_atom_t type,
                     const std::vector<uint32_t>& values);
    // A client message about `window` sent to the root, as a pager or a user action would.
    void sendClientMessage(xcb_window_t window, const std::string& type,
                           const std::vector<uint32_t>& data);
    std::optional<Frame> frame(xcb_window_t window);
    bool isManaged(xcb_window_t window);  // listed, and given frame extents unless a panel

    static bool waitUntil(const std::function<bool()>& condition, double timeoutSeconds = 5);

  private:
    template <class T>
    std::vector<T> values(xcb_window_t window, const std::string& name);
    std::vector<uint32_t> clientList() { return property(root_, "_NET_CLIENT_LIST"); }
    // Starts a program and reads the first line of its stdout.
    std::optional<std::string> firstLine(pid_t& pid, const std::vector<std::string>& argv,
                                         double seconds);
    bool startServer(const Options& options);
    bool startWindowManager(const Options& options);
    bool startPanel();

    std::string failure_, display_, bus_;
    std::filesystem::path dir_;
    xcb_connection_t* conn_ = nullptr;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    pid_t server_ = 0, windowManager_ = 0;
    std::vector<std::string> wmEnv_;
    std::vector<pid_t> children_;
};

}  // namespace mavo::test

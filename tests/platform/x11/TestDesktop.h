#pragma once

// A private X desktop for one test: Xvfb on a free display number with RandR, optionally a
// monitor layout made with `xrandr --setmonitor`, an EWMH window manager (Openbox) and the
// clients a test starts. Everything it starts is stopped by pid when it goes away; the children
// also die with the test process if it crashes.

#include <sys/types.h>
#include <xcb/xcb.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mavo::test {

class TestDesktop {
  public:
    struct Monitor {
        std::string name;  // a leading '*' makes it the primary
        int width, height, x, y;
        int widthMM, heightMM;
    };
    struct Options {
        int width = 1920;
        int height = 1080;
        std::vector<Monitor> monitors;  // empty: Xvfb's own single monitor
        bool windowManager = true;
    };
    struct Client {
        pid_t pid = 0;
        xcb_window_t window = XCB_WINDOW_NONE;
    };

    explicit TestDesktop(Options options);
    ~TestDesktop();
    TestDesktop(const TestDesktop&) = delete;
    TestDesktop& operator=(const TestDesktop&) = delete;

    // Empty when the desktop is up; else what went wrong.
    const std::string& failure() const { return failure_; }
    const std::string& display() const { return display_; }
    // A plain connection of the test's own, for checks that must not go through the backend.
    xcb_connection_t* probe() const { return probe_; }
    xcb_window_t root() const { return root_; }

    // Runs a program on this display to completion; its exit status (-1 on failure/timeout).
    int run(std::vector<std::string> argv, double timeoutSeconds = 10);
    // Starts the project's test client with these options and waits until the window manager
    // manages its window.
    std::optional<Client> startClient(std::vector<std::string> options);
    // Starts xterm with this title and waits until its window is managed.
    std::optional<Client> startXterm(const std::string& title, const std::string& geometry);
    // Stops one process this desktop started and waits for it.
    void stop(pid_t pid);
    // Stops the X server itself, as when a session ends under a running program.
    void stopServer();

    // Whether the window manager lists the window and has given it its frame extents.
    bool isManaged(xcb_window_t window) const;
    // Polls `condition` every 10 ms until it holds or the timeout passes.
    static bool waitUntil(const std::function<bool()>& condition, double timeoutSeconds = 5);

    // The geometry of the window's top-level ancestor (the window manager's frame), in root
    // coordinates, read from the server's tree alone.
    std::optional<std::vector<int>> frameWindowGeometry(xcb_window_t window) const;

  private:
    pid_t spawn(const std::vector<std::string>& argv, int stdoutFd, int keepFd);
    bool startServer(const Options& options);
    bool startWindowManager();
    void stopAll();

    std::string failure_;
    std::string display_;
    std::string dir_;
    xcb_connection_t* probe_ = nullptr;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    pid_t server_ = 0;
    pid_t windowManager_ = 0;
    std::vector<pid_t> children_;
};

}  // namespace mavo::test

#pragma once

// A desktop of its own for one end-to-end test: Xvfb (on a display number it picks itself),
// Openbox, real clients, xdotool for the hand, and the real `mavo` program with its test hooks
// and strict X-error mode. Everything it starts is stopped by pid when it goes away, and the
// children die with the test process if that crashes. Readiness is always waited for by a
// signal (a line, a property, a file), never by a bare sleep.

#include <sys/types.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace mavo::e2e {

// A window's outer frame (the client grown by the window manager's decorations) in root
// coordinates, as the X server has it.
struct Frame {
    int x = 0, y = 0, width = 0, height = 0;
    friend bool operator==(const Frame&, const Frame&) = default;
};
std::ostream& operator<<(std::ostream& os, const Frame& f);

class Desktop {
  public:
    struct Monitor {
        std::string name;
        int width, height, x, y;
        int widthMM, heightMM;
    };
    struct Options {
        int width = 1920;
        int height = 1080;
        std::vector<Monitor> monitors;  // empty: Xvfb's own single monitor
    };
    struct Client {
        pid_t pid = 0;
        xcb_window_t window = XCB_WINDOW_NONE;
    };
    struct SyncReply {
        bool answered = false;
        uint32_t unexpectedXErrors = 0;
        uint32_t trackedWindows = 0;
    };

    Desktop();
    explicit Desktop(Options options);
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    // Empty when the desktop is up; else what went wrong.
    const std::string& failure() const { return failure_; }
    const std::string& display() const { return display_; }
    const std::filesystem::path& home() const { return dir_; }
    std::filesystem::path diagLog() const { return dir_ / "mavo-diag.log"; }
    std::filesystem::path defaultsFile() const { return dir_ / "config/mavo/defaults.json"; }
    std::filesystem::path placementsFile() const { return dir_ / "data/Mavo/placements.json"; }
    std::filesystem::path autostartEntry() const { return dir_ / "config/autostart/mavo.desktop"; }

    // --- programs ---
    // Runs a program on this desktop to completion: its exit status, -1 when it did not exit
    // normally within the timeout.
    int run(const std::vector<std::string>& argv, double timeoutSeconds = 10);
    // The project's test client; returns once the window manager manages its window.
    std::optional<Client> startClient(std::vector<std::string> options);
    // xterm with this title; returns once the window manager manages its window.
    std::optional<Client> startXterm(const std::string& title, const std::string& geometry);
    // Ends one process this desktop started and waits for it.
    void stop(pid_t pid);

    // --- the X server's view ---
    std::optional<Frame> frame(xcb_window_t window);
    bool isManaged(xcb_window_t window);
    bool isMapped(xcb_window_t window);
    std::vector<uint32_t> property(xcb_window_t window, const std::string& name);
    void setProperty(xcb_window_t window, const std::string& name, xcb_atom_t type,
                     const std::vector<uint32_t>& values);
    // Sends an EWMH client message about `window` to the root, as a pager would.
    void sendClientMessage(xcb_window_t window, const std::string& type,
                           const std::vector<uint32_t>& data);
    xcb_atom_t atom(const std::string& name);
    xcb_connection_t* connection() const { return conn_; }
    xcb_window_t root() const { return root_; }

    // --- the hand ---
    // Runs xdotool with these arguments; true when it succeeded.
    bool xdotool(const std::vector<std::string>& args);
    // Presses the left button at (x, y), moves by (dx, dy) in small relative steps while it is
    // down (relative moves are what produce raw motion on Xvfb), and releases it.
    bool drag(int x, int y, int dx, int dy);

    // --- Mavo ---
    // Starts `mavo` with the test hooks and strict X errors on; true once it announced that its
    // launch is complete.
    bool startMavo(const std::vector<std::string>& extraEnv = {});
    pid_t mavoPid() const { return mavo_; }
    // Makes the running Mavo tick now and waits for its answer.
    SyncReply sync(bool force = false);
    bool mavoAlive();
    // Sends `signum` (SIGTERM unless told), then waits: the exit status, or -1 when it had
    // already died, died of a signal or hung.
    int stopMavo(int signum = 15);
    // Waits for Mavo to end by itself: its exit status, or -1 when it did not.
    int waitForMavoExit(double timeoutSeconds);
    // Stops the X server (and with it the session).
    void stopServer();
    std::string mavoStderr() const;

    std::vector<std::string> diagLines() const;
    bool diagHas(const std::string& text) const;
    int diagCount(const std::string& text) const;
    std::optional<nlohmann::json> placements() const;
    void writeDefaults(const nlohmann::json& object) const;

    static bool waitUntil(const std::function<bool()>& condition, double timeoutSeconds = 5);

  private:
    pid_t spawn(const std::vector<std::string>& argv, const std::vector<std::string>& extraEnv,
                int stdoutFd, int keepFd, const std::string& logName);
    bool startServer(const Options& options);
    bool startWindowManager();
    void forget(pid_t pid);

    std::string failure_;
    std::string display_;
    std::filesystem::path dir_;
    xcb_connection_t* conn_ = nullptr;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    pid_t server_ = 0;
    pid_t windowManager_ = 0;
    pid_t mavo_ = 0;
    bool mavoReaped_ = false;
    int mavoStatus_ = 0;
    uint32_t syncCounter_ = 0;
    std::vector<pid_t> children_;
};

// Runs a program without any desktop (no DISPLAY unless `env` gives one): exit status and what
// it printed on standard output and standard error.
struct Output {
    int status = -1;
    std::string out;
    std::string err;
};
Output runWithoutDesktop(const std::vector<std::string>& argv, const std::vector<std::string>& env);

}  // namespace mavo::e2e

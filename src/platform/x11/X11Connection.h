#pragma once

// The backend's one connection to the X server.
//
// Threads. XCB is thread-safe: the engine queue and the main thread both send requests and wait
// for replies on this one connection. Events have exactly one reader, a private event thread
// started by `open`. That thread settles the backend's own waits itself (a window manager acting
// on a move or resize: `ConfigureWatch`, `windowManagerRoundTrip`), runs the event-thread hooks
// (key-press times), and queues every other event for the main thread. Waits therefore never
// depend on the main loop running.
//
// Integration with the GLib main loop (the app shell does this once after `open`):
//
//     auto x11 = mavo::X11Connection::open();   // nullptr: no X display (say so and exit)
//     g_unix_fd_add(x11->fd(), G_IO_IN,
//                   [](int, GIOCondition, gpointer p) {
//                       static_cast<mavo::X11Connection*>(p)->dispatchPending();
//                       return G_SOURCE_CONTINUE;
//                   }, x11.get());
//     x11->setConnectionLostHandler([] { /* the X server went away: quit */ });
//
// `fd()` becomes readable whenever queued events are waiting; `dispatchPending()` hands them to
// the listeners (input source, display source) on the calling thread, which must be the main
// thread. The connection must outlive every object built on it.

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace mavo {

// Receives the queued X events on the main thread, from `X11Connection::dispatchPending`.
class X11EventListener {
  public:
    virtual ~X11EventListener() = default;
    virtual void handleEvent(const xcb_generic_event_t& event) = 0;
    // Called once after each batch of events, so that a listener can act once per batch.
    virtual void eventsDone() {}
};

// Atoms the backend needs beyond the ones `xcb_ewmh_connection_t` already holds.
struct X11Atoms {
    xcb_atom_t wmState = XCB_ATOM_NONE;
    xcb_atom_t edid = XCB_ATOM_NONE;
    xcb_atom_t wake = XCB_ATOM_NONE;
    xcb_atom_t gtkFrameExtents = XCB_ATOM_NONE;
};

class X11WindowModel;

class X11Connection {
  public:
    struct Options {
        // Records every X error other than the ones a vanished window causes (BadWindow,
        // BadDrawable, BadMatch), for tests that must see the backend make no bad request.
        bool strictErrors = false;
    };

    // Opens the display (`nullptr`: $DISPLAY); nothing when there is no X server to talk to.
    static std::unique_ptr<X11Connection> open(const char* display = nullptr);
    static std::unique_ptr<X11Connection> open(const char* display, Options options);
    ~X11Connection();

    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* xcb() const { return conn_; }
    // Filled once at open and only read afterwards, so every thread may use it.
    xcb_ewmh_connection_t* ewmh() { return &ewmh_; }
    const X11Atoms& atoms() const { return atoms_; }
    xcb_window_t root() const { return root_; }
    int screenNumber() const { return screenNumber_; }
    // First event code of the RandR extension; 0 when the server has no RandR 1.5.
    uint8_t randrFirstEvent() const { return randrFirstEvent_; }
    bool hasRandr() const { return randrFirstEvent_ != 0; }
    bool hasXRes() const { return hasXRes_; }
    // False once the server connection broke.
    bool isAlive() const;

    // The longest a write waits for the window manager to act on it.
    void setMessagingTimeout(double seconds);
    double messagingTimeout() const;

    // --- main-thread event delivery ---
    int fd() const { return eventFd_; }
    void dispatchPending();
    void addListener(X11EventListener* listener);
    void removeListener(X11EventListener* listener);
    // Called once, from `dispatchPending`, after the connection to the server broke.
    void setConnectionLostHandler(std::function<void()> handler);

    // Runs on the event thread for every event, before any wait hears of it and before it is
    // queued; must be quick and thread-safe. Hooks are added before events matter and never
    // removed.
    void addEventThreadHook(std::function<void(const xcb_generic_event_t&)> hook);

    // Adds `mask` to the events this connection selects on `window`, keeping the ones other
    // parts of the backend selected before.
    void selectEvents(xcb_window_t window, uint32_t mask);

    // The window manager's clients, kept current by events, for every part of the backend.
    X11WindowModel& windows();

    // A wait for something to happen to one window after a request: by default the first
    // ConfigureNotify (real or synthetic) or DestroyNotify of the window that the server generated
    // after the request numbered `sequence` was processed; with `property`, the first change of
    // that property (or DestroyNotify). StructureNotify, or PropertyChange, must be selected on the
    // window (`selectEvents`) before the request is sent.
    class WindowWatch {
      public:
        WindowWatch(X11Connection& connection, xcb_window_t window,
                    xcb_atom_t property = XCB_ATOM_NONE);
        ~WindowWatch();
        WindowWatch(const WindowWatch&) = delete;
        WindowWatch& operator=(const WindowWatch&) = delete;
        // True when such an event arrived before the deadline.
        bool waitAfter(uint32_t sequence, std::chrono::steady_clock::time_point deadline);

      private:
        X11Connection& connection_;
        std::pair<xcb_window_t, xcb_atom_t> key_;
    };

    // Waits until the window manager has handled every client message this connection sent
    // before the call: it asks the window manager for the frame extents of a private window
    // (_NET_REQUEST_FRAME_EXTENTS) and waits for the answer, which comes in order, after the
    // answers to the questions asked before. False when the window manager does not offer the
    // request or does not answer before the deadline.
    bool windowManagerRoundTrip(std::chrono::steady_clock::time_point deadline);

    // Every X error the backend meets comes through here: errors of vanished windows are
    // expected and dropped; in strict mode the others are recorded. Frees nothing.
    void noteError(const xcb_generic_error_t* error);
    // Descriptions of the unexpected errors recorded in strict mode.
    std::vector<std::string> unexpectedErrors() const;
    void clearUnexpectedErrors();

  private:
    X11Connection(xcb_connection_t* conn, int screenNumber, Options options);
    bool initialise();
    void eventLoop();
    void handleOnEventThread(xcb_generic_event_t* event);
    void signalMain();

    struct WatchState {
        int watchers = 0;
        bool seen = false;
        uint32_t lastSequence = 0;
    };

    xcb_connection_t* conn_;
    xcb_ewmh_connection_t ewmh_{};
    bool ewmhReady_ = false;
    X11Atoms atoms_;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    xcb_window_t wakeWindow_ = XCB_WINDOW_NONE;
    xcb_window_t sentinelWindow_ = XCB_WINDOW_NONE;  // asked about in round trips
    int screenNumber_;
    uint8_t randrFirstEvent_ = 0;
    bool hasXRes_ = false;
    Options options_;
    int eventFd_ = -1;
    std::atomic<double> timeout_{0.25};
    std::atomic<bool> alive_{true};
    std::atomic<bool> stopping_{false};

    mutable std::mutex lock_;  // guards everything below
    std::condition_variable watchChanged_;
    std::map<std::pair<xcb_window_t, xcb_atom_t>, WatchState> watches_;  // NONE: configure
    // Round trips asked and answered. The window manager answers each in turn, so the k-th is
    // answered with the k-th answer; an earlier answer arriving late does not count for it.
    uint64_t questions_ = 0, answers_ = 0;
    std::map<xcb_window_t, uint32_t> selected_;
    std::deque<std::vector<uint8_t>> queue_;
    std::vector<X11EventListener*> listeners_;
    using Hooks = std::vector<std::function<void(const xcb_generic_event_t&)>>;
    std::shared_ptr<const Hooks> hooks_ = std::make_shared<Hooks>();
    std::function<void()> connectionLost_;
    bool lostReported_ = false;
    std::vector<std::string> errors_;

    std::once_flag windowsOnce_;
    std::unique_ptr<X11WindowModel> windows_;

    std::thread eventThread_;
};

}  // namespace mavo

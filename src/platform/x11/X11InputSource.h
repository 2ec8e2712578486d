#pragma once

// Global mouse and keyboard activity from XInput 2 raw events on the root window: the left
// button's press and release, motion while it is down (a drag), and the time of the last key
// press. Raw events reach every client that asks, even while the window manager holds a grab
// for a move or resize.
//
// Button handlers run on the main thread, from `X11Connection::dispatchPending`; key times are
// taken on the connection's event thread, so `secondsSinceLastKeyPress` may be asked from any
// thread (the engine asks on its queue):
//
//     X11InputSource input(*x11);
//     DragMonitor::shared().start(input);
//     input.setMotionHandler([&] { tray.pointerMoved(); });   // optional, for the icon's auto-hide

#include <xcb/xcb.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "engine/InputSource.h"
#include "geometry/Rect.h"
#include "platform/x11/X11Connection.h"

namespace mavo {

class X11InputSource : public InputSource, private X11EventListener {
  public:
    explicit X11InputSource(X11Connection& x11);
    ~X11InputSource() override;

    // Selects the raw events; false when the server has no XInput 2.2.
    bool start(Handlers handlers) override;
    std::optional<double> secondsSinceLastKeyPress() override;

    // Called on the main thread for every pointer motion, button down or not.
    void setMotionHandler(std::function<void()> handler);
    // The pointer in the bottom-left convention of the display source (primary's bottom-left
    // corner at the origin, y up); nothing when the server does not answer.
    std::optional<Point> pointerLocation();

  private:
    void handleEvent(const xcb_generic_event_t& event) override;

    struct KeyClock {
        std::atomic<int64_t> lastPressNanos{-1};  // steady clock; -1 until the first key
    };

    X11Connection& x11_;
    uint8_t opcode_ = 0;
    bool started_ = false;
    bool buttonDown_ = false;
    Handlers handlers_;
    std::function<void()> motion_;
    // Shared with the event-thread hook, which outlives nothing but may outlive this object.
    std::shared_ptr<KeyClock> keys_ = std::make_shared<KeyClock>();
};

}  // namespace mavo

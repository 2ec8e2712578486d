#pragma once

#include <atomic>
#include <mutex>

#include "common/Clock.h"
#include "engine/InputSource.h"

namespace mavo {

// Answers, from any thread, whether the left button is down and whether the user pressed,
// dragged or typed recently. A plain press counts as a drag: every move or resize starts with one.
class DragMonitor {
  public:
    explicit DragMonitor(const Clock& clock = SystemClock::shared()) : clock_(clock) {}

    static DragMonitor& shared();

    // Installs the monitors on the source; called once at launch on the main thread.
    void start(InputSource& source);

    bool isMouseDown() const;
    bool recentlyDragged(double within) const;
    // Seconds since the last press or drag, so that a change can be stamped when first seen.
    double secondsSinceDrag() const;
    bool recentlyKeyed(double within) const;

    void press();
    void release();

  private:
    const Clock& clock_;
    std::atomic<InputSource*> source_{nullptr};  // set on the main thread, read on the engine queue
    mutable std::mutex lock_;
    bool _mouseDown = false;
    double _lastDragAt = 0;
};

}  // namespace mavo

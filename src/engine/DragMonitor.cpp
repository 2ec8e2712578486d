#include "engine/DragMonitor.h"

namespace mavo {

DragMonitor& DragMonitor::shared() {
    static DragMonitor monitor;
    return monitor;
}

void DragMonitor::start(InputSource& source) {
    source_.store(&source);
    // The monitor lives for the process, so the handlers may refer to it directly.
    source.start({[this] { press(); }, [this] { release(); }, [this] { press(); }});
}

bool DragMonitor::isMouseDown() const {
    std::lock_guard<std::mutex> guard(lock_);
    return _mouseDown;
}

bool DragMonitor::recentlyDragged(double within) const {
    return secondsSinceDrag() <= within;
}

double DragMonitor::secondsSinceDrag() const {
    double now = clock_.uptime();
    std::lock_guard<std::mutex> guard(lock_);
    return now - _lastDragAt;
}

bool DragMonitor::recentlyKeyed(double within) const {
    InputSource* source = source_.load();
    if (!source) return false;
    auto since = source->secondsSinceLastKeyPress();
    return since && *since <= within;
}

void DragMonitor::press() {
    double now = clock_.uptime();
    std::lock_guard<std::mutex> guard(lock_);
    _mouseDown = true;
    _lastDragAt = now;
}

void DragMonitor::release() {
    std::lock_guard<std::mutex> guard(lock_);
    _mouseDown = false;
}

}  // namespace mavo

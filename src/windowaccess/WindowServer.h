#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "geometry/Rect.h"
#include "windowaccess/WindowFacts.h"
#include "windowaccess/WindowHandle.h"

namespace mavo {

// The platform's road to other applications' windows. Every failure is "no value", false or
// nothing; implementations never throw and never log.
class WindowServer {
  public:
    virtual ~WindowServer() = default;

    // Nothing when the window is gone.
    virtual std::optional<WindowFacts> facts(const WindowHandle& window) = 0;
    // The windows of the application a process belongs to; nothing when they cannot be listed.
    virtual std::optional<std::vector<WindowHandle>> applicationWindows(int32_t pid) = 0;
    // Each returns once the window had its chance to act on it, within the messaging timeout.
    virtual bool setPosition(const WindowHandle& window, Point value) = 0;
    virtual bool setSize(const WindowHandle& window, Size value) = 0;
    virtual void setGlobalMessagingTimeout(float seconds) = 0;
};

}  // namespace mavo

#pragma once

#include <functional>
#include <optional>

namespace mavo {

// Global left-button events and the keyboard's last activity, from wherever the platform gets
// them. Handlers are called on the main thread.
class InputSource {
  public:
    struct Handlers {
        std::function<void()> press;    // button 1 down
        std::function<void()> release;  // button 1 up
        std::function<void()> drag;     // motion while button 1 is down
    };
    virtual ~InputSource() = default;
    // Installs the monitors; false when the platform refuses them.
    virtual bool start(Handlers handlers) = 0;
    // Seconds since the last key press anywhere in the session; nothing when unknown.
    virtual std::optional<double> secondsSinceLastKeyPress() = 0;
};

}  // namespace mavo

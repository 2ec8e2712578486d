#pragma once

#include <functional>

namespace mavo {

// The application's event loop as the shell sees it: every handler runs on the main thread. The
// platform's loop decides what a display change or the end of the session is.
class ShellLoop {
  public:
    using Handler = std::function<void()>;

    virtual ~ShellLoop() = default;
    // Called after each change of the displays (screens plugged, removed, rearranged, resized,
    // or the usable area changed).
    virtual void observeDisplayChanges(Handler handler) = 0;
    // Called once when the application is about to quit.
    virtual void observeTermination(Handler handler) = 0;
};

}  // namespace mavo

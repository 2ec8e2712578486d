#pragma once

#include <xcb/xcb.h>

#include <memory>
#include <string>

#include "platform/x11/X11Connection.h"

namespace mavo {

// One Mavo per X display: the running one owns the selection "_MAVO_S<screen>" through an
// unmapped window of its own. The X server drops the ownership when the process ends, however it
// ends, so a crashed Mavo never blocks the next one.
class InstanceGuard {
  public:
    // Claims the selection; nothing when another client already owns it.
    static std::unique_ptr<InstanceGuard> claim(X11Connection& x11);
    ~InstanceGuard();
    InstanceGuard(const InstanceGuard&) = delete;
    InstanceGuard& operator=(const InstanceGuard&) = delete;

    static std::string selectionName(int screen);

  private:
    InstanceGuard(X11Connection& x11, xcb_window_t window) : x11_(x11), window_(window) {}
    X11Connection& x11_;
    xcb_window_t window_;
};

}  // namespace mavo

#pragma once

// The X server's own list of on-screen windows, independent of the window manager's bookkeeping:
// the viewable children of the root, front to back. Each entry's bounds are the top-level
// window's geometry as the server has it (for a managed window, the window manager's frame) less
// the shadows of client-side decorations, in accessibility coordinates; owner and layer come from
// the client window inside the frame. The layer is 0 for ordinary windows and non-zero for docks,
// keep-above and notification windows and for unmanaged (override-redirect) popups. Desktop windows
// are left out. Safe to call from any thread; used by the window probe for diagnostics.

#include "platform/x11/X11Connection.h"
#include "windowaccess/WindowListSource.h"

namespace mavo {

class X11WindowList : public WindowListSource {
  public:
    // Layers, after the window levels other systems use for the same kinds of window.
    static constexpr int64_t aboveLayer = 3;
    static constexpr int64_t dockLayer = 20;
    static constexpr int64_t notificationLayer = 23;
    static constexpr int64_t popupLayer = 101;

    explicit X11WindowList(X11Connection& x11) : x11_(x11) {}

    std::optional<std::vector<WindowListEntry>> onScreenWindows() override;

  private:
    X11Connection& x11_;
};

}  // namespace mavo

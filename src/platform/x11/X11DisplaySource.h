#pragma once

// The displays of an X11 session: RandR monitors, the primary first, in the bottom-left
// convention the screen cache expects (primary's bottom-left corner at the origin, y up).
// The visible frame is the monitor's usable area (see UsableArea.h).
//
// The app shell (main thread):
//
//     X11DisplaySource displays(*x11);
//     ScreenCache::shared().setSource(&displays);
//     ScreenCache::shared().refresh();
//     displays.watchChanges([&] { ScreenCache::shared().refresh();
//                                 engine.noteDisplayConfigChange(); });
//
// The handler runs from `X11Connection::dispatchPending`, at most once per batch of events, when
// some monitor's frame, visible frame or identity changed: after RandR changes, changes of the
// work areas or the current desktop, panels coming and going or changing their struts.

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "geometry/DisplaySource.h"
#include "platform/x11/X11Connection.h"

namespace mavo {

class X11DisplaySource : public DisplaySource, private X11EventListener {
  public:
    explicit X11DisplaySource(X11Connection& x11) : x11_(x11) {}
    ~X11DisplaySource() override;

    std::vector<ScreenInfo> screens() override;
    // Starts watching; `handler` is called on the main thread after each change.
    void watchChanges(std::function<void()> handler);

    // A stable, UUID-shaped identity from an EDID block's vendor, product and serial number
    // (and its serial-number text, when it has one), and the `connector` when given; nothing for
    // a block that is not an EDID.
    static std::optional<std::string> uuidFromEdid(const std::vector<uint8_t>& edid,
                                                   const std::string& connector = {});
    struct MonitorIdentity {
        std::vector<uint8_t> edid;  // of the first output that has one
        std::string connector;      // that output's name
        std::string monitorName;
    };
    // One identity per monitor, unique among them: the EDID's, else "did:" and the monitor's name.
    static std::vector<std::string> uniqueUuids(const std::vector<MonitorIdentity>& monitors);
    // Panel connectors: eDP, LVDS and DSI.
    static bool isBuiltInConnector(const std::string& outputName);

  private:
    void handleEvent(const xcb_generic_event_t& event) override;
    void eventsDone() override;
    // Follows the windows that reserve a strut or are panels.
    void watchWindows(const std::set<xcb_window_t>& windows);

    X11Connection& x11_;
    std::function<void()> handler_;
    std::vector<ScreenInfo> last_;
    std::set<xcb_window_t> watched_;
    xcb_atom_t gtkWorkAreas_ = XCB_ATOM_NONE, gtkWorkAreasOfDesktop_ = XCB_ATOM_NONE;
    bool dirty_ = false;
};

}  // namespace mavo

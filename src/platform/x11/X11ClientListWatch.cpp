#include "platform/x11/X11ClientListWatch.h"

namespace mavo {

void watchClientList(X11Connection& x11, std::function<void()> onChange) {
    xcb_window_t root = x11.root();
    xcb_atom_t clientList = x11.ewmh()->_NET_CLIENT_LIST;
    x11.addEventThreadHook(
        [root, clientList, onChange = std::move(onChange)](const xcb_generic_event_t& event) {
            if ((event.response_type & 0x7f) != XCB_PROPERTY_NOTIFY) return;
            const auto& e = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            if (e.window == root && e.atom == clientList) onChange();
        });
    x11.selectEvents(root, XCB_EVENT_MASK_PROPERTY_CHANGE);
}

}  // namespace mavo

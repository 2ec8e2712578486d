#include "platform/linux/shell/InstanceGuard.h"

#include <cstdlib>
#include <cstring>

#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

xcb_atom_t internAtom(xcb_connection_t* c, const std::string& name) {
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_window_t selectionOwner(xcb_connection_t* c, xcb_atom_t selection) {
    Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return reply ? reply->owner : xcb_window_t(XCB_WINDOW_NONE);
}

}  // namespace

std::string InstanceGuard::selectionName(int screen) {
    return "_MAVO_S" + std::to_string(screen);
}

std::unique_ptr<InstanceGuard> InstanceGuard::claim(X11Connection& x11) {
    xcb_connection_t* c = x11.xcb();
    xcb_atom_t selection = internAtom(c, selectionName(x11.screenNumber()));
    if (selection == XCB_ATOM_NONE) return nullptr;
    // Override-redirect keeps the window manager away from it; it is never mapped anyway.
    xcb_window_t window = xcb_generate_id(c);
    const uint32_t values[] = {1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, x11.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                      values);
    const char title[] = "Mavo";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        sizeof title - 1, title);

    // Looking and taking under a server grab: two instances starting together cannot both see
    // the selection free.
    xcb_grab_server(c);
    bool free = selectionOwner(c, selection) == XCB_WINDOW_NONE;
    if (free) xcb_set_selection_owner(c, window, selection, XCB_CURRENT_TIME);
    xcb_ungrab_server(c);
    bool ours = free && selectionOwner(c, selection) == window;
    if (!ours) {
        xcb_destroy_window(c, window);
        xcb_flush(c);
        return nullptr;
    }
    return std::unique_ptr<InstanceGuard>(new InstanceGuard(x11, window));
}

InstanceGuard::~InstanceGuard() {
    if (!x11_.isAlive()) return;
    xcb_destroy_window(x11_.xcb(), window_);
    xcb_flush(x11_.xcb());
}

}  // namespace mavo

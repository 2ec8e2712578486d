#include "platform/linux/shell/TestHooks.h"

#include <unistd.h>

#include <cstring>
#include <string>

#include "app/Diag.h"
#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

xcb_atom_t internAtom(xcb_connection_t* c, const char* name) {
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

}  // namespace

TestHooks::TestHooks(X11Connection& x11, std::shared_ptr<MaximizeEngine> engine)
    : x11_(x11),
      engine_(engine),
      request_(internAtom(x11.xcb(), "_MAVO_SYNC_REQUEST")),
      done_(internAtom(x11.xcb(), "_MAVO_SYNC_DONE")),
      ready_(internAtom(x11.xcb(), "_MAVO_READY")),
      worker_(std::make_unique<SerialQueue>("com.quastorn.mavo.testhooks")) {
    x11_.addListener(this);
    x11_.selectEvents(x11_.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
}

TestHooks::~TestHooks() {
    x11_.removeListener(this);
    worker_.reset();  // finishes a sync in progress first
}

void TestHooks::handleEvent(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != XCB_PROPERTY_NOTIFY) return;
    const auto& notify = reinterpret_cast<const xcb_property_notify_event_t&>(event);
    if (notify.window != x11_.root() || notify.atom != request_ ||
        notify.state != XCB_PROPERTY_NEW_VALUE) {
        return;
    }
    auto reply =
        propertyReply(x11_, requestProperty(x11_, x11_.root(), request_, XCB_ATOM_CARDINAL, 2));
    if (!reply) return;
    std::vector<uint32_t> values = cardinals(reply->get());
    if (values.empty()) return;
    uint32_t counter = values[0];
    bool force = values.size() > 1 && values[1] != 0;
    worker_->async([this, counter, force] { answer(counter, force); });
}

void TestHooks::announceReady() {
    const uint32_t pid = static_cast<uint32_t>(::getpid());
    xcb_change_property(x11_.xcb(), XCB_PROP_MODE_REPLACE, x11_.root(), ready_, XCB_ATOM_CARDINAL,
                        32, 1, &pid);
    xcb_flush(x11_.xcb());
}

void TestHooks::answer(uint32_t counter, bool force) {
    uint32_t tracked = 0;
    if (auto engine = engine_.lock()) {
        engine->tickAndWait(force);
        tracked = static_cast<uint32_t>(engine->trackedWindowCount());
    }
    Diag::drain();
    const uint32_t values[] = {counter, static_cast<uint32_t>(x11_.unexpectedErrors().size()),
                               tracked};
    xcb_change_property(x11_.xcb(), XCB_PROP_MODE_REPLACE, x11_.root(), done_, XCB_ATOM_CARDINAL,
                        32, 3, values);
    xcb_flush(x11_.xcb());
}

}  // namespace mavo

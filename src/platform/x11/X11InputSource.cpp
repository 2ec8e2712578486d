#include "platform/x11/X11InputSource.h"

#include <xcb/xinput.h>

#include <chrono>

#include "platform/x11/X11Util.h"

namespace mavo {

namespace {

int64_t steadyNanos() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The XInput event type of a generic event from the extension with `opcode`; 0 for others.
uint16_t inputEventType(const xcb_generic_event_t& event, uint8_t opcode) {
    if ((event.response_type & 0x7f) != XCB_GE_GENERIC) return 0;
    const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
    return generic.extension == opcode ? generic.event_type : 0;
}

}  // namespace

X11InputSource::X11InputSource(X11Connection& x11) : x11_(x11) {}

X11InputSource::~X11InputSource() {
    if (started_) x11_.removeListener(this);
}

bool X11InputSource::start(Handlers handlers) {
    handlers_ = std::move(handlers);
    if (started_) return true;
    xcb_connection_t* c = x11_.xcb();
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_input_id);
    if (!extension || !extension->present) return false;
    Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    if (!version || version->major_version < 2 ||
        (version->major_version == 2 && version->minor_version < 2)) {
        return false;
    }
    opcode_ = extension->major_opcode;

    x11_.addListener(this);
    uint8_t opcode = opcode_;
    x11_.addEventThreadHook([keys = keys_, opcode](const xcb_generic_event_t& event) {
        if (inputEventType(event, opcode) == XCB_INPUT_RAW_KEY_PRESS) {
            keys->lastPressNanos = steadyNanos();
        }
    });

    struct {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } mask{};
    mask.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    mask.head.mask_len = 1;
    mask.bits = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
                XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE | XCB_INPUT_XI_EVENT_MASK_RAW_MOTION;
    xcb_generic_error_t* error =
        xcb_request_check(c, xcb_input_xi_select_events_checked(c, x11_.root(), 1, &mask.head));
    if (error) {
        x11_.noteError(error);
        free(error);
        x11_.removeListener(this);
        return false;
    }
    started_ = true;
    return true;
}

std::optional<double> X11InputSource::secondsSinceLastKeyPress() {
    int64_t last = keys_->lastPressNanos;
    if (last < 0) return std::nullopt;
    return double(steadyNanos() - last) / 1e9;
}

void X11InputSource::setMotionHandler(std::function<void()> handler) {
    motion_ = std::move(handler);
}

void X11InputSource::handleEvent(const xcb_generic_event_t& event) {
    uint16_t type = inputEventType(event, opcode_);
    if (type == 0) return;
    // Raw button events carry the physical button number in `detail`.
    if (type == XCB_INPUT_RAW_BUTTON_PRESS || type == XCB_INPUT_RAW_BUTTON_RELEASE) {
        const auto& raw = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
        if (raw.detail != 1) return;
        buttonDown_ = type == XCB_INPUT_RAW_BUTTON_PRESS;
        auto& handler = buttonDown_ ? handlers_.press : handlers_.release;
        if (handler) handler();
    } else if (type == XCB_INPUT_RAW_MOTION) {
        if (buttonDown_ && handlers_.drag) handlers_.drag();
        if (motion_) motion_();
    }
}

std::optional<Point> X11InputSource::pointerLocation() {
    xcb_connection_t* c = x11_.xcb();
    auto pointerCookie = xcb_query_pointer(c, x11_.root());
    auto monitorsCookie = requestMonitors(x11_);
    Reply<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(c, pointerCookie, nullptr));
    auto monitors = monitorsReply(x11_, monitorsCookie);
    if (!pointer) return std::nullopt;
    Point origin = primaryOrigin(monitors);
    double axisY = 0;
    if (!monitors.empty()) {
        axisY = monitors.front().rootRect.height;
    } else {
        Reply<xcb_get_geometry_reply_t> root(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, x11_.root()), nullptr));
        if (root) axisY = root->height;
    }
    return Point{pointer->root_x - origin.x, axisY - (pointer->root_y - origin.y)};
}

}  // namespace mavo

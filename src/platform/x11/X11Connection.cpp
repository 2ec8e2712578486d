#include "platform/x11/X11Connection.h"

#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/res.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "platform/x11/X11Util.h"
#include "platform/x11/X11WindowModel.h"

namespace mavo {

namespace {

// Sequence numbers wrap at 32 bits; `a` is at or after `b` within half the range.
bool sequenceAtOrAfter(uint32_t a, uint32_t b) {
    return static_cast<int32_t>(a - b) >= 0;
}

// The bytes XCB allocated for an event: 32, the full sequence, and for generic (XGE) events
// their extra payload, which XCB moves behind the full sequence.
size_t eventSize(const xcb_generic_event_t& event) {
    size_t size = sizeof(xcb_generic_event_t);
    if ((event.response_type & 0x7f) == XCB_GE_GENERIC) {
        size += 4u * reinterpret_cast<const xcb_ge_generic_event_t&>(event).length;
    }
    return size;
}

constexpr size_t maxQueuedEvents = 8192;

}  // namespace

std::unique_ptr<X11Connection> X11Connection::open(const char* display) {
    return open(display, Options{});
}

std::unique_ptr<X11Connection> X11Connection::open(const char* display, Options options) {
    int screen = 0;
    xcb_connection_t* conn = xcb_connect(display, &screen);
    if (!conn) return nullptr;
    if (xcb_connection_has_error(conn)) {
        xcb_disconnect(conn);
        return nullptr;
    }
    std::unique_ptr<X11Connection> connection(new X11Connection(conn, screen, options));
    if (!connection->initialise()) return nullptr;
    connection->eventThread_ = std::thread([c = connection.get()] { c->eventLoop(); });
    return connection;
}

X11Connection::X11Connection(xcb_connection_t* conn, int screenNumber, Options options)
    : conn_(conn), screenNumber_(screenNumber), options_(options) {}

bool X11Connection::initialise() {
    const xcb_setup_t* setup = xcb_get_setup(conn_);
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < screenNumber_ && it.rem; ++i) xcb_screen_next(&it);
    if (!it.rem) return false;
    root_ = it.data->root;

    xcb_intern_atom_cookie_t* ewmhCookies = xcb_ewmh_init_atoms(conn_, &ewmh_);
    if (!ewmhCookies) return false;
    xcb_generic_error_t* ewmhError = nullptr;
    ewmhReady_ = xcb_ewmh_init_atoms_replies(&ewmh_, ewmhCookies, &ewmhError) != 0;
    free(ewmhError);
    if (!ewmhReady_) return false;

    const char* names[] = {"WM_STATE", "EDID", "_MAVO_WAKE", "_GTK_FRAME_EXTENTS"};
    xcb_atom_t* slots[] = {&atoms_.wmState, &atoms_.edid, &atoms_.wake, &atoms_.gtkFrameExtents};
    constexpr int count = std::size(names);
    xcb_intern_atom_cookie_t cookies[count];
    for (int i = 0; i < count; ++i) {
        cookies[i] = xcb_intern_atom(conn_, 0, static_cast<uint16_t>(strlen(names[i])), names[i]);
    }
    for (int i = 0; i < count; ++i) {
        Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(conn_, cookies[i], nullptr));
        if (!reply) return false;
        *slots[i] = reply->atom;
    }

    const xcb_query_extension_reply_t* randr = xcb_get_extension_data(conn_, &xcb_randr_id);
    if (randr && randr->present) {
        Reply<xcb_randr_query_version_reply_t> version(
            xcb_randr_query_version_reply(conn_, xcb_randr_query_version(conn_, 1, 5), nullptr));
        if (version && (version->major_version > 1 ||
                        (version->major_version == 1 && version->minor_version >= 5))) {
            randrFirstEvent_ = randr->first_event;
        }
    }
    const xcb_query_extension_reply_t* res = xcb_get_extension_data(conn_, &xcb_res_id);
    if (res && res->present) {
        Reply<xcb_res_query_version_reply_t> version(
            xcb_res_query_version_reply(conn_, xcb_res_query_version(conn_, 1, 2), nullptr));
        hasXRes_ = version && (version->server_major > 1 ||
                               (version->server_major == 1 && version->server_minor >= 2));
    }

    // A private window that only exists to receive the message that stops the event thread.
    wakeWindow_ = xcb_generate_id(conn_);
    xcb_create_window(conn_, XCB_COPY_FROM_PARENT, wakeWindow_, root_, -10, -10, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    sentinelWindow_ = xcb_generate_id(conn_);
    uint32_t propertyEvents = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(conn_, XCB_COPY_FROM_PARENT, sentinelWindow_, root_, -10, -10, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                      &propertyEvents);
    xcb_flush(conn_);

    eventFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return eventFd_ >= 0 && !xcb_connection_has_error(conn_);
}

X11Connection::~X11Connection() {
    if (eventThread_.joinable()) {
        stopping_ = true;
        if (!xcb_connection_has_error(conn_)) {
            xcb_client_message_event_t message{};
            message.response_type = XCB_CLIENT_MESSAGE;
            message.format = 32;
            message.window = wakeWindow_;
            message.type = atoms_.wake;
            xcb_send_event(conn_, 0, wakeWindow_, XCB_EVENT_MASK_NO_EVENT,
                           reinterpret_cast<const char*>(&message));
            xcb_flush(conn_);
        }
        eventThread_.join();
    }
    if (ewmhReady_) xcb_ewmh_connection_wipe(&ewmh_);
    xcb_disconnect(conn_);
    if (eventFd_ >= 0) ::close(eventFd_);
}

bool X11Connection::isAlive() const {
    return alive_ && !xcb_connection_has_error(conn_);
}

void X11Connection::setMessagingTimeout(double seconds) {
    timeout_ = seconds;
}

double X11Connection::messagingTimeout() const {
    return timeout_;
}

void X11Connection::eventLoop() {
    while (xcb_generic_event_t* event = xcb_wait_for_event(conn_)) {
        bool stop = false;
        if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
            auto* message = reinterpret_cast<xcb_client_message_event_t*>(event);
            stop = message->window == wakeWindow_ && message->type == atoms_.wake && stopping_;
        }
        if (!stop) handleOnEventThread(event);
        free(event);
        if (stop) return;
    }
    // The connection broke: wake every waiter and tell the main thread.
    alive_ = false;
    {
        std::lock_guard<std::mutex> guard(lock_);
        watchChanged_.notify_all();
    }
    signalMain();
}

void X11Connection::handleOnEventThread(xcb_generic_event_t* event) {
    uint8_t type = event->response_type & 0x7f;
    if (type == 0) {
        noteError(reinterpret_cast<xcb_generic_error_t*>(event));
        return;
    }
    // The hooks first: a waiter woken by this event must find what they keep already updated.
    std::shared_ptr<const Hooks> hooks;
    {
        std::lock_guard<std::mutex> guard(lock_);
        hooks = hooks_;
    }
    for (auto& hook : *hooks) hook(*event);

    auto note = [&](xcb_window_t window, xcb_atom_t what) {
        auto found = watches_.find({window, what});
        if (found == watches_.end()) return;
        found->second.seen = true;
        found->second.lastSequence = event->full_sequence;
        watchChanged_.notify_all();
    };
    if (type == XCB_PROPERTY_NOTIFY) {
        auto* property = reinterpret_cast<xcb_property_notify_event_t*>(event);
        std::lock_guard<std::mutex> guard(lock_);
        if (property->window == sentinelWindow_) {
            if (property->atom == ewmh_._NET_FRAME_EXTENTS) ++answers_;
            watchChanged_.notify_all();
            return;
        }
        note(property->window, property->atom);
    }
    if (type == XCB_CONFIGURE_NOTIFY || type == XCB_DESTROY_NOTIFY) {
        xcb_window_t window = type == XCB_CONFIGURE_NOTIFY
                                  ? reinterpret_cast<xcb_configure_notify_event_t*>(event)->window
                                  : reinterpret_cast<xcb_destroy_notify_event_t*>(event)->window;
        std::lock_guard<std::mutex> guard(lock_);
        note(window, XCB_ATOM_NONE);
        if (type == XCB_DESTROY_NOTIFY) {
            selected_.erase(window);
            // A window that is gone changes no property either.
            for (auto it = watches_.lower_bound({window, 0});
                 it != watches_.end() && it->first.first == window; ++it) {
                note(window, it->first.second);
            }
        }
        // Configure traffic is for the waits only; nobody on the main thread needs it.
        if (type == XCB_CONFIGURE_NOTIFY) return;
    }

    bool queued = false;
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (!listeners_.empty()) {
            const auto* bytes = reinterpret_cast<const uint8_t*>(event);
            queue_.emplace_back(bytes, bytes + eventSize(*event));
            if (queue_.size() > maxQueuedEvents) queue_.pop_front();
            queued = queue_.size() == 1;
        }
    }
    if (queued) signalMain();
}

void X11Connection::signalMain() {
    uint64_t one = 1;
    [[maybe_unused]] ssize_t written = ::write(eventFd_, &one, sizeof(one));
}

void X11Connection::dispatchPending() {
    uint64_t count = 0;
    [[maybe_unused]] ssize_t got = ::read(eventFd_, &count, sizeof(count));
    std::deque<std::vector<uint8_t>> events;
    std::vector<X11EventListener*> listeners;
    {
        std::lock_guard<std::mutex> guard(lock_);
        events.swap(queue_);
        listeners = listeners_;
    }
    auto stillListening = [this](X11EventListener* listener) {
        std::lock_guard<std::mutex> guard(lock_);
        return std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end();
    };
    for (const auto& bytes : events) {
        const auto& event = *reinterpret_cast<const xcb_generic_event_t*>(bytes.data());
        for (X11EventListener* listener : listeners) {
            if (stillListening(listener)) listener->handleEvent(event);
        }
    }
    if (!events.empty()) {
        for (X11EventListener* listener : listeners) {
            if (stillListening(listener)) listener->eventsDone();
        }
    }
    std::function<void()> lost;
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (!alive_ && !lostReported_ && connectionLost_) {
            lostReported_ = true;
            lost = connectionLost_;
        }
    }
    if (lost) lost();
}

void X11Connection::addListener(X11EventListener* listener) {
    std::lock_guard<std::mutex> guard(lock_);
    if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) {
        listeners_.push_back(listener);
    }
}

void X11Connection::removeListener(X11EventListener* listener) {
    std::lock_guard<std::mutex> guard(lock_);
    listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), listener), listeners_.end());
}

void X11Connection::setConnectionLostHandler(std::function<void()> handler) {
    {
        std::lock_guard<std::mutex> guard(lock_);
        connectionLost_ = std::move(handler);
    }
    if (!alive_) signalMain();
}

void X11Connection::addEventThreadHook(std::function<void(const xcb_generic_event_t&)> hook) {
    std::lock_guard<std::mutex> guard(lock_);
    // Copied on the rare add, so that each event only takes a reference to the list.
    auto more = std::make_shared<Hooks>(*hooks_);
    more->push_back(std::move(hook));
    hooks_ = std::move(more);
}

X11WindowModel& X11Connection::windows() {
    std::call_once(windowsOnce_, [this] { windows_ = std::make_unique<X11WindowModel>(*this); });
    return *windows_;
}

void X11Connection::selectEvents(xcb_window_t window, uint32_t mask) {
    uint32_t combined;
    {
        std::lock_guard<std::mutex> guard(lock_);
        uint32_t& current = selected_[window];
        if ((current | mask) == current && current != 0) return;
        current |= mask;
        combined = current;
    }
    // Unchecked: a window that vanished meanwhile answers BadWindow, which is expected.
    xcb_change_window_attributes(conn_, window, XCB_CW_EVENT_MASK, &combined);
    xcb_flush(conn_);
}

X11Connection::WindowWatch::WindowWatch(X11Connection& connection, xcb_window_t window,
                                        xcb_atom_t property)
    : connection_(connection), key_(window, property) {
    std::lock_guard<std::mutex> guard(connection_.lock_);
    connection_.watches_[key_].watchers++;
}

X11Connection::WindowWatch::~WindowWatch() {
    std::lock_guard<std::mutex> guard(connection_.lock_);
    auto found = connection_.watches_.find(key_);
    if (found != connection_.watches_.end() && --found->second.watchers <= 0) {
        connection_.watches_.erase(found);
    }
}

bool X11Connection::WindowWatch::waitAfter(uint32_t sequence,
                                           std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> guard(connection_.lock_);
    return connection_.watchChanged_.wait_until(guard, deadline, [&] {
        if (!connection_.alive_) return true;
        const WatchState& state = connection_.watches_[key_];
        return state.seen && sequenceAtOrAfter(state.lastSequence, sequence);
    }) && connection_.alive_;
}

bool X11Connection::windowManagerRoundTrip(std::chrono::steady_clock::time_point deadline) {
    xcb_ewmh_connection_t* ewmh = &ewmh_;
    auto supported =
        propertyReply(*this, requestProperty(*this, root_, ewmh->_NET_SUPPORTED, XCB_ATOM_ATOM));
    if (!supported || !*supported) return false;
    auto atoms = cardinals(supported->get());
    if (std::find(atoms.begin(), atoms.end(), ewmh->_NET_REQUEST_FRAME_EXTENTS) == atoms.end()) {
        return false;
    }
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = sentinelWindow_;
    message.type = ewmh->_NET_REQUEST_FRAME_EXTENTS;
    std::unique_lock<std::mutex> guard(lock_);
    // Numbered and sent in one step, so that questions reach the window manager in their order.
    uint64_t question = ++questions_;
    xcb_send_event(conn_, 0, root_,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(conn_);
    return watchChanged_.wait_until(guard, deadline, [&] {
        return !alive_ || answers_ >= question;
    }) && alive_;
}

void X11Connection::noteError(const xcb_generic_error_t* error) {
    if (!error || !options_.strictErrors) return;
    switch (error->error_code) {
        case XCB_WINDOW:
        case XCB_DRAWABLE:
        case XCB_MATCH:
            return;  // the window vanished between two requests: an expected race
        default:
            break;
    }
    std::string text = "X error " + std::to_string(error->error_code) + " (request " +
                       std::to_string(error->major_code) + "." + std::to_string(error->minor_code) +
                       ", resource " + std::to_string(error->resource_id) + ")";
    std::lock_guard<std::mutex> guard(lock_);
    errors_.push_back(std::move(text));
}

std::vector<std::string> X11Connection::unexpectedErrors() const {
    std::lock_guard<std::mutex> guard(lock_);
    return errors_;
}

void X11Connection::clearUnexpectedErrors() {
    std::lock_guard<std::mutex> guard(lock_);
    errors_.clear();
}

}  // namespace mavo

#include "platform/x11/X11ClientReading.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Util.h"

namespace mavo {

X11ClientReading::X11ClientReading(X11Connection& x11) : x11_(x11) {
    x11_.addEventThreadHook([changes = changes_, root = x11_.root(),
                             atom = x11_.ewmh()->_NET_CLIENT_LIST](const xcb_generic_event_t& e) {
        if ((e.response_type & 0x7f) != XCB_PROPERTY_NOTIFY) return;
        const auto& p = reinterpret_cast<const xcb_property_notify_event_t&>(e);
        if (p.window != root || p.atom != atom) return;
        changes->count.fetch_add(1);
        std::lock_guard<std::mutex> guard(changes->lock);
        if (changes->handler) changes->handler();
    });
    x11_.selectEvents(x11_.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
}

void X11ClientReading::onChange(std::function<void()> handler) {
    std::lock_guard<std::mutex> guard(changes_->lock);
    changes_->handler = std::move(handler);
}

template <typename T, typename Read>
std::optional<T> X11ClientReading::cached(std::optional<Reading<T>>& slot, Read read) {
    constexpr auto maxAge = std::chrono::milliseconds(300);
    auto now = std::chrono::steady_clock::now();
    uint64_t changes = changes_->count.load();
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (slot && slot->changes == changes && now - slot->at < maxAge) return slot->value;
    }
    std::optional<T> value = read();
    if (!value) return std::nullopt;
    std::lock_guard<std::mutex> guard(lock_);
    // Counted before reading: a change during the read makes the next call read again.
    slot = Reading<T>{changes, now, *value};
    return value;
}

std::optional<std::vector<xcb_window_t>> X11ClientReading::listed() {
    return cached(listed_, [this] { return clientList(x11_); });
}

std::optional<std::vector<X11Application>> X11ClientReading::applications() {
    return cached(applications_, [this]() -> std::optional<std::vector<X11Application>> {
        auto clients = readClients(x11_);
        if (!clients) return std::nullopt;
        return groupApplications(*clients);
    });
}

}  // namespace mavo

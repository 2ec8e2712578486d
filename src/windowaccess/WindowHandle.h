#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace mavo {

// An opaque reference to another application's window. Identity is the platform's window id
// alone; `platformRef` lets a backend keep its own retained object alive beside it.
struct WindowHandle {
    uint64_t id = 0;
    std::shared_ptr<const void> platformRef;

    friend bool operator==(const WindowHandle& a, const WindowHandle& b) { return a.id == b.id; }
};

}  // namespace mavo

template <>
struct std::hash<mavo::WindowHandle> {
    size_t operator()(const mavo::WindowHandle& h) const noexcept {
        return std::hash<uint64_t>{}(h.id);
    }
};

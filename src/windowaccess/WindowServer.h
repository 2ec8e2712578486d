#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "geometry/Rect.h"
#include "windowaccess/WindowHandle.h"

namespace mavo {

// A raw attribute value as the platform hands it over; the typed readers of `AX` check the kind
// and never assume it.
using AttributeValue =
    std::variant<std::string, bool, double, Point, Size, std::vector<WindowHandle>>;

// The platform's accessibility road to other applications' windows. Every failure is "no value",
// false or an empty list; implementations never throw and never log.
class WindowServer {
  public:
    virtual ~WindowServer() = default;

    virtual std::optional<AttributeValue> copyAttribute(const WindowHandle& element,
                                                        std::string_view attribute) = 0;
    virtual bool setPoint(const WindowHandle& element, std::string_view attribute, Point value) = 0;
    virtual bool setSize(const WindowHandle& element, std::string_view attribute, Size value) = 0;
    virtual bool isSettable(const WindowHandle& element, std::string_view attribute) = 0;
    // The "AXWindows" list of an application; nothing when the list cannot be read.
    virtual std::optional<AttributeValue> applicationWindows(int32_t pid) = 0;
    virtual std::optional<int32_t> pid(const WindowHandle& element) = 0;
    virtual void setGlobalMessagingTimeout(float seconds) = 0;
};

}  // namespace mavo

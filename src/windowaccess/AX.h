#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <variant>

#include "geometry/Rect.h"
#include "windowaccess/WindowServer.h"

namespace mavo {

// Attribute names shared by every backend.
namespace Attr {
inline constexpr std::string_view windows = "AXWindows";
inline constexpr std::string_view role = "AXRole";
inline constexpr std::string_view subrole = "AXSubrole";
inline constexpr std::string_view minimized = "AXMinimized";
inline constexpr std::string_view fullScreen = "AXFullScreen";
inline constexpr std::string_view position = "AXPosition";
inline constexpr std::string_view size = "AXSize";
inline constexpr std::string_view title = "AXTitle";
inline constexpr std::string_view windowRole = "AXWindow";
inline constexpr std::string_view standardWindow = "AXStandardWindow";
}  // namespace Attr

// One attribute's value, as the attribute readers hand it over.
using AttributeValue = std::variant<std::string, bool, Point, Size>;

// Failure-folding readers and writers of named attributes over a WindowServer's facts: every
// failure is "no value". Code that needs several facts of a window reads `facts` once.
// (`bool` is a C++ keyword, so the boolean reader is `boolean`.)
class AX {
  public:
    explicit AX(WindowServer& server) : server_(server) {}

    std::optional<WindowFacts> facts(const WindowHandle& e) const;
    std::optional<AttributeValue> copyAttribute(const WindowHandle& e, std::string_view attr) const;
    std::optional<std::string> string(const WindowHandle& e, std::string_view attr) const;
    bool boolean(const WindowHandle& e, std::string_view attr) const;
    std::optional<Point> point(const WindowHandle& e, std::string_view attr) const;
    std::optional<Size> size(const WindowHandle& e, std::string_view attr) const;
    std::optional<Rect> frame(const WindowHandle& e) const;
    bool set(const WindowHandle& e, std::string_view attr, Point value) const;
    bool set(const WindowHandle& e, std::string_view attr, Size value) const;
    bool isSettable(const WindowHandle& e, std::string_view attr) const;
    std::vector<WindowHandle> windows(int32_t pid) const;
    std::optional<int32_t> pid(const WindowHandle& e) const;
    void setGlobalMessagingTimeout(float seconds) const;

    WindowServer& server() const { return server_; }

  private:
    WindowServer& server_;
};

}  // namespace mavo

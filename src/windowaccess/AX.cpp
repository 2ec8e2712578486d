#include "windowaccess/AX.h"

#include "common/Utf8.h"

namespace mavo {

std::optional<AttributeValue> AX::copyAttribute(const WindowHandle& e,
                                                std::string_view attr) const {
    return server_.copyAttribute(e, attr);
}

std::optional<std::string> AX::string(const WindowHandle& e, std::string_view attr) const {
    auto value = server_.copyAttribute(e, attr);
    if (!value) return std::nullopt;
    // Titles and roles come from other programs as arbitrary bytes; past this point they are
    // UTF-8, fit for keys, files and log lines.
    if (auto* s = std::get_if<std::string>(&*value)) return validUtf8(*s);
    return std::nullopt;
}

bool AX::boolean(const WindowHandle& e, std::string_view attr) const {
    auto value = server_.copyAttribute(e, attr);
    if (!value) return false;
    if (auto* b = std::get_if<bool>(&*value)) return *b;
    if (auto* n = std::get_if<double>(&*value)) return *n != 0;  // a number reads as its truth
    return false;
}

std::optional<Point> AX::point(const WindowHandle& e, std::string_view attr) const {
    auto value = server_.copyAttribute(e, attr);
    if (!value) return std::nullopt;
    if (auto* p = std::get_if<Point>(&*value)) return *p;
    return std::nullopt;
}

std::optional<Size> AX::size(const WindowHandle& e, std::string_view attr) const {
    auto value = server_.copyAttribute(e, attr);
    if (!value) return std::nullopt;
    if (auto* s = std::get_if<Size>(&*value)) return *s;
    return std::nullopt;
}

std::optional<Rect> AX::frame(const WindowHandle& e) const {
    auto origin = point(e, Attr::position);
    if (!origin) return std::nullopt;  // the size is not even asked for
    auto extent = size(e, Attr::size);
    if (!extent) return std::nullopt;
    return makeRect(*origin, *extent);
}

bool AX::set(const WindowHandle& e, std::string_view attr, Point value) const {
    return server_.setPoint(e, attr, value);
}

bool AX::set(const WindowHandle& e, std::string_view attr, Size value) const {
    return server_.setSize(e, attr, value);
}

bool AX::isSettable(const WindowHandle& e, std::string_view attr) const {
    return server_.isSettable(e, attr);
}

std::vector<WindowHandle> AX::windows(int32_t pid) const {
    auto value = server_.applicationWindows(pid);
    if (!value) return {};
    if (auto* list = std::get_if<std::vector<WindowHandle>>(&*value)) return *list;
    return {};
}

std::optional<int32_t> AX::pid(const WindowHandle& e) const {
    return server_.pid(e);
}

void AX::setGlobalMessagingTimeout(float seconds) const {
    server_.setGlobalMessagingTimeout(seconds);
}

}  // namespace mavo

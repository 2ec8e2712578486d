#include "windowaccess/AX.h"

#include "common/Utf8.h"

namespace mavo {

std::optional<WindowFacts> AX::facts(const WindowHandle& e) const {
    auto facts = server_.facts(e);
    // Titles and roles come from other programs as arbitrary bytes; past this point they are
    // UTF-8, fit for keys, files and log lines.
    if (facts) {
        facts->role = validUtf8(facts->role);
        facts->subrole = validUtf8(facts->subrole);
        facts->title = validUtf8(facts->title);
    }
    return facts;
}

std::optional<AttributeValue> AX::copyAttribute(const WindowHandle& e,
                                                std::string_view attr) const {
    auto f = facts(e);
    if (!f) return std::nullopt;
    auto text = [](const std::string& s) -> std::optional<AttributeValue> {
        if (s.empty()) return std::nullopt;
        return s;
    };
    if (attr == Attr::role) return text(f->role);
    if (attr == Attr::subrole) return text(f->subrole);
    if (attr == Attr::title) return text(f->title);
    if (attr == Attr::minimized) return f->minimized;
    if (attr == Attr::fullScreen) return f->fullScreen;
    if (attr == Attr::position && f->frame) return f->frame->origin();
    if (attr == Attr::size && f->frame) return f->frame->size();
    return std::nullopt;
}

std::optional<std::string> AX::string(const WindowHandle& e, std::string_view attr) const {
    auto value = copyAttribute(e, attr);
    if (auto* s = value ? std::get_if<std::string>(&*value) : nullptr) return *s;
    return std::nullopt;
}

bool AX::boolean(const WindowHandle& e, std::string_view attr) const {
    auto value = copyAttribute(e, attr);
    auto* b = value ? std::get_if<bool>(&*value) : nullptr;
    return b && *b;
}

std::optional<Point> AX::point(const WindowHandle& e, std::string_view attr) const {
    auto value = copyAttribute(e, attr);
    if (auto* p = value ? std::get_if<Point>(&*value) : nullptr) return *p;
    return std::nullopt;
}

std::optional<Size> AX::size(const WindowHandle& e, std::string_view attr) const {
    auto value = copyAttribute(e, attr);
    if (auto* s = value ? std::get_if<Size>(&*value) : nullptr) return *s;
    return std::nullopt;
}

std::optional<Rect> AX::frame(const WindowHandle& e) const {
    auto f = server_.facts(e);
    return f ? f->frame : std::nullopt;
}

bool AX::set(const WindowHandle& e, std::string_view attr, Point value) const {
    return attr == Attr::position && server_.setPosition(e, value);
}

bool AX::set(const WindowHandle& e, std::string_view attr, Size value) const {
    return attr == Attr::size && server_.setSize(e, value);
}

bool AX::isSettable(const WindowHandle& e, std::string_view attr) const {
    auto f = server_.facts(e);
    if (!f) return false;
    if (attr == Attr::position) return f->positionSettable;
    if (attr == Attr::size) return f->sizeSettable;
    return false;
}

std::vector<WindowHandle> AX::windows(int32_t pid) const {
    return server_.applicationWindows(pid).value_or(std::vector<WindowHandle>{});
}

std::optional<int32_t> AX::pid(const WindowHandle& e) const {
    auto f = server_.facts(e);
    if (!f || f->pid == 0) return std::nullopt;
    return f->pid;
}

void AX::setGlobalMessagingTimeout(float seconds) const {
    server_.setGlobalMessagingTimeout(seconds);
}

}  // namespace mavo

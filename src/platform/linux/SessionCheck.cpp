#include "platform/linux/SessionCheck.h"

#include <cstring>

namespace mavo {

namespace {
bool isSet(const char* value) {
    return value && *value;
}
}  // namespace

std::optional<std::string> sessionProblem(const std::function<const char*(const char*)>& getenv) {
    if (isSet(getenv("DISPLAY"))) return std::nullopt;
    const char* type = getenv("XDG_SESSION_TYPE");
    if (isSet(getenv("WAYLAND_DISPLAY")) || (type && std::strcmp(type, "wayland") == 0)) {
        return "Mavo: this is a Wayland session without X11 (DISPLAY is not set); Mavo can only "
               "manage X11 windows, so it has nothing to do here.";
    }
    return "Mavo: no X display (DISPLAY is not set); Mavo needs an X11 desktop session.";
}

}  // namespace mavo

#pragma once

#include <functional>
#include <optional>
#include <string>

namespace mavo {

// Whether this session lets Mavo reach other applications' windows: it needs an X display.
// A Wayland session with XWayland has one (and Mavo manages the X11 windows it can see); a
// Wayland session without it, or no graphical session at all, has none.
//
// Answers nothing when Mavo can go on, else the one line to print before exiting.
std::optional<std::string> sessionProblem(const std::function<const char*(const char*)>& getenv);

}  // namespace mavo

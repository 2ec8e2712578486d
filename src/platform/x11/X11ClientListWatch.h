#pragma once

#include <functional>

#include "platform/x11/X11Connection.h"

namespace mavo {

// Calls `onChange` from the event thread whenever the window manager's client list changes, so
// that a new window can be judged as soon as it is managed rather than on the next tick. The
// handler must be quick and thread-safe, and must outlive the connection's event thread.
void watchClientList(X11Connection& x11, std::function<void()> onChange);

}  // namespace mavo

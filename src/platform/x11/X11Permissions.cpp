#include "platform/x11/X11Permissions.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "platform/x11/X11Util.h"

extern char** environ;

namespace mavo {

X11Permissions::X11Permissions(X11Connection* x11, Opener opener, std::string helpURL)
    : x11_(x11),
      opener_(opener ? std::move(opener) : Opener(&X11Permissions::openWithXdgOpen)),
      helpURL_(std::move(helpURL)) {}

bool X11Permissions::isTrusted() {
    if (!x11_ || !x11_->isAlive()) return false;
    xcb_ewmh_connection_t* ewmh = x11_->ewmh();
    auto check = [&](xcb_window_t window) -> std::optional<xcb_window_t> {
        auto reply = propertyReply(
            *x11_,
            requestProperty(*x11_, window, ewmh->_NET_SUPPORTING_WM_CHECK, XCB_ATOM_WINDOW, 1));
        if (!reply || !*reply) return std::nullopt;
        auto values = cardinals(reply->get());
        if (values.empty()) return std::nullopt;
        return values[0];
    };
    // The check window must name itself: a stale property left by a window manager that is gone
    // points at a window that no longer exists or says something else.
    auto wm = check(x11_->root());
    if (!wm || check(*wm) != wm) return false;
    auto supported = propertyReply(
        *x11_, requestProperty(*x11_, x11_->root(), ewmh->_NET_SUPPORTED, XCB_ATOM_ATOM));
    if (!supported || !*supported) return false;
    auto atoms = cardinals(supported->get());
    return std::find(atoms.begin(), atoms.end(), ewmh->_NET_CLIENT_LIST) != atoms.end();
}

bool X11Permissions::requestTrust() {
    return isTrusted();
}

void X11Permissions::openSettings() {
    if (!helpURL_.empty()) opener_(helpURL_);
}

void X11Permissions::openWithXdgOpen(const std::string& url) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::string program = "xdg-open";
    std::string argument = url;
    char* argv[] = {program.data(), argument.data(), nullptr};
    pid_t pid = 0;
    int failed = posix_spawnp(&pid, "xdg-open", &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    // Reap it off the caller's thread: xdg-open may take a while to hand over to a browser.
    if (!failed) std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
}

}  // namespace mavo

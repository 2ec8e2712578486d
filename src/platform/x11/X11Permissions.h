#pragma once

// Whether Mavo can do its work in this session: an X display is open and an EWMH window manager
// answers (a live _NET_SUPPORTING_WM_CHECK window, _NET_CLIENT_LIST supported). There is nothing
// to grant on X11, so asking re-checks, and the settings entry opens the help page that explains
// what Mavo needs. The connection may be null (no display): then nothing is trusted.

#include <functional>
#include <string>

#include "platform/x11/X11Connection.h"
#include "windowaccess/Permissions.h"

namespace mavo {

class X11Permissions : public Permissions {
  public:
    // Opens a URL for the user; the default runs `xdg-open URL` detached.
    using Opener = std::function<void(const std::string& url)>;

    // `helpURL` is the installed page on what Mavo needs, which openSettings() opens.
    explicit X11Permissions(X11Connection* x11, Opener opener = {}, std::string helpURL = {});

    bool isTrusted() override;
    bool requestTrust() override;
    void openSettings() override;

    static void openWithXdgOpen(const std::string& url);

  private:
    X11Connection* x11_;
    Opener opener_;
    std::string helpURL_;
};

}  // namespace mavo

#pragma once

// Installed applications as the desktop knows them: the .desktop files of the XDG data folders.
// An X11 application's "bundle id" is the class part of its WM_CLASS; an installed application
// matches it when its StartupWMClass, or the name of its desktop file, equals the class ignoring
// case (for reverse-DNS file names such as org.gnome.Calculator, the last part also counts).
//
// The X11 workspace takes the lookup as a function:
//     X11Workspace workspace(*x11, [](const std::string& bid) { return DesktopApps::name(bid); });

#include <optional>
#include <string>
#include <vector>

namespace mavo::DesktopApps {

struct App {
    std::string id;    // the desktop file id, e.g. "org.gnome.Terminal.desktop"
    std::string name;  // its Name, localised for the current locale
    std::string path;
};

// The "applications" folders in order of precedence: $XDG_DATA_HOME (else ~/.local/share),
// then each of $XDG_DATA_DIRS (else /usr/local/share:/usr/share).
std::vector<std::string> applicationDirs();

// The installed application for a WM_CLASS class, searched in `dirs` (default: the above).
// The folders are read once and read again only when one of them, or their list, changed.
std::optional<App> find(const std::string& wmClass);
std::optional<App> find(const std::string& wmClass, const std::vector<std::string>& dirs);

// The display name of the installed application for that class.
std::optional<std::string> name(const std::string& wmClass);

}  // namespace mavo::DesktopApps

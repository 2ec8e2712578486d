#include "platform/linux/LinuxBuiltInApps.h"

namespace mavo {

BuiltInApps linuxBuiltInApps() {
    BuiltInApps apps;
    // Calculators, settings panels, colour pickers, character maps, dictionaries, cameras and
    // task managers: small windows laid out for their own size.
    apps.defaultExcluded = {
        "Galculator",
        "Gnome-calculator",
        "gnome-calculator",
        "kcalc",
        "Mate-calc",
        "Qalculate-gtk",
        "XCalc",
        "Gnome-control-center",
        "Xfce4-settings-manager",
        "Mate-control-center",
        "systemsettings",
        "Lxqt-config",
        "Gcolor3",
        "Gpick",
        "kcolorchooser",
        "Gucharmap",
        "Gnome-characters",
        "Gnome-dictionary",
        "Mate-dictionary",
        "Xfce4-dict",
        "Cheese",
        "Gnome-system-monitor",
        "Mate-system-monitor",
        "Xfce4-taskmanager",
        "Lxtask",
    };
    // Browsers, code and text editors, IDEs, image, video and design tools.
    apps.wideFocus = {
        "firefox",
        "Firefox",
        "firefox-esr",
        "Firefox-esr",
        "librewolf",
        "Google-chrome",
        "Chromium",
        "chromium",
        "Brave-browser",
        "Microsoft-edge",
        "Vivaldi-stable",
        "Opera",
        "Epiphany",
        "falkon",
        "qutebrowser",
        "Code",
        "VSCodium",
        "Sublime_text",
        "jetbrains-idea",
        "jetbrains-idea-ce",
        "jetbrains-pycharm",
        "jetbrains-pycharm-ce",
        "jetbrains-clion",
        "jetbrains-goland",
        "jetbrains-webstorm",
        "jetbrains-studio",
        "QtCreator",
        "Eclipse",
        "Geany",
        "Mousepad",
        "Gedit",
        "Gnome-text-editor",
        "Pluma",
        "Xed",
        "kate",
        "Emacs",
        "Gvim",
        "Gimp",
        "Gimp-2.10",
        "Inkscape",
        "krita",
        "Blender",
        "figma-linux",
        "Darktable",
        "Scribus",
        "kdenlive",
        "Shotcut",
    };
    // Terminals that size their windows in whole character cells.
    apps.cellSized = {
        "XTerm",          "UXTerm",     "URxvt",     "Rxvt",
        "Gnome-terminal", "Kgx",        "konsole",   "Xfce4-terminal",
        "Mate-terminal",  "Alacritty",  "kitty",     "Tilix",
        "Terminator",     "Lxterminal", "qterminal", "Sakura",
        "terminology",    "St",         "Roxterm",   "org.wezfurlong.wezterm",
    };
    return apps;
}

}  // namespace mavo

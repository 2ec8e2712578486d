// The built-in application lists as macOS bundle identifiers, for the macOS backend.

#include "engine/BuiltInApps.h"

namespace mavo {

BuiltInApps macBuiltInApps() {
    BuiltInApps apps;
    apps.defaultExcluded = {
        "com.apple.MobileSMS",
        "com.apple.TextEdit",
        "com.apple.calculator",
        "com.apple.Dictionary",
        "com.apple.systempreferences",
        "com.apple.PhotoBooth",
        "com.apple.FaceTime",
        "com.apple.QuickTimePlayerX",
        "com.apple.ActivityMonitor",
        "com.apple.AppStore",
        "com.apple.Home",
    };
    apps.wideFocus = {
        "com.apple.Safari",           "com.google.Chrome",     "org.mozilla.firefox",
        "com.microsoft.edgemac",      "com.brave.Browser",     "company.thebrowser.Browser",
        "com.apple.dt.Xcode",         "com.microsoft.VSCode",  "com.sublimetext.4",
        "com.jetbrains.intellij",     "com.jetbrains.pycharm", "com.figma.Desktop",
        "com.bohemiancoding.sketch3", "com.adobe.Photoshop",   "com.adobe.illustrator",
        "com.apple.FinalCut",         "com.apple.iMovieApp",
    };
    apps.cellSized = {"com.apple.Terminal", "com.googlecode.iterm2"};
    return apps;
}

}  // namespace mavo

#include "engine/EngineLists.h"

namespace mavo {

const std::set<std::string>& defaultExcludedBundleIDs() {
    static const std::set<std::string> ids = {
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
    return ids;
}

const std::set<std::string>& wideFocusApps() {
    static const std::set<std::string> ids = {
        "com.apple.Safari",           "com.google.Chrome",     "org.mozilla.firefox",
        "com.microsoft.edgemac",      "com.brave.Browser",     "company.thebrowser.Browser",
        "com.apple.dt.Xcode",         "com.microsoft.VSCode",  "com.sublimetext.4",
        "com.jetbrains.intellij",     "com.jetbrains.pycharm", "com.figma.Desktop",
        "com.bohemiancoding.sketch3", "com.adobe.Photoshop",   "com.adobe.illustrator",
        "com.apple.FinalCut",         "com.apple.iMovieApp",
    };
    return ids;
}

const std::set<std::string>& builtInCellSnapApps() {
    static const std::set<std::string> ids = {"com.apple.Terminal", "com.googlecode.iterm2"};
    return ids;
}

}  // namespace mavo

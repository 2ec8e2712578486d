#pragma once

#include <optional>
#include <string>
#include <vector>

namespace mavo {

// What choosing a row does; the controller's `perform` runs it.
enum class MenuAction {
    none,
    togglePause,
    maximizeAll,
    grantAccessibility,
    toggleExcludeFrontmost,
    removeExclusion,
    toggleLogin,
    toggleAutoHide,
    toggleTopCenterMode,
    toggleTopCenterFrontmost,
    toggleFocusSizeMode,
    toggleMaximizeFrontmost,
    delaySliderChanged,
    forgetPlacement,
    forgetAllPlacements,
    showDiagnosticLog,
    quit,
};

// One row of the status menu as plain data, so that every platform draws the same menu and tests
// can read it. `delaySlider` is the show/hide delay control: a slider where the platform has one,
// a list of whole seconds elsewhere.
struct MenuItem {
    enum class Kind { normal, separator, delaySlider };

    Kind kind = Kind::normal;
    std::string title;
    bool enabled = true;
    bool checkable = false;  // shows a check box whether or not it is checked
    bool checked = false;
    MenuAction action = MenuAction::none;
    std::optional<std::string> representedBundleID;
    std::optional<std::string> representedPlacementKey;
    std::string keyEquivalent;
    std::vector<MenuItem> submenu;

    // Delay control only.
    double sliderValue = 0;
    double sliderMin = 0;
    double sliderMax = 10;
    std::string valueLabel;
    double alpha = 1.0;

    bool isSeparator() const { return kind == Kind::separator; }

    static MenuItem separator() {
        MenuItem item;
        item.kind = Kind::separator;
        return item;
    }
    static MenuItem label(std::string title) {
        MenuItem item;
        item.title = std::move(title);
        item.enabled = false;
        return item;
    }
    static MenuItem command(std::string title, MenuAction action) {
        MenuItem item;
        item.title = std::move(title);
        item.action = action;
        return item;
    }
};

using MenuModel = std::vector<MenuItem>;

}  // namespace mavo

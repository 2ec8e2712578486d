#include "ui/StatusItemController.h"

#include <algorithm>
#include <cstdio>

#include "common/Utf8.h"

namespace mavo {

namespace {

constexpr double iconRefreshInterval = 1.0;
// Screens whose menu bar is hidden or absent still get a band this tall at the top.
constexpr double fallbackBarHeight = 24.0;
// How far below the bar the pointer still counts as hovering.
constexpr double bandSlack = 2.0;

// Half-open, as the platform's point-in-rect test: a point on the top or right edge is outside.
bool contains(const Rect& r, Point p) {
    return p.x >= r.minX() && p.x < r.maxX() && p.y >= r.minY() && p.y < r.maxY();
}

}  // namespace

StatusItemController::StatusItemController(StatusControllerEnvironment env) : env_(std::move(env)) {
    env_.statusItem.setToolTip(toolTip);
    refreshIcon();
    delayValueLabel_ = formatDelay(env_.defaults.number(delayKey));
    iconTimer_ = env_.timers.scheduleRepeating(iconRefreshInterval, iconRefreshInterval, [this] {
        refreshIcon();
        evaluateVisibility();
    });
    updateAutoHide();
}

StatusItemController::~StatusItemController() {
    iconTimer_.reset();
    cancelPendingShow();
    cancelPendingHide();
    hideMonitors_.clear();
}

// MARK: Icon

void StatusItemController::refreshIcon() {
    if (!env_.statusItem.hasButton()) return;
    std::string name = !env_.permissions.isTrusted() ? "warn"
                       : env_.settings.paused()      ? "paused"
                                                     : "active";
    // The timer calls this every second; only a change of state is worth a redraw.
    if (name == lastIconName_) return;
    lastIconName_ = name;
    StatusIcon icon;
    icon.state = name;
    if (name == "warn") {
        icon.description = "Mavo: needs Accessibility";
    } else {
        icon.description = "Mavo";
        icon.dimmed = name == "paused";
    }
    env_.statusItem.setIcon(icon);
}

// MARK: Menu

const MenuModel& StatusItemController::menuNeedsUpdate() {
    MenuModel m;
    const bool trusted = env_.permissions.isTrusted();
    const bool paused = env_.settings.paused();

    m.push_back(MenuItem::label(!trusted ? "Mavo: needs Accessibility"
                                : paused ? "Mavo: paused"
                                         : "Mavo: active"));
    if (trusted && !paused) {
        m.push_back(
            MenuItem::label("Keeps your app windows maximized, except ones you’ve snapped."));
    }
    if (trusted) {
        int n = env_.settings.cannotFillCount();
        if (n >= 1) {
            m.push_back(MenuItem::label(std::to_string(n) + " window" + (n == 1 ? "" : "s") +
                                        " can’t be maximized"));
        }
    }
    m.push_back(MenuItem::separator());
    if (!trusted) {
        m.push_back(MenuItem::command("Grant Accessibility…", MenuAction::grantAccessibility));
        m.push_back(MenuItem::separator());
    }
    m.push_back(MenuItem::command(paused ? "Resume" : "Pause", MenuAction::togglePause));
    MenuItem maximizeAll = MenuItem::command("Maximize All Windows Now", MenuAction::maximizeAll);
    maximizeAll.enabled = trusted;
    m.push_back(maximizeAll);
    m.push_back(MenuItem::separator());

    buildFrontmostRows(m);

    const std::vector<std::string> excluded = env_.settings.excludedBundleIDs();  // sorted
    if (!excluded.empty()) {
        MenuItem parent;
        parent.title = "Excluded Apps";
        for (const auto& bid : excluded) {
            MenuItem row =
                MenuItem::command(appName(bid).value_or(bid), MenuAction::removeExclusion);
            row.representedBundleID = bid;
            row.checkable = true;
            row.checked = true;
            parent.submenu.push_back(std::move(row));
        }
        m.push_back(std::move(parent));
    }
    buildPlacementRows(m);
    m.push_back(MenuItem::separator());

    MenuItem login = MenuItem::command("Launch at Login", MenuAction::toggleLogin);
    login.checkable = true;
    login.checked = env_.login.isEnabled();
    m.push_back(login);

    const bool autoHide = env_.defaults.boolean(autoHideKey);
    MenuItem hide = MenuItem::command("Hide Icon Until Hover", MenuAction::toggleAutoHide);
    hide.checkable = true;
    hide.checked = autoHide;
    m.push_back(hide);

    MenuItem delay;
    delay.kind = MenuItem::Kind::delaySlider;
    delay.title = "Show/hide delay";
    delay.action = MenuAction::delaySliderChanged;
    delay.sliderValue = env_.defaults.number(delayKey);
    delay.valueLabel = formatDelay(delay.sliderValue);
    delay.alpha = autoHide ? 1.0 : 0.4;
    delayValueLabel_ = delay.valueLabel;
    m.push_back(delay);

    MenuItem topCenter =
        MenuItem::command("Smaller Windows Top Centered", MenuAction::toggleTopCenterMode);
    topCenter.checkable = true;
    topCenter.checked = env_.settings.topCenterMode();
    topCenter.enabled = trusted;
    m.push_back(topCenter);

    MenuItem focus =
        MenuItem::command("Focus-Size on Large Displays", MenuAction::toggleFocusSizeMode);
    focus.checkable = true;
    focus.checked = env_.settings.focusSizeBigDisplays();
    focus.enabled = trusted;
    m.push_back(focus);

    m.push_back(MenuItem::separator());
    if (env_.showLog) {
        m.push_back(MenuItem::command("Show Diagnostic Log", MenuAction::showDiagnosticLog));
    }
    m.push_back(MenuItem::label("Mavo " + env_.shortVersion.value_or("")));
    MenuItem quitItem = MenuItem::command("Quit Mavo", MenuAction::quit);
    quitItem.keyEquivalent = "q";
    m.push_back(quitItem);

    menu_ = std::move(m);
    return menu_;
}

void StatusItemController::buildFrontmostRows(MenuModel& m) {
    auto front = env_.workspace.frontmostApplication();
    // Our own menu being frontmost says nothing about which app the user means.
    if (!front || !front->bundleID || *front->bundleID == env_.selfBundleID) return;
    // Another program's bytes: made UTF-8 before they reach the menu or the settings file.
    const std::string bid = validUtf8(*front->bundleID);
    const std::string name = validUtf8(front->localizedName.value_or(bid));

    MenuItem exclude = MenuItem::command(
        (env_.settings.excludesBundleID(bid) ? "Manage “" : "Don’t Manage “") + name + "”",
        MenuAction::toggleExcludeFrontmost);
    exclude.representedBundleID = bid;
    m.push_back(exclude);

    MenuItem topCenter =
        MenuItem::command("Top-Center “" + name + "”", MenuAction::toggleTopCenterFrontmost);
    topCenter.checkable = true;
    topCenter.checked = env_.settings.topCentersBundleID(bid);
    topCenter.representedBundleID = bid;
    m.push_back(topCenter);

    MenuItem maximize =
        MenuItem::command("Always Maximize “" + name + "”", MenuAction::toggleMaximizeFrontmost);
    maximize.checkable = true;
    maximize.checked = env_.settings.maximizesBundleID(bid);
    maximize.representedBundleID = bid;
    m.push_back(maximize);
}

// Only the current display arrangement's windows are listed: the others' would mean nothing to the
// user here. "Forget All" reaches every arrangement, as the command line's does.
void StatusItemController::buildPlacementRows(MenuModel& m) {
    if (!env_.placements || !env_.placements->any()) return;
    MenuItem parent;
    parent.title = "Remembered Placements";
    for (const RememberedPlacement& p : env_.placements->ofCurrentArrangement()) {
        std::string title = appName(p.application).value_or(p.application);
        if (!p.title.empty()) title += " — " + p.title;
        MenuItem row = MenuItem::command(std::move(title), MenuAction::forgetPlacement);
        row.representedPlacementKey = p.key;
        parent.submenu.push_back(std::move(row));
    }
    if (parent.submenu.empty()) parent.submenu.push_back(MenuItem::label("None on These Displays"));
    parent.submenu.push_back(MenuItem::separator());
    parent.submenu.push_back(MenuItem::command("Forget All", MenuAction::forgetAllPlacements));
    m.push_back(std::move(parent));
}

std::optional<std::string> StatusItemController::appName(const std::string& bundleID) {
    for (const auto& app : env_.workspace.runningApplications()) {
        if (app.bundleID && validUtf8(*app.bundleID) == bundleID) {
            if (app.localizedName) return validUtf8(*app.localizedName);
            break;
        }
    }
    auto installed = env_.workspace.installedAppName(bundleID);
    if (installed) return validUtf8(*installed);
    return std::nullopt;
}

std::string StatusItemController::formatDelay(double seconds) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.0fs", seconds);
    return buf;
}

// MARK: Actions

void StatusItemController::perform(const MenuItem& item) {
    switch (item.action) {
        case MenuAction::none:
            return;
        case MenuAction::togglePause:
            return togglePause();
        case MenuAction::maximizeAll:
            return maximizeAll();
        case MenuAction::grantAccessibility:
            return grantAccessibility();
        case MenuAction::toggleExcludeFrontmost:
            return toggleExcludeFrontmost(item.representedBundleID);
        case MenuAction::removeExclusion:
            return removeExclusion(item.representedBundleID);
        case MenuAction::toggleLogin:
            return toggleLogin();
        case MenuAction::toggleAutoHide:
            return toggleAutoHide();
        case MenuAction::toggleTopCenterMode:
            return toggleTopCenterMode();
        case MenuAction::toggleTopCenterFrontmost:
            return toggleTopCenterFrontmost(item.representedBundleID);
        case MenuAction::toggleFocusSizeMode:
            return toggleFocusSizeMode();
        case MenuAction::toggleMaximizeFrontmost:
            return toggleMaximizeFrontmost(item.representedBundleID);
        case MenuAction::delaySliderChanged:
            return delaySliderChanged(item.sliderValue);
        case MenuAction::forgetPlacement:
            return forgetPlacement(item.representedPlacementKey);
        case MenuAction::forgetAllPlacements:
            return forgetAllPlacements();
        case MenuAction::showDiagnosticLog:
            if (env_.showLog) env_.showLog();
            return;
        case MenuAction::quit:
            return quit();
    }
}

void StatusItemController::togglePause() {
    env_.settings.setPaused(!env_.settings.paused());
    env_.settings.persistPaused();
    refreshIcon();
    env_.events.trackEvent(env_.settings.paused() ? "app_paused" : "app_resumed");
}

void StatusItemController::maximizeAll() {
    env_.engine.maximizeAllNow();
    env_.events.trackEvent("maximize_all_now");
}

void StatusItemController::grantAccessibility() {
    env_.permissions.requestTrust();
    env_.permissions.openSettings();
}

void StatusItemController::toggleExcludeFrontmost(const std::optional<std::string>& bid) {
    if (!bid) return;
    bool was = env_.settings.excludesBundleID(*bid);
    env_.settings.toggleExclusion(*bid);
    env_.events.trackEvent(was ? "app_included" : "app_excluded");
}

void StatusItemController::removeExclusion(const std::optional<std::string>& bid) {
    if (!bid) return;
    env_.settings.toggleExclusion(*bid);
    env_.events.trackEvent("app_included");
}

void StatusItemController::toggleLogin() {
    env_.login.toggle();
}

void StatusItemController::toggleAutoHide() {
    env_.defaults.set(autoHideKey, !env_.defaults.boolean(autoHideKey));
    updateAutoHide();
}

void StatusItemController::toggleTopCenterMode() {
    env_.settings.setTopCenterMode(!env_.settings.topCenterMode());
    env_.settings.persistTopCenterMode();
    env_.events.trackEvent(env_.settings.topCenterMode() ? "topcenter_on" : "topcenter_off");
}

void StatusItemController::toggleTopCenterFrontmost(const std::optional<std::string>& bid) {
    if (!bid) return;
    bool was = env_.settings.topCentersBundleID(*bid);
    env_.settings.toggleTopCenter(*bid);
    env_.events.trackEvent(was ? "topcenter_app_off" : "topcenter_app_on");
}

void StatusItemController::toggleFocusSizeMode() {
    env_.settings.setFocusSizeBigDisplays(!env_.settings.focusSizeBigDisplays());
    env_.settings.persistFocusSizeBigDisplays();
    env_.engine.reevaluateAll();
    env_.events.trackEvent(env_.settings.focusSizeBigDisplays() ? "focus_mode_on"
                                                                : "focus_mode_off");
}

void StatusItemController::toggleMaximizeFrontmost(const std::optional<std::string>& bid) {
    if (!bid) return;
    bool was = env_.settings.maximizesBundleID(*bid);
    env_.settings.toggleMaximizeApp(*bid);
    env_.engine.reevaluateAll();
    env_.events.trackEvent(was ? "app_focus_allowed" : "app_always_maximize");
}

void StatusItemController::delaySliderChanged(double value) {
    env_.defaults.set(delayKey, value);
    delayValueLabel_ = formatDelay(value);
    for (auto& item : menu_) {
        if (item.kind == MenuItem::Kind::delaySlider) {
            item.sliderValue = value;
            item.valueLabel = delayValueLabel_;
        }
    }
    env_.statusItem.invalidateMenu();
}

void StatusItemController::forgetPlacement(const std::optional<std::string>& key) {
    if (key && env_.placements) env_.placements->forget(*key);
}

void StatusItemController::forgetAllPlacements() {
    if (env_.placements) env_.placements->forgetAll();
}

void StatusItemController::quit() {
    if (env_.terminate) env_.terminate();
}

// MARK: Auto-hide

void StatusItemController::menuWillOpen() {
    menuIsOpen_ = true;
    evaluateVisibility();
}

void StatusItemController::menuDidClose() {
    menuIsOpen_ = false;
    refreshIcon();
    evaluateVisibility();
}

void StatusItemController::updateAutoHide() {
    cancelPendingShow();
    cancelPendingHide();
    hideMonitors_.clear();
    if (env_.defaults.boolean(autoHideKey)) {
        hideMonitors_.push_back(env_.pointer.addMovedMonitor([this] { evaluateVisibility(); }));
    }
    evaluateVisibility();
}

bool StatusItemController::isHovering() {
    auto p = env_.pointer.pointerLocation();
    if (!p) return false;
    auto screens = env_.displays.screens();
    const ScreenInfo* screen = nullptr;
    for (const auto& s : screens) {
        if (contains(s.frame, *p)) {
            screen = &s;
            break;
        }
    }
    if (!screen && !screens.empty()) screen = &screens.front();
    if (!screen) return false;
    double bar = screen->frame.maxY() - screen->visibleFrame.maxY();
    if (!(bar > 1.0)) bar = fallbackBarHeight;
    return p->y >= screen->frame.maxY() - bar - bandSlack;
}

void StatusItemController::evaluateVisibility() {
    if (menuIsOpen_ || !env_.defaults.boolean(autoHideKey)) {
        // An open menu never loses its icon, and with the option off the icon always shows.
        cancelPendingShow();
        cancelPendingHide();
        show();
        return;
    }
    const bool hovering = isHovering();
    const double delay = env_.defaults.number(delayKey);
    if (hovering) {
        cancelPendingHide();
        if (delay <= 0) {
            cancelPendingShow();
            show();
            return;
        }
        // A running countdown is not restarted by further moves inside the band.
        if (pendingUnhideTimer_ || env_.statusItem.isVisible()) return;
        pendingUnhideTimer_ = env_.timers.scheduleOnce(delay, [this] {
            pendingUnhideTimer_.reset();
            show();
        });
    } else {
        cancelPendingShow();
        if (delay <= 0) {
            cancelPendingHide();
            hide();
            return;
        }
        if (pendingHideTimer_ || !env_.statusItem.isVisible()) return;
        pendingHideTimer_ = env_.timers.scheduleOnce(delay, [this] {
            pendingHideTimer_.reset();
            hide();
        });
    }
}

void StatusItemController::cancelPendingShow() {
    pendingUnhideTimer_.reset();
}

void StatusItemController::cancelPendingHide() {
    pendingHideTimer_.reset();
}

// Visibility is written only when it changes: this runs on every pointer move.
void StatusItemController::show() {
    if (!env_.statusItem.isVisible()) env_.statusItem.setVisible(true);
}

void StatusItemController::hide() {
    if (env_.statusItem.isVisible()) env_.statusItem.setVisible(false);
}

}  // namespace mavo

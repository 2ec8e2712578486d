#include "app/AppDelegate.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "app/Diag.h"

namespace mavo {

std::string pointDecimal(double value) {
    if (!std::isfinite(value)) return std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
    char buf[400];
    auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
    std::string text(buf, ec == std::errc() ? end : buf);
    if (text.find('.') == std::string::npos) text += ".0";
    return text;
}

namespace {
// Appends rather than adds: `"literal" + std::string` makes GCC 12 at -O3 warn spuriously.
template <typename... Parts>
std::string concat(const Parts&... parts) {
    std::string text;
    (text.append(parts), ...);
    return text;
}

std::string rectText(const Rect& r) {
    return concat("(", pointDecimal(r.x), ", ", pointDecimal(r.y), ", ", pointDecimal(r.width),
                  ", ", pointDecimal(r.height), ")");
}
}  // namespace

std::string screenLine(int index, const ScreenInfo& screen) {
    return concat("screen[", std::to_string(index), "] frame=", rectText(screen.frame),
                  " visible=", rectText(screen.visibleFrame),
                  " scale=", pointDecimal(screen.backingScale));
}

std::shared_ptr<AppDelegate> AppDelegate::create(EngineEnvironment engineEnv,
                                                 AppServices services) {
    if (!engineEnv.log) engineEnv.log = Diag::log;
    return std::shared_ptr<AppDelegate>(new AppDelegate(std::move(engineEnv), std::move(services)));
}

AppDelegate::AppDelegate(EngineEnvironment engineEnv, AppServices services)
    : services_(std::move(services)), engine_(MaximizeEngine::create(std::move(engineEnv))) {}

// The order is load-bearing: the log is emptied before its first line, the screen cache is filled
// before anything asks it, settings are loaded before the menu exists and before the engine
// starts, and the trust request comes before the first tick.
void AppDelegate::applicationDidFinishLaunching() {
    services_.ax.setGlobalMessagingTimeout(0.25f);
    Diag::reset();

    services_.screens.refresh();
    int index = 0;
    for (const ScreenInfo& screen : services_.displays.screens()) {
        Diag::log(screenLine(index++, screen));
    }

    std::weak_ptr<AppDelegate> weakSelf = weak_from_this();
    ScreenCache& screens = services_.screens;
    services_.loop.observeDisplayChanges([weakSelf, &screens] {
        // The cache must follow the hardware even when nobody is left to act on it.
        screens.refresh();
        if (auto self = weakSelf.lock()) self->engine_->noteDisplayConfigChange();
    });

    services_.drag.start(services_.input);
    services_.loginItem.configureAtLaunch();
    engine_->loadPrefs();
    services_.analytics.start();
    if (services_.makeStatusController) {
        statusController_ = services_.makeStatusController(engine_);
    }

    // Asked for, never waited on: the grant usually arrives later and the ticks find it then.
    if (!services_.permissions.isTrusted()) services_.permissions.requestTrust();

    engine_->start();

    services_.loop.observeTermination([weakSelf] {
        if (auto self = weakSelf.lock()) self->applicationWillTerminate();
    });

    updater_ = std::make_unique<UpdaterController>();
}

void AppDelegate::applicationWillTerminate() {
    // First, so that a long tick neither holds up the exit nor puts placements after the flush.
    engine_->stop();
    services_.analytics.trackEvent(
        "session_ended", {{"windows_maximized", engine_->settings().windowsMaximizedCount()},
                          {"cannot_fill", engine_->settings().cannotFillCount()}});
    services_.store.flushNow();
    services_.analytics.flush();
}

}  // namespace mavo

#include "platform/linux/LinuxAnalytics.h"

#include <memory>

#include "platform/linux/AnalyticsBuildConfig.h"
#include "platform/linux/HttpModule.h"
#include "platform/linux/LinuxSystemProps.h"

namespace mavo {

AnalyticsConfig buildAnalyticsConfig() {
    AnalyticsConfig c;
    c.appKey = buildconfig::analyticsKey;
    c.usBaseUrl = buildconfig::analyticsUsUrl;
    c.euBaseUrl = buildconfig::analyticsEuUrl;
    return c;
}

const char* buildAppId() {
    return buildconfig::appId;
}

void installLinuxAnalytics(TimerScheduler& timers) {
    AnalyticsConfig config = buildAnalyticsConfig();
    Analytics::Dependencies deps;
    deps.timers = &timers;
    deps.systemProps = std::make_shared<LinuxSystemProps>(buildAppId());
    // An unconfigured build never sends, so it need not start a network thread either.
    if (!config.appKey.starts_with("REPLACE")) deps.sender = loadHttpSender();
    Analytics::installShared(Analytics::create(std::move(config), std::move(deps)));
}

}  // namespace mavo

// A minimal program whose life ends the way the application's does: start, one last event, the
// termination flush, exit. Usage: mavo_analytics_exit_probe BASE_URL
#include <memory>

#include "analytics/Analytics.h"
#include "platform/linux/CurlHttpSender.h"
#include "platform/linux/LinuxSystemProps.h"

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    mavo::AnalyticsConfig config;
    config.appKey = "A-US-7351946082";
    config.usBaseUrl = argv[1];
    mavo::Analytics::Dependencies deps;
    deps.sender = std::make_shared<mavo::CurlHttpSender>();
    deps.systemProps = std::make_shared<mavo::LinuxSystemProps>("com.quastorn.mavo");
    auto analytics = mavo::Analytics::create(config, deps);
    analytics->start();
    analytics->trackEvent("session_ended", {{"windows_maximized", 7}, {"cannot_fill", 2}});
    analytics->appWillTerminate();
    return 0;
}

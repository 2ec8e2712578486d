#pragma once

#include "analytics/Analytics.h"

namespace mavo {

// The key and regional addresses this build was configured with.
AnalyticsConfig buildAnalyticsConfig();
// This application's id; one ending in ".dev" marks a debug build.
const char* buildAppId();

// Makes Analytics::shared() the configured client: libcurl for sending, the Linux system
// properties, the periodic flush on `timers`. Call once at startup, before anything tracks an
// event; the timers must outlive the client's start().
void installLinuxAnalytics(TimerScheduler& timers);

}  // namespace mavo

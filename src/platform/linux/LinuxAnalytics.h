#pragma once

#include "analytics/Analytics.h"

namespace mavo {

// The key and regional addresses this build was configured with.
AnalyticsConfig buildAnalyticsConfig();
// This application's id; one ending in ".dev" marks a debug build.
const char* buildAppId();

// Makes Analytics::shared() the configured client: libcurl for sending, the Linux system
// properties. Call once at startup, before anything tracks an event.
void installLinuxAnalytics();

}  // namespace mavo

#include "analytics/AnalyticsEvent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace mavo;
using nlohmann::json;
using nlohmann::ordered_json;

TEST(AnalyticsEvent, TimestampIsUtcWithMillisecondsNeverRoundedUp) {
    EXPECT_EQ(iso8601(1.001), "1970-01-01T00:00:01.001Z");  // stored just below 1.001
    EXPECT_EQ(iso8601(1704067199.9999), "2023-12-31T23:59:59.999Z");
}

TEST(AnalyticsEvent, BatchKeepsKeyOrderAndBareValuesAndOmitsAbsentProps) {
    Event e{1795388658.123,
            "179538865800000042",
            "app_started",
            {true, "en_US", "Linux", "6.1.0", "0.1.0", "7", analyticsSdkVersion, "X1"},
            EventProps{{"s", std::string("x")}, {"i", int64_t{-5}}, {"b", false}, {"d", 2.0}}};
    ordered_json j = ordered_json::parse(encodeBatch({e}));
    EXPECT_EQ(j[0], ordered_json::parse(R"({"timestamp":"2026-11-22T23:04:18.123Z",
        "sessionId":"179538865800000042","eventName":"app_started","systemProps":{"isDebug":true,
        "locale":"en_US","osName":"Linux","osVersion":"6.1.0","appVersion":"0.1.0",
        "appBuildNumber":"7","sdkVersion":"aptabase-swift@0.3.11","deviceModel":"X1"},
        "props":{"b":false,"d":2.0,"i":-5,"s":"x"}})"));
    EXPECT_TRUE(j[0]["props"]["d"].is_number_float() && j[0]["props"]["i"].is_number_integer());
}

TEST(AnalyticsEvent, PropsKeepOnlyValuesAnEventCanCarry) {
    json in = json::parse(R"({"s":"a","i":-4,"u":7,"big":18446744073709551615,"d":0.5,"b":true,)"
                          R"("list":[1],"obj":{"k":1},"null":null})");
    in["nan"] = std::nan("");
    EXPECT_EQ(convertProps(in), (EventProps{{"s", std::string("a")},
                                            {"i", int64_t{-4}},
                                            {"u", int64_t{7}},
                                            {"d", 0.5},
                                            {"b", true}}));
    // Nothing left means no props at all.
    EXPECT_FALSE(convertProps(json{{"list", json::array()}, {"nothing", nullptr}}));
    EXPECT_FALSE(convertProps(json::array({1})));
}

TEST(AnalyticsEvent, DebugBuildsAreRecognisedByTheirIdSuffix) {
    EXPECT_TRUE(isDebugAppId("com.quastorn.mavo.dev"));
    EXPECT_FALSE(isDebugAppId("com.quastorn.mavo.dev.x"));
}

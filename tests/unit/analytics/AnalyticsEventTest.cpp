#include "analytics/AnalyticsEvent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace mavo;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

std::vector<std::string> keysOf(const ordered_json& j) {
    std::vector<std::string> keys;
    for (const auto& [k, v] : j.items()) keys.push_back(k);
    return keys;
}

Event sampleEvent() {
    Event e;
    e.timestamp = 1795388658.123;  // 2026-11-22T23:04:18.123Z
    e.sessionId = "179538865800000042";
    e.eventName = "app_started";
    e.systemProps = {true, "en_US", "Linux", "6.1.0", "0.1.0", "7", analyticsSdkVersion, "X1"};
    return e;
}

}  // namespace

TEST(AnalyticsTimestamp, IsUtcWithMillisecondsNeverRoundedIntoTheNextSecond) {
    EXPECT_EQ(iso8601(1795388658.123), "2026-11-22T23:04:18.123Z");
    EXPECT_EQ(iso8601(0.0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(iso8601(951782400.0), "2000-02-29T00:00:00.000Z");  // leap day
    EXPECT_EQ(iso8601(1704067199.9999), "2023-12-31T23:59:59.999Z");
    EXPECT_EQ(iso8601(-0.5), "1969-12-31T23:59:59.500Z");
}

TEST(AnalyticsEncoding, EventAndSystemPropsKeepTheirKeyOrder) {
    Event e = sampleEvent();
    e.props = EventProps{{"windows_maximized", int64_t{3}}};
    ordered_json j = ordered_json::parse(encodeBatch({e}));
    ASSERT_TRUE(j.is_array());
    ASSERT_EQ(j.size(), 1u);
    EXPECT_EQ(keysOf(j[0]), (std::vector<std::string>{"timestamp", "sessionId", "eventName",
                                                      "systemProps", "props"}));
    EXPECT_EQ(keysOf(j[0]["systemProps"]),
              (std::vector<std::string>{"isDebug", "locale", "osName", "osVersion", "appVersion",
                                        "appBuildNumber", "sdkVersion", "deviceModel"}));
    EXPECT_EQ(j[0]["timestamp"], "2026-11-22T23:04:18.123Z");
    EXPECT_EQ(j[0]["sessionId"], "179538865800000042");
    EXPECT_EQ(j[0]["systemProps"]["isDebug"], true);
    EXPECT_EQ(j[0]["systemProps"]["sdkVersion"], "aptabase-swift@0.3.11");
    EXPECT_EQ(j[0]["props"]["windows_maximized"], 3);
}

TEST(AnalyticsEncoding, EventWithoutPropsHasNoPropsKeyAtAll) {
    std::string body = encodeBatch({sampleEvent()});
    EXPECT_EQ(body.find("\"props\""), std::string::npos) << body;
    EXPECT_EQ(encodeBatch({}), "[]");
}

TEST(AnalyticsEncoding, PropertyValuesAreBareJsonValues) {
    Event e = sampleEvent();
    e.props = EventProps{
        {"s", std::string("x")}, {"i", int64_t{-5}}, {"d", 2.5}, {"b", false}, {"whole", 2.0}};
    json j = json::parse(encodeBatch({e}));
    EXPECT_EQ(j[0]["props"], json::parse(R"({"s":"x","i":-5,"d":2.5,"b":false,"whole":2.0})"));
    EXPECT_TRUE(j[0]["props"]["whole"].is_number_float());
    EXPECT_TRUE(j[0]["props"]["i"].is_number_integer());
}

TEST(AnalyticsEncoding, InvalidUtf8IsAnEncodingError) {
    Event e = sampleEvent();
    e.eventName = "bad\xff";
    EXPECT_THROW(encodeBatch({e}), json::exception);
}

TEST(AnalyticsProps, UnsupportedValuesAreDroppedAndTheRestKept) {
    json in = {{"name", "a"},
               {"count", 4},
               {"big", std::numeric_limits<uint64_t>::max()},
               {"small", uint64_t{7}},
               {"ratio", 0.5},
               {"flag", true},
               {"list", json::array({1, 2})},
               {"nested", json::object({{"k", 1}})},
               {"nothing", nullptr},
               {"nan", std::nan("")}};
    auto out = convertProps(in);
    ASSERT_TRUE(out.has_value());
    EventProps expected{{"name", std::string("a")},
                        {"count", int64_t{4}},
                        {"small", int64_t{7}},
                        {"ratio", 0.5},
                        {"flag", true}};
    EXPECT_EQ(*out, expected);
}

TEST(AnalyticsProps, NothingLeftMeansNoProps) {
    EXPECT_FALSE(convertProps(json::object()).has_value());
    EXPECT_FALSE(convertProps(json{{"list", json::array()}, {"nothing", nullptr}}).has_value());
    EXPECT_FALSE(convertProps(json()).has_value());
    EXPECT_FALSE(convertProps(json::array({1})).has_value());
}

TEST(AnalyticsSystemProps, DebugBuildsAreRecognisedByTheirIdSuffix) {
    EXPECT_TRUE(isDebugAppId("com.quastorn.mavo.dev"));
    EXPECT_FALSE(isDebugAppId("com.quastorn.mavo"));
    EXPECT_FALSE(isDebugAppId("com.quastorn.mavo.dev.x"));
    EXPECT_FALSE(isDebugAppId("dev"));
    EXPECT_FALSE(isDebugAppId(""));
}

#include "analytics/Analytics.h"

#include <gtest/gtest.h>

#include "fakes/FakeClock.h"
#include "fakes/FakeHttpSender.h"
#include "fakes/FakeTimers.h"

using namespace mavo;
using namespace mavo::test;
using nlohmann::json;

namespace {

struct Rig {
    FakeClock clock{1000.0, 1.8e9};
    std::shared_ptr<FakeHttpSender> sender = std::make_shared<FakeHttpSender>();
    std::shared_ptr<FakeSystemProps> props = std::make_shared<FakeSystemProps>();
    FakeTimers timers;
    uint64_t nextRandom = 42;
    AnalyticsConfig config{"A-US-7351946082", "https://us.analytics.test", "http://127.0.0.1:9"};

    std::shared_ptr<Analytics> make(const std::string& key = "A-US-7351946082") {
        config.appKey = key;
        return Analytics::create(config,
                                 {sender, props, &clock, &timers, [this] { return nextRandom++; }});
    }
    // Every event of every batch posted so far, in posting order.
    json posted() const {
        json all = json::array();
        for (const auto& p : sender->posts())
            for (auto& e : json::parse(p.body)) all.push_back(e);
        return all;
    }
};

}  // namespace

TEST(Analytics, PlaceholderKeyAndTheUnusedSharedInstanceSwitchEverythingOff) {
    for (std::string key : {"REPLACE-ME", "REPLACE-US-1234567890"}) {
        Rig rig;
        auto a = rig.make(key);
        a->start();
        a->trackEvent("session_ended", {{"windows_maximized", 1}});
        a->appWillTerminate();
        EXPECT_TRUE(rig.timers.pending() == 0 && rig.sender->posts().empty()) << key;
        EXPECT_EQ(rig.props->reads(), 0) << key;
    }
    EXPECT_TRUE(Rig().make("A-US-REPLACE")->isEnabled());  // only a prefix counts
    // So is the shared instance, which cannot be replaced once used.
    Analytics& shared = Analytics::shared();
    shared.trackEvent("app_started");
    EXPECT_EQ(shared.queuedCount(), 0u);
    EXPECT_FALSE(Analytics::installShared(Rig().make()));
}

TEST(Analytics, StartTracksAppStartedTimerAndTerminationFlushWhileTheClientLives) {
    Rig rig;
    auto a = rig.make();
    a->start();
    ASSERT_EQ(rig.timers.pending(), 1u);
    rig.timers.advance(59.9);
    EXPECT_TRUE(rig.sender->posts().empty());
    rig.timers.advance(60.2);  // a minute, and another in which an empty queue posts nothing
    ASSERT_EQ(rig.sender->posts().size(), 1u);
    EXPECT_EQ(rig.posted()[0]["eventName"], "app_started");
    a->trackEvent("session_ended");
    a->appWillTerminate();  // the last flush, then a bounded wait for sends in flight
    EXPECT_EQ(rig.posted()[1]["eventName"], "session_ended");
    EXPECT_EQ(rig.sender->waits(), std::vector<double>{2.0});
    a->trackEvent("app_paused");
    auto late = rig.timers.blocks();
    a.reset();
    EXPECT_EQ(rig.timers.pending(), 0u);
    late[0]();  // fires late: finds nothing to flush, and does not crash
    EXPECT_EQ(rig.sender->posts().size(), 2u);
}

TEST(Analytics, OneBatchPerFlushToTheKeysRegionOrNoneForAnUnusableKey) {
    Rig rig;
    auto us = rig.make("A-US-7351946082");
    for (const char* name : {"app_paused", "app_resumed", "maximize_all"}) us->trackEvent(name);
    us->flush();
    auto eu = rig.make("A-EU-0000000001");
    eu->trackEvent("app_excluded");
    eu->flush();
    auto posts = rig.sender->posts();
    ASSERT_EQ(posts.size(), 2u);
    EXPECT_EQ(posts[0].url, "https://us.analytics.test/api/v0/events");
    EXPECT_EQ(posts[0].timeout, 10.0);
    EXPECT_EQ(json::parse(posts[0].body).size(), 3u);
    EXPECT_EQ(posts[1].url, "http://127.0.0.1:9/api/v0/events");
    EXPECT_EQ(rig.posted()[3]["eventName"], "app_excluded");

    for (std::string key : {"A-DE-7351946082", "A-us-7351946082", "A-US", "A-US-1-2", "", "A--US"})
        EXPECT_EQ(Analytics::endpointFor({key, "https://us", "https://eu"}), std::nullopt) << key;
    // A region without a base address is as good as unknown.
    EXPECT_EQ(Analytics::endpointFor({"A-US-7351946082", "", "https://eu"}), std::nullopt);
    auto de = rig.make("A-DE-7351946082");
    de->trackEvent("app_paused");
    de->flush();
    EXPECT_EQ(de->queuedCount(), 0u);
    EXPECT_EQ(rig.sender->posts().size(), 2u);
}

TEST(Analytics, EventsCarryFreshSystemPropsAndOnlySupportedPropsAndBadBatchesAreDropped) {
    Rig rig;
    auto a = rig.make();
    rig.props->set({false, "en_US", "", "", "", "", "", ""});
    a->trackEvent("session_ended", {{"windows_maximized", 12}, {"list", json::array({"XTerm"})}});
    rig.props->set({false, "de_DE", "", "", "", "", "", ""});
    a->trackEvent("only_unsupported", {{"obj", json::object({{"title", "Secret"}})}});
    a->flush();
    json events = rig.posted();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0]["systemProps"]["locale"], "en_US");
    EXPECT_EQ(events[1]["systemProps"]["locale"], "de_DE");
    EXPECT_EQ(events[0]["props"], json::parse(R"({"windows_maximized":12})"));
    EXPECT_FALSE(events[1].contains("props"));
    EXPECT_EQ(rig.sender->posts()[0].body.find("Secret"), std::string::npos);

    a->trackEvent("app_paused");
    a->trackEvent("odd", {{"name", "\xc3\x28"}});  // not UTF-8: the whole batch goes
    a->flush();
    a->trackEvent("app_resumed");
    a->flush();
    ASSERT_EQ(rig.sender->posts().size(), 2u);
    EXPECT_EQ(rig.posted()[2]["eventName"], "app_resumed");
}

TEST(Analytics, SessionSurvivesAnHourAfterTheLastEventButNotOneSecondMore) {
    Rig rig;
    rig.clock.setWallClock(1800000000.25);
    auto a = rig.make();
    const std::string first = "180000000000000042";
    rig.clock.advance(3600.0);
    a->trackEvent("app_paused");
    rig.clock.advance(3600.0);
    a->trackEvent("app_resumed");
    EXPECT_EQ(a->sessionId(), first);  // an hour after the last event, not the first
    rig.clock.advance(3601.0);
    a->trackEvent("maximize_all");
    EXPECT_EQ(a->sessionId(), "180001080100000043");  // 1800000000.25 + 10801 s, next random
    a->flush();
    json events = rig.posted();
    EXPECT_EQ(events[2]["sessionId"], a->sessionId());
    EXPECT_EQ(events[2]["timestamp"], "2027-01-15T11:00:01.250Z");
    EXPECT_EQ(Analytics::newSessionId(1.9, 300000005), "100000005");  // random below 10^8
}

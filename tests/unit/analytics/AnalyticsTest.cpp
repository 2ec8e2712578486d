#include "analytics/Analytics.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "fakes/FakeClock.h"
#include "fakes/FakeHttpSender.h"

using namespace mavo;
using namespace mavo::test;
using nlohmann::json;

namespace {

struct Rig {
    FakeClock clock{1000.0, 1.8e9};
    std::shared_ptr<FakeHttpSender> sender = std::make_shared<FakeHttpSender>();
    std::shared_ptr<FakeSystemProps> props = std::make_shared<FakeSystemProps>();
    FakeRepeatingScheduler timers;
    uint64_t nextRandom = 42;

    AnalyticsConfig config(const std::string& key = "A-US-7351946082") {
        AnalyticsConfig c;
        c.appKey = key;
        c.usBaseUrl = "https://us.analytics.test";
        c.euBaseUrl = "http://127.0.0.1:9";
        return c;
    }

    std::shared_ptr<Analytics> make(AnalyticsConfig c) {
        Analytics::Dependencies deps;
        deps.sender = sender;
        deps.systemProps = props;
        deps.clock = &clock;
        deps.scheduleRepeating = timers.function();
        deps.random = [this] { return nextRandom++; };
        return Analytics::create(std::move(c), std::move(deps));
    }
    std::shared_ptr<Analytics> make(const std::string& key = "A-US-7351946082") {
        return make(config(key));
    }

    // Every event of every batch posted so far, in posting order.
    json postedEvents() const {
        json all = json::array();
        for (const auto& p : sender->posts())
            for (auto& e : json::parse(p.body)) all.push_back(e);
        return all;
    }
};

}  // namespace

TEST(Analytics, PlaceholderKeySwitchesEverythingOff) {
    for (std::string key : {"REPLACE-ME", "REPLACE", "REPLACE-US-1234567890"}) {
        Rig rig;
        auto a = rig.make(key);
        EXPECT_FALSE(a->isEnabled());
        a->start();
        a->trackEvent("app_paused");
        a->trackEvent("session_ended", {{"windows_maximized", 1}});
        EXPECT_EQ(a->queuedCount(), 0u) << key;
        EXPECT_TRUE(rig.timers.timers.empty()) << key;
        a->flush();
        a->appWillTerminate();
        EXPECT_TRUE(rig.sender->posts().empty()) << key;
        EXPECT_EQ(rig.props->reads(), 0) << key;
    }
    // Only a prefix counts: a key that merely contains the word is a real key.
    Rig rig;
    EXPECT_TRUE(rig.make("A-US-REPLACE")->isEnabled());
}

TEST(Analytics, StartTracksAppStartedAndFlushesEverySixtySeconds) {
    Rig rig;
    auto a = rig.make();
    a->start();
    ASSERT_EQ(rig.timers.timers.size(), 1u);
    EXPECT_EQ(rig.timers.timers[0].interval, 60.0);
    EXPECT_EQ(a->queuedCount(), 1u);
    EXPECT_TRUE(rig.sender->posts().empty());

    rig.timers.fireAll();
    ASSERT_EQ(rig.sender->posts().size(), 1u);
    json events = rig.postedEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["eventName"], "app_started");
    EXPECT_FALSE(events[0].contains("props"));

    // An empty queue posts nothing.
    rig.timers.fireAll();
    EXPECT_EQ(rig.sender->posts().size(), 1u);
}

TEST(Analytics, FlushTimerHoldsTheClientWeakly) {
    Rig rig;
    auto a = rig.make();
    a->start();
    a->trackEvent("app_paused");
    auto block = rig.timers.timers.at(0).block;
    auto handle = rig.timers.timers.at(0).handle;
    a.reset();
    EXPECT_TRUE(handle->isCancelled());
    block();  // a timer that fires late must find nothing to flush, and not crash
    EXPECT_TRUE(rig.sender->posts().empty());
}

TEST(Analytics, RequestCarriesKeyJsonTypeAndRegionalAddress) {
    Rig rig;
    auto us = rig.make("A-US-7351946082");
    us->trackEvent("app_paused");
    us->flush();
    auto eu = rig.make("A-EU-0000000001");
    eu->trackEvent("app_resumed");
    eu->flush();

    auto posts = rig.sender->posts();
    ASSERT_EQ(posts.size(), 2u);
    EXPECT_EQ(posts[0].url, "https://us.analytics.test/api/v0/events");
    EXPECT_EQ(posts[0].header("Content-Type"), "application/json");
    EXPECT_EQ(posts[0].header("App-Key"), "A-US-7351946082");
    EXPECT_EQ(posts[0].timeout, 10.0);
    EXPECT_EQ(posts[1].url, "http://127.0.0.1:9/api/v0/events");
    EXPECT_EQ(posts[1].header("App-Key"), "A-EU-0000000001");
}

TEST(Analytics, UnusableKeysAndRegionsSendNothingButStillEmptyTheQueue) {
    for (std::string key :
         {"A-DE-7351946082", "A-us-7351946082", "A-US", "A-US-1-2", "AUS7351946082", "", "A--US"}) {
        Rig rig;
        auto a = rig.make(key);
        a->trackEvent("app_paused");
        a->trackEvent("app_resumed");
        EXPECT_EQ(a->queuedCount(), 2u) << key;
        a->flush();
        EXPECT_EQ(a->queuedCount(), 0u) << key;
        EXPECT_TRUE(rig.sender->posts().empty()) << key;
    }
    // A region whose base address is not configured is as good as unknown.
    Rig rig;
    auto c = rig.config();
    c.usBaseUrl.clear();
    auto a = rig.make(c);
    a->trackEvent("app_paused");
    a->flush();
    EXPECT_EQ(a->queuedCount(), 0u);
    EXPECT_TRUE(rig.sender->posts().empty());
}

TEST(Analytics, EachFlushTakesTheWholeQueueOnce) {
    Rig rig;
    auto a = rig.make();
    a->trackEvent("app_paused");
    a->trackEvent("app_resumed");
    a->trackEvent("maximize_all");
    a->flush();
    a->flush();
    a->trackEvent("app_excluded");
    a->flush();

    auto posts = rig.sender->posts();
    ASSERT_EQ(posts.size(), 2u);
    json first = json::parse(posts[0].body);
    json second = json::parse(posts[1].body);
    ASSERT_EQ(first.size(), 3u);
    EXPECT_EQ(first[0]["eventName"], "app_paused");
    EXPECT_EQ(first[2]["eventName"], "maximize_all");
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0]["eventName"], "app_excluded");
}

TEST(Analytics, UnencodableBatchIsDroppedAndTheNextOneStillGoes) {
    Rig rig;
    auto a = rig.make();
    a->trackEvent("app_paused");
    a->trackEvent("odd", {{"name", "\xc3\x28"}});
    a->flush();
    EXPECT_TRUE(rig.sender->posts().empty());
    EXPECT_EQ(a->queuedCount(), 0u);
    a->trackEvent("app_resumed");
    a->flush();
    ASSERT_EQ(rig.sender->posts().size(), 1u);
    EXPECT_EQ(rig.postedEvents().size(), 1u);
}

TEST(Analytics, SessionSurvivesAnHourOfSilenceButNotOneSecondMore) {
    Rig rig;
    rig.clock.setWallClock(1800000000.25);
    auto a = rig.make();
    const std::string first = a->sessionId();
    EXPECT_EQ(first, "180000000000000042");

    rig.clock.advance(3600.0);
    a->trackEvent("app_paused");
    EXPECT_EQ(a->sessionId(), first);

    // The hour counts from the last event, not from the session's start.
    rig.clock.advance(3600.0);
    a->trackEvent("app_resumed");
    EXPECT_EQ(a->sessionId(), first);

    rig.clock.advance(3601.0);
    a->trackEvent("maximize_all");
    const std::string second = a->sessionId();
    EXPECT_NE(second, first);
    EXPECT_EQ(second, "180001080100000043");  // 1800000000.25 + 10801 s, next random

    a->flush();
    json events = rig.postedEvents();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0]["sessionId"], first);
    EXPECT_EQ(events[1]["sessionId"], first);
    EXPECT_EQ(events[2]["sessionId"], second);
    EXPECT_EQ(events[0]["timestamp"], "2027-01-15T09:00:00.250Z");
    EXPECT_EQ(events[2]["timestamp"], "2027-01-15T11:00:01.250Z");
}

TEST(Analytics, SessionIdIsSecondsTimesTenToTheEightPlusRandom) {
    EXPECT_EQ(Analytics::newSessionId(1.9, 5), "100000005");
    EXPECT_EQ(Analytics::newSessionId(0.0, 99999999), "99999999");
    EXPECT_EQ(Analytics::newSessionId(1800000000.0, 0), "180000000000000000");
    // The largest whole second whose id still fits in 64 bits.
    EXPECT_EQ(Analytics::newSessionId(184467440737.0, 9551615), "18446744073709551615");
}

TEST(AnalyticsDeathTest, SessionIdThatCannotFitStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(Analytics::newSessionId(184467440737.0, 9551616), "");
    EXPECT_DEATH(Analytics::newSessionId(1e30, 0), "");
    EXPECT_DEATH(Analytics::newSessionId(-1.0, 0), "");
}

TEST(Analytics, SystemPropsAreReadAgainForEveryEvent) {
    Rig rig;
    auto a = rig.make();
    SystemProps p;
    p.locale = "en_US";
    p.osName = "Linux";
    rig.props->set(p);
    a->trackEvent("app_paused");
    p.locale = "de_DE";
    rig.props->set(p);
    a->trackEvent("app_resumed");
    EXPECT_EQ(rig.props->reads(), 2);
    a->flush();
    json events = rig.postedEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0]["systemProps"]["locale"], "en_US");
    EXPECT_EQ(events[1]["systemProps"]["locale"], "de_DE");
    EXPECT_EQ(events[1]["systemProps"]["osName"], "Linux");
}

TEST(Analytics, PropsAreFilteredAndOmittedWhenNothingIsLeft) {
    Rig rig;
    auto a = rig.make();
    a->trackEvent("session_ended", {{"windows_maximized", 12}, {"cannot_fill", 0}});
    a->trackEvent("mixed", {{"kept", "yes"}, {"list", json::array({"XTerm"})}, {"n", nullptr}});
    a->trackEvent("only_unsupported", {{"obj", json::object({{"title", "Secret"}})}});
    a->trackEvent("none");
    a->flush();
    json events = rig.postedEvents();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0]["props"], json::parse(R"({"windows_maximized":12,"cannot_fill":0})"));
    EXPECT_EQ(events[1]["props"], json::parse(R"({"kept":"yes"})"));
    EXPECT_FALSE(events[2].contains("props"));
    EXPECT_FALSE(events[3].contains("props"));
    EXPECT_EQ(rig.sender->posts()[0].body.find("Secret"), std::string::npos);
}

TEST(Analytics, TerminationFlushesThenWaitsForSendsInFlight) {
    Rig rig;
    auto a = rig.make();
    a->start();
    a->trackEvent("session_ended", {{"windows_maximized", 2}, {"cannot_fill", 1}});
    a->appWillTerminate();
    json events = rig.postedEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1]["eventName"], "session_ended");
    EXPECT_EQ(rig.sender->waits(), std::vector<double>{2.0});
}

TEST(Analytics, DefaultTimerFlushesOnItsOwnAndStopsWithTheClient) {
    Rig rig;
    auto c = rig.config();
    c.flushInterval = 0.02;
    Analytics::Dependencies deps;
    deps.sender = rig.sender;
    deps.clock = &rig.clock;
    auto a = Analytics::create(c, deps);
    a->start();
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (rig.sender->posts().empty() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(rig.sender->posts().size(), 1u);
    a->trackEvent("app_paused");
    a.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(rig.sender->posts().size(), 1u);
}

TEST(Analytics, SharedInstanceIsSilentUntilThePlatformInstallsOne) {
    Analytics& shared = Analytics::shared();
    EXPECT_FALSE(shared.isEnabled());
    shared.trackEvent("app_started");
    EXPECT_EQ(shared.queuedCount(), 0u);
    // Too late: whoever holds the first instance keeps it.
    Rig rig;
    EXPECT_FALSE(Analytics::installShared(rig.make()));
    EXPECT_EQ(&Analytics::shared(), &shared);
}

#include "analytics/Analytics.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "fakes/FakeClock.h"
#include "fakes/FakeHttpSender.h"

using namespace mavo;
using namespace mavo::test;
using nlohmann::json;

// The engine's queue and the main thread both track events while the flush timer takes the
// queue: no event may be lost or sent twice, and sessions may rotate in the middle of it all.
TEST(AnalyticsThreads, EventsTrackedDuringFlushesArriveExactlyOnce) {
    FakeClock clock;
    auto sender = std::make_shared<FakeHttpSender>();
    auto props = std::make_shared<FakeSystemProps>();
    AnalyticsConfig config;
    config.appKey = "A-EU-0000000001";
    config.euBaseUrl = "http://127.0.0.1:9";
    Analytics::Dependencies deps;
    deps.sender = sender;
    deps.systemProps = props;
    deps.clock = &clock;
    FakeRepeatingScheduler timers;
    deps.scheduleRepeating = timers.function();
    auto analytics = Analytics::create(config, deps);

    constexpr int producers = 4;
    constexpr int perProducer = 500;
    std::atomic<int> running{producers};
    std::vector<std::thread> threads;
    for (int t = 0; t < producers; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < perProducer; ++i) {
                analytics->trackEvent("probe", {{"t", t}, {"i", i}});
                if (t == 0 && i % 100 == 0) clock.advance(3601.0);  // a new session now and then
            }
            running.fetch_sub(1);
        });
    }
    std::thread flusher([&] {
        while (running.load() > 0) analytics->flush();
    });
    for (auto& t : threads) t.join();
    flusher.join();
    analytics->flush();
    EXPECT_EQ(analytics->queuedCount(), 0u);

    std::map<std::pair<int, int>, int> seen;
    std::set<std::string> sessions;
    for (const auto& post : sender->posts()) {
        for (const auto& e : json::parse(post.body)) {
            seen[{e["props"]["t"].get<int>(), e["props"]["i"].get<int>()}]++;
            sessions.insert(e["sessionId"].get<std::string>());
        }
    }
    EXPECT_EQ(seen.size(), size_t(producers * perProducer));
    for (const auto& [id, count] : seen) ASSERT_EQ(count, 1) << id.first << "/" << id.second;
    EXPECT_GT(sender->posts().size(), 1u);
    EXPECT_GE(sessions.size(), 2u);
}

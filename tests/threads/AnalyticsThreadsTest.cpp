#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "analytics/Analytics.h"
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
    auto analytics =
        Analytics::create({"A-EU-0000000001", "", "http://127.0.0.1:9"},
                          {sender, std::make_shared<FakeSystemProps>(), &clock, nullptr, nullptr});
    std::atomic<int> running{4};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                analytics->trackEvent("probe", {{"t", t}, {"i", i}});
                if (t == 0 && i % 100 == 0) clock.advance(3601.0);  // a new session now and then
                // Halfway, a flush must have gone out, so that flushes surely meet tracking.
                while (i == 250 && sender->posts().empty()) std::this_thread::yield();
            }
            --running;
        });
    }
    std::thread flusher([&] {
        while (running > 0) analytics->flush();
    });
    for (auto& t : threads) t.join();
    flusher.join();
    analytics->flush();

    std::map<std::pair<int, int>, int> seen;
    std::set<std::string> sessions;
    for (const auto& post : sender->posts()) {
        for (const auto& e : json::parse(post.body)) {
            seen[{e["props"]["t"].get<int>(), e["props"]["i"].get<int>()}]++;
            sessions.insert(e["sessionId"].get<std::string>());
        }
    }
    EXPECT_EQ(seen.size(), 2000u);
    for (const auto& [id, count] : seen) ASSERT_EQ(count, 1) << id.first << "/" << id.second;
    EXPECT_GT(sender->posts().size(), 1u);
    EXPECT_GE(sessions.size(), 2u);
}

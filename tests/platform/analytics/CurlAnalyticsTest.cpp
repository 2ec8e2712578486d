// Analytics through the real libcurl to a real HTTP server on loopback (python3).
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>
#include <thread>

#include "analytics/Analytics.h"
#include "platform/linux/HttpModule.h"
#include "platform/linux/LinuxSystemProps.h"

using namespace mavo;
using nlohmann::json;
using Steady = std::chrono::steady_clock;

namespace {

constexpr const char* usKey = "A-US-7351946082";

// A proxy from the environment would take loopback requests elsewhere; cleared before any thread.
[[maybe_unused]] const bool proxiesCleared = [] {
    for (const char* v : {"http_proxy", "all_proxy", "ALL_PROXY"}) unsetenv(v);
    return true;
}();

double since(Steady::time_point t) {
    return std::chrono::duration<double>(Steady::now() - t).count();
}

// One recording server for the whole program; each test posts under a path of its own.
struct Server {
    int port = 0;
    char log[512] = {};
};
const Server& server() {
    static const Server s = [] {
        Server s;
        FILE* out = popen("exec python3 '" MAVO_RECORDING_SERVER "'", "r");
        if (!out || fscanf(out, "%d %511s", &s.port, s.log) != 2) std::abort();
        return s;
    }();
    return s;
}

std::string prefix() {
    return std::string("/") + ::testing::UnitTest::GetInstance()->current_test_info()->name() + "/";
}

// This test's address on the server, answering as `mode` says (ok, slow-<s>, hang).
std::string url(const std::string& mode) {
    return "http://127.0.0.1:" + std::to_string(server().port) + prefix() + mode;
}

// What reached the server for this test, waiting up to five seconds for `count` requests.
std::vector<json> requests(size_t count = 0) {
    for (int tries = 0;; ++tries, std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
        std::vector<json> got;
        std::ifstream in(server().log);
        for (std::string line; std::getline(in, line);) {
            json r = json::parse(line);
            if (r["path"].get<std::string>().starts_with(prefix())) got.push_back(r);
        }
        if (got.size() >= count || tries == 500) return got;
    }
}

std::shared_ptr<Analytics> make(AnalyticsConfig c, std::shared_ptr<HttpSender> sender) {
    return Analytics::create(c, {sender, std::make_shared<LinuxSystemProps>("com.quastorn.mavo"),
                                 nullptr, nullptr, nullptr});
}

struct CurlAnalytics : ::testing::Test {
    std::shared_ptr<HttpSender> sender = loadHttpSender(MAVO_HTTP_MODULE);
    void SetUp() override { ASSERT_TRUE(sender); }
};

}  // namespace

TEST_F(CurlAnalytics, BatchesFromManyThreadsArriveExactlyOnceInWireFormat) {
    auto a = make({usKey, url("ok"), url("ok")}, sender);  // not start(): no timer may outlive it
    std::vector<std::thread> workers;
    for (int t = 0; t < 6; ++t) {
        workers.emplace_back([&a, t] {
            for (int i = 0; i < 40; ++i) {
                a->trackEvent("probe", {{"t", t}, {"i", i}});
                if (i % 10 == 9) a->flush();
            }
        });
    }
    for (auto& w : workers) w.join();
    a->flush();
    ASSERT_TRUE(sender->waitForInFlight(20.0));
    std::map<std::pair<int, int>, int> seen;
    for (const auto& r : requests()) {
        EXPECT_EQ(r["path"], prefix() + "ok/api/v0/events");
        EXPECT_EQ(r["headers"]["content-type"], "application/json");
        EXPECT_EQ(r["headers"]["app-key"], usKey);
        for (auto& e : json::parse(r["body"].get<std::string>()))
            seen[{e["props"]["t"].get<int>(), e["props"]["i"].get<int>()}]++;
    }
    EXPECT_EQ(seen.size(), 240u);
    for (const auto& [id, count] : seen) EXPECT_EQ(count, 1) << id.first << "/" << id.second;
}

TEST_F(CurlAnalytics, ServerThatNeverAnswersHoldsNothingUpAndIsDroppedAtTheTimeout) {
    auto a = make({usKey, url("hang"), url("hang"), 1.0, 60, 0.2}, sender);
    a->trackEvent("app_paused");
    auto before = Steady::now();
    a->flush();
    EXPECT_LT(since(before), 0.2);  // the caller never waits for the network
    ASSERT_EQ(requests(1).size(), 1u);
    auto terminating = Steady::now();
    a->appWillTerminate();  // waits for sends in flight, but only so long
    EXPECT_GE(since(terminating), 0.15);
    EXPECT_LT(since(terminating), 0.8);
    EXPECT_TRUE(sender->waitForInFlight(5.0));  // dropped at the request timeout
    EXPECT_GE(since(before), 0.95);
    EXPECT_LT(since(before), 1.9);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(requests().size(), 1u);  // and never retried
}

// The termination flush waits for the (slow) answer, so the batch is there before the exit.
TEST(CurlAnalyticsExit, FinalBatchLeavesBeforeTheProcessExits) {
    const std::string base = url("slow-0.3");
    auto before = Steady::now();
    EXPECT_EXIT(
        {
            {
                auto a = make({usKey, base, ""}, loadHttpSender(MAVO_HTTP_MODULE));
                a->start();
                a->trackEvent("session_ended", {{"windows_maximized", 7}, {"cannot_fill", 2}});
                a->appWillTerminate();
            }
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_GE(since(before), 0.3);  // it waited for the answer ...
    EXPECT_LT(since(before), 5.0);  // ... and not for the request timeout
    auto r = requests(1);
    ASSERT_EQ(r.size(), 1u);
    json e = json::parse(r[0]["body"].get<std::string>());
    ASSERT_EQ(e.size(), 2u);
    EXPECT_EQ(e[0]["eventName"], "app_started");
    EXPECT_EQ(e[1]["props"]["windows_maximized"], 7);
}

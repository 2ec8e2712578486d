#include <sys/utsname.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <thread>

#include "LoopbackServer.h"
#include "analytics/Analytics.h"
#include "fakes/FakeHttpSender.h"
#include "platform/linux/CurlHttpSender.h"
#include "platform/linux/LinuxSystemProps.h"

using namespace mavo;
using namespace mavo::test;
using nlohmann::json;
using SteadyClock = std::chrono::steady_clock;

namespace {

// A proxy from the environment would take the loopback requests elsewhere. Cleared before any
// thread starts, since curl reads the environment on its own thread.
const bool proxiesCleared = [] {
    for (const char* v :
         {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        unsetenv(v);
    }
    return true;
}();

constexpr const char* usKey = "A-US-7351946082";

double secondsSince(SteadyClock::time_point t) {
    return std::chrono::duration<double>(SteadyClock::now() - t).count();
}

struct Client {
    std::shared_ptr<CurlHttpSender> sender = std::make_shared<CurlHttpSender>();
    FakeRepeatingScheduler timers;

    std::shared_ptr<Analytics> make(const std::string& key, const std::string& usUrl,
                                    const std::string& euUrl = "http://127.0.0.1:9",
                                    double timeout = 10.0) {
        AnalyticsConfig c;
        c.appKey = key;
        c.usBaseUrl = usUrl;
        c.euBaseUrl = euUrl;
        c.requestTimeout = timeout;
        Analytics::Dependencies deps;
        deps.sender = sender;
        deps.systemProps = std::make_shared<LinuxSystemProps>("com.quastorn.mavo");
        deps.scheduleRepeating = timers.function();
        return Analytics::create(c, deps);
    }
};

std::vector<std::string> keysOf(const nlohmann::ordered_json& j) {
    std::vector<std::string> keys;
    for (const auto& [k, v] : j.items()) keys.push_back(k);
    return keys;
}

json allEvents(const std::vector<json>& requests) {
    json all = json::array();
    for (const auto& r : requests)
        for (auto& e : json::parse(r["body"].get<std::string>())) all.push_back(e);
    return all;
}

}  // namespace

TEST(CurlAnalytics, BatchArrivesAsOneJsonArrayWithKeyAndType) {
    ASSERT_TRUE(proxiesCleared);
    LoopbackServer server;
    Client client;
    auto a = client.make(usKey, server.baseUrl());
    a->start();
    a->trackEvent("session_ended", {{"windows_maximized", 3}, {"cannot_fill", 1}});
    a->trackEvent("odd", {{"ratio", 0.25}, {"dropped", json::array({1})}});
    a->flush();
    EXPECT_EQ(a->queuedCount(), 0u);
    ASSERT_TRUE(client.sender->waitForInFlight(10.0));

    auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    const json& r = requests[0];
    EXPECT_EQ(r["method"], "POST");
    EXPECT_EQ(r["path"], "/api/v0/events");
    EXPECT_EQ(r["headers"]["content-type"], "application/json");
    EXPECT_EQ(r["headers"]["app-key"], usKey);

    auto body = nlohmann::ordered_json::parse(r["body"].get<std::string>());
    ASSERT_TRUE(body.is_array());
    ASSERT_EQ(body.size(), 3u);
    EXPECT_EQ(body[0]["eventName"], "app_started");
    EXPECT_EQ(keysOf(body[0]),
              (std::vector<std::string>{"timestamp", "sessionId", "eventName", "systemProps"}));
    EXPECT_EQ(keysOf(body[1]), (std::vector<std::string>{"timestamp", "sessionId", "eventName",
                                                         "systemProps", "props"}));
    EXPECT_EQ(body[1]["props"],
              nlohmann::ordered_json::parse(R"({"cannot_fill":1,"windows_maximized":3})"));
    EXPECT_EQ(body[2]["props"], nlohmann::ordered_json::parse(R"({"ratio":0.25})"));

    std::regex iso(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)");
    struct utsname u {};
    uname(&u);
    for (const auto& e : body) {
        EXPECT_TRUE(std::regex_match(e["timestamp"].get<std::string>(), iso)) << e;
        EXPECT_EQ(e["sessionId"], a->sessionId());
        const auto& sp = e["systemProps"];
        EXPECT_EQ(sp["osName"], "Linux");
        EXPECT_EQ(sp["osVersion"], u.release);
        EXPECT_EQ(sp["isDebug"], false);
        EXPECT_EQ(sp["sdkVersion"], "aptabase-swift@0.3.11");
        EXPECT_FALSE(sp["appVersion"].get<std::string>().empty());
    }
}

TEST(CurlAnalytics, EuKeyGoesToTheEuAddress) {
    LoopbackServer eu;
    Client client;
    auto a = client.make("A-EU-0000000001", "http://127.0.0.1:" + std::to_string(unusedPort()),
                         eu.baseUrl());
    a->trackEvent("app_paused");
    a->flush();
    ASSERT_TRUE(client.sender->waitForInFlight(10.0));
    auto requests = eu.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0]["headers"]["app-key"], "A-EU-0000000001");
}

TEST(CurlAnalytics, UnknownRegionAndMalformedKeysSendNothingButEmptyTheQueue) {
    LoopbackServer server;
    Client client;
    for (std::string key : {"A-DE-7351946082", "A-US", "A-US-1-2", "garbage"}) {
        auto a = client.make(key, server.baseUrl(), server.baseUrl());
        a->trackEvent("app_paused");
        a->flush();
        EXPECT_EQ(a->queuedCount(), 0u) << key;
    }
    EXPECT_TRUE(client.sender->waitForInFlight(5.0));
    // A well-formed key afterwards proves the server was listening all along.
    auto good = client.make(usKey, server.baseUrl());
    good->trackEvent("app_resumed");
    good->flush();
    ASSERT_TRUE(client.sender->waitForInFlight(10.0));
    auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(allEvents(requests)[0]["eventName"], "app_resumed");
}

TEST(CurlAnalytics, ServerThatNeverAnswersNeitherBlocksNorIsRetried) {
    LoopbackServer server(LoopbackServer::Mode::hang);
    Client client;
    auto a = client.make(usKey, server.baseUrl(), server.baseUrl(), 0.5);
    a->trackEvent("app_paused");

    auto before = SteadyClock::now();
    a->flush();
    EXPECT_LT(secondsSince(before), 0.2);  // the caller never waits for the network
    auto requests = server.waitForRequests(1, 5.0);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_FALSE(client.sender->waitForInFlight(0.0));  // still waiting for an answer

    EXPECT_TRUE(client.sender->waitForInFlight(5.0));
    double elapsed = secondsSince(before);
    EXPECT_GE(elapsed, 0.45);
    EXPECT_LT(elapsed, 4.0);

    // Dropped for good: nothing comes again, and the queue is not refilled.
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    EXPECT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(a->queuedCount(), 0u);
}

TEST(CurlAnalytics, ServerThatIsDownIsHarmless) {
    Client client;
    auto down = client.make(usKey, "http://127.0.0.1:" + std::to_string(unusedPort()));
    for (int i = 0; i < 3; ++i) {
        down->trackEvent("app_paused");
        auto before = SteadyClock::now();
        down->flush();
        EXPECT_LT(secondsSince(before), 0.2);
    }
    EXPECT_TRUE(client.sender->waitForInFlight(5.0));
    EXPECT_EQ(down->queuedCount(), 0u);

    // The same sender carries on once a server is there.
    LoopbackServer server;
    auto up = client.make(usKey, server.baseUrl());
    up->trackEvent("app_resumed");
    up->flush();
    ASSERT_TRUE(client.sender->waitForInFlight(10.0));
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST(CurlAnalytics, EventsFromManyThreadsArriveExactlyOnce) {
    LoopbackServer server;
    Client client;
    auto a = client.make(usKey, server.baseUrl());
    constexpr int threads = 6;
    constexpr int perThread = 40;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&a, t] {
            for (int i = 0; i < perThread; ++i) {
                a->trackEvent("probe", {{"t", t}, {"i", i}});
                if (i % 10 == 9) a->flush();
            }
        });
    }
    for (auto& w : workers) w.join();
    a->flush();
    ASSERT_TRUE(client.sender->waitForInFlight(20.0));

    std::map<std::pair<int, int>, int> seen;
    for (const auto& e : allEvents(server.requests())) {
        seen[{e["props"]["t"].get<int>(), e["props"]["i"].get<int>()}]++;
    }
    EXPECT_EQ(seen.size(), size_t(threads * perThread));
    for (const auto& [id, count] : seen) {
        EXPECT_EQ(count, 1) << id.first << "/" << id.second;
    }
}

TEST(CurlAnalytics, NoEventNamesAnApplicationOrAWindow) {
    LoopbackServer server;
    Client client;
    auto a = client.make(usKey, server.baseUrl());
    a->start();
    for (const char* name :
         {"window_user_maximized", "maximize_all", "app_paused", "app_resumed", "app_excluded",
          "app_included", "topcenter_on", "topcenter_off", "topcenter_app_on", "topcenter_app_off",
          "focus_mode_on", "focus_mode_off", "app_always_maximize", "app_focus_allowed"}) {
        a->trackEvent(name);
    }
    a->trackEvent("session_ended", {{"windows_maximized", 4}, {"cannot_fill", 0}});
    a->appWillTerminate();

    auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    const std::string body = requests[0]["body"];
    const std::set<std::string> eventKeys = {"timestamp", "sessionId", "eventName", "systemProps",
                                             "props"};
    const std::set<std::string> systemKeys = {"isDebug",    "locale",     "osName",
                                              "osVersion",  "appVersion", "appBuildNumber",
                                              "sdkVersion", "deviceModel"};
    json events = json::parse(body);
    ASSERT_EQ(events.size(), 16u);
    for (const auto& e : events) {
        for (const auto& [k, v] : e.items()) EXPECT_TRUE(eventKeys.count(k)) << k;
        for (const auto& [k, v] : e["systemProps"].items()) EXPECT_TRUE(systemKeys.count(k)) << k;
        if (e.contains("props")) {
            EXPECT_EQ(e["eventName"], "session_ended");
        }
    }
    // Nothing names this program, its id, the machine or the user.
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    for (std::string secret :
         {std::string(program_invocation_short_name), std::string("com.quastorn.mavo"),
          std::string(host), std::string(getenv("USER") ? getenv("USER") : "")}) {
        if (secret.size() < 4) continue;
        EXPECT_EQ(body.find(secret), std::string::npos) << secret;
    }
}

TEST(CurlAnalytics, TerminationWaitsForTheAnswerButNoLongerThanTwoSeconds) {
    {
        LoopbackServer slow(LoopbackServer::Mode::slow, 0.6);
        Client client;
        auto a = client.make(usKey, slow.baseUrl());
        a->trackEvent("session_ended", {{"windows_maximized", 1}, {"cannot_fill", 0}});
        auto before = SteadyClock::now();
        a->appWillTerminate();
        EXPECT_GE(secondsSince(before), 0.55);
        EXPECT_TRUE(client.sender->waitForInFlight(0.0));
        EXPECT_EQ(allEvents(slow.requests())[0]["eventName"], "session_ended");
    }
    {
        LoopbackServer hang(LoopbackServer::Mode::hang);
        Client client;
        auto a = client.make(usKey, hang.baseUrl());  // the real 10-second request timeout
        a->trackEvent("session_ended", {{"windows_maximized", 1}, {"cannot_fill", 0}});
        auto before = SteadyClock::now();
        a->appWillTerminate();
        double waited = secondsSince(before);
        EXPECT_GE(waited, 1.9);
        EXPECT_LT(waited, 3.5);
        EXPECT_EQ(hang.waitForRequests(1, 2.0).size(), 1u);
    }
}

// The probe is a whole program: it tracks "session_ended", runs the termination flush and
// returns from main. The batch must be at the server by the time the process is gone.
TEST(CurlAnalytics, FinalBatchLeavesBeforeTheProcessExits) {
    LoopbackServer server(LoopbackServer::Mode::slow, 0.3);
    std::string url = server.baseUrl();
    std::vector<char*> argv = {const_cast<char*>(MAVO_EXIT_PROBE), url.data(), nullptr};
    pid_t pid = -1;
    auto before = SteadyClock::now();
    ASSERT_EQ(posix_spawn(&pid, MAVO_EXIT_PROBE, nullptr, nullptr, argv.data(), environ), 0);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    double lived = secondsSince(before);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_GE(lived, 0.3);  // it waited for the answer ...
    EXPECT_LT(lived, 5.0);  // ... and not for the request timeout
    auto events = allEvents(server.requests());
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0]["eventName"], "app_started");
    EXPECT_EQ(events[1]["eventName"], "session_ended");
    EXPECT_EQ(events[1]["props"]["windows_maximized"], 7);
}

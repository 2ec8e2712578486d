#include "app/AppDelegate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "app/Diag.h"
#include "app/LoginItem.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeUserDefaults.h"
#include "fakes/FakeWindowList.h"
#include "fakes/FakeWindowServer.h"
#include "fakes/FakeWorkspace.h"
#include "unit/TempFolder.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;

// The test stands in for every service the launch wires together and writes the calls that
// matter into one journal, so that it can read the order in which the launch reached them.
struct AppDelegateTest : ::testing::Test,
                         DisplaySource,
                         UserDefaults,
                         ShellLoop,
                         InputSource,
                         LoginService,
                         Permissions,
                         AnalyticsControl {
    std::vector<ScreenInfo> screens() override {
        add(server.messagingTimeout() == 0.25f ? "screens" : "screens before the AX timeout");
        return displays.screens();
    }
    std::optional<nlohmann::json> object(const std::string& key) const override {
        return add("defaults.read " + key), settings.object(key);
    }
    void set(const std::string& key, const nlohmann::json& value) override {
        add("defaults.set " + key), settings.set(key, value);
    }
    void remove(const std::string& key) override { settings.remove(key); }
    void observeDisplayChanges(Handler h) override {
        add("loop.observeDisplayChanges"), displayChanged.push_back(h);
    }
    void observeTermination(Handler h) override {
        add("loop.observeTermination"), terminating.push_back(h);
    }
    bool start(Handlers) override {
        add("input.start");
        if (onInputStart) onInputStart();
        return true;
    }
    std::optional<double> secondsSinceLastKeyPress() override { return std::nullopt; }
    Status status() override { return Status::notRegistered; }
    bool registerApp(std::string&) override { return add("login.register"), true; }
    bool unregisterApp(std::string&) override { return true; }
    bool isTrusted() override { return add("perm.isTrusted"), trusted; }
    bool requestTrust() override { return add("perm.requestTrust"), trusted; }
    void openSettings() override {}
    void start() override { add("analytics.start"); }
    void trackEvent(const std::string& name, const nlohmann::json& props) override {
        if (name == "session_ended") add("analytics.session_ended " + props.dump());
    }
    void flush() override {
        add(fs::exists(dir / "Mavo/placements.json") ? "analytics.flush (placements on disk)"
                                                     : "analytics.flush (placements pending)");
    }

    void add(const std::string& entry) const {
        std::lock_guard<std::mutex> l(mutex);
        journal.push_back(entry);
    }
    std::vector<std::string> entries() const {
        std::lock_guard<std::mutex> l(mutex);
        return journal;
    }
    int count(const std::string& entry) const { return std::ranges::count(entries(), entry); }
    // Each step must come, and after the ones before it.
    void expectInOrder(std::initializer_list<std::string> steps) {
        auto all = entries();
        auto at = all.begin();
        for (const auto& step : steps)
            if ((at = std::find(at, all.end(), step)) == all.end())
                ADD_FAILURE() << step;
            else
                ++at;
    }
    static void fire(const std::vector<Handler>& handlers) {
        for (const auto& h : handlers) h();
    }

    void launch() {
        auto makeStatus = [this](const std::shared_ptr<MaximizeEngine>& engine) {
            add("status.create");
            statusEngine = engine;
            return nullptr;
        };
        AppServices services{ax,    *this, cache, *this, drag,      *this,
                             login, *this, store, *this, makeStatus};
        delegate = AppDelegate::create(
            {ax, workspace, cache, store, drag, *this, *this, clock, windows, "mavo"}, services);
        delegate->applicationDidFinishLaunching();
    }
    std::string diag() {
        Diag::drain();
        return test::readText(dir / "diag.log");
    }

    void SetUp() override { Diag::setPath((dir / "diag.log").string()); }
    void TearDown() override {
        delegate.reset();
        Diag::drain();
        Diag::setPath(Diag::defaultPath);
    }

    test::TempFolder tmp;
    fs::path dir = tmp.path;
    mutable std::mutex mutex;
    mutable std::vector<std::string> journal;
    test::FakeDisplaySource displays{{test::primary1080("MAIN")}};
    test::FakeUserDefaults settings;
    std::vector<Handler> displayChanged, terminating;
    std::function<void()> onInputStart;
    bool trusted = false;
    test::FakeWindowServer server;
    AX ax{server};
    ScreenCache cache{this};
    PlacementStore store{dir / "Mavo"};
    test::FakeClock clock;
    DragMonitor drag{clock};
    LoginItem login{*this, *this, [](const std::string&) {}};
    test::FakeWorkspace workspace;
    test::FakeWindowList windows;
    std::shared_ptr<MaximizeEngine> statusEngine;
    std::shared_ptr<AppDelegate> delegate;
};

TEST_F(AppDelegateTest, LaunchReachesEverySubsystemInOrderAndLogsEachScreenOnAnEmptiedLog) {
    std::ofstream(dir / "diag.log") << "a line from the previous run\n";
    ScreenInfo side = test::makeScreen({-1440, 0.1, 1440, 900}, "SIDE", 24.25);
    side.backingScale = 1.5;
    displays.setScreens({test::primary1080("MAIN"), side});
    launch();
    // The first read of an engine key marks the settings load; the screens are read once for the
    // cache and once for the log.
    expectInOrder({"screens", "screens", "loop.observeDisplayChanges", "input.start",
                   "defaults.set didApplyLoginItemDefault", "login.register",
                   "defaults.read excludedBundleIDs", "analytics.start", "status.create",
                   "perm.isTrusted", "perm.requestTrust", "loop.observeTermination"});
    EXPECT_EQ(statusEngine, delegate->engine());
    EXPECT_TRUE(diag().starts_with(
        "screen[0] frame=(0.0, 0.0, 1920.0, 1080.0) visible=(0.0, 0.0, 1920.0, 1055.0) scale=1.0\n"
        "screen[1] frame=(-1440.0, 0.1, 1440.0, 900.0) visible=(-1440.0, 0.1, 1440.0, 875.75) "
        "scale=1.5\n"))
        << diag();
    // Trust is asked for once, never waited on.
    for (int i = 0; i < 250 && delegate->engine()->tickCount() < 2; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GE(delegate->engine()->tickCount(), 2);
    EXPECT_EQ(count("perm.requestTrust"), 1);

    // With the delegate and its engine gone the screen cache still follows the displays, and
    // nothing else happens.
    std::weak_ptr<MaximizeEngine> engine = delegate->engine();
    statusEngine.reset();
    delegate.reset();
    EXPECT_TRUE(engine.expired());
    auto [before, logged] = std::pair(entries(), diag());
    displays.setScreens({test::primary1080("NEW")});
    fire(displayChanged);
    fire(terminating);
    EXPECT_EQ(cache.displays().at(0).uuid, "NEW");
    before.push_back("screens");
    EXPECT_EQ(entries(), before);
    EXPECT_EQ(diag(), logged);
}

TEST_F(AppDelegateTest, DisplayChangeRefreshesTheCacheThenStartsTheObservePeriod) {
    // The change arrives after the observer is installed but before the engine's timer starts.
    onInputStart = [this] {
        displays.setScreens(
            {test::primary1080("MAIN"), test::makeScreen({1920, 0, 800, 600}, "X")});
        fire(displayChanged);
    };
    launch();
    delegate->engine()->drain();
    EXPECT_EQ(cache.displays().size(), 2u);
    EXPECT_NE(diag().find("display reconfigure — observe-only for 1.2s"), std::string::npos);
}

// A tick over many slow windows (a busy server) is cut short at termination: the engine stops
// after the window it is on, and only then are the placements written and the analytics flushed.
TEST_F(AppDelegateTest, TerminationStopsALongTickThenWritesPlacementsThenFlushes) {
    trusted = true;
    workspace.addRunning({42, "com.example.editor", "Editor"});
    std::atomic<int> resized{0};
    auto slow = test::ResizeBehaviour::custom([&](const Rect& current, Size requested) {
        resized.fetch_add(1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return test::ResizeOutcome{true, makeRect(current.origin(), requested)};
    });
    std::vector<WindowHandle> docs(200);
    for (auto& w : docs) {
        w = server.addWindow(42, "Doc", {100, 100, 800, 600});
        server.setResizeBehaviour(w, slow);
    }
    launch();
    EXPECT_EQ(count("perm.requestTrust"), 0);
    delegate->engine()->reevaluateAll();
    while (resized.load() < 5) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    // Written 2 s later unless flushed.
    store.put("MAIN|com.example.editor|", PlacementRecord{"MAIN", {0.1, 0.1, 0.5, 0.5}, 1, {}, {}});
    int before = resized.load();
    fire(terminating);
    // The window being sized when termination came, and at most one that began meanwhile.
    EXPECT_LE(resized.load() - before, 2);
    delegate->engine()->tickAndWait(true);
    EXPECT_LE(resized.load() - before, 2);
    auto maximized = [&](auto w) { return server.frameOf(w) == Rect{0, 25, 1920, 1055}; };
    EXPECT_EQ(std::ranges::count_if(docs, maximized), resized.load());
    expectInOrder({R"(analytics.session_ended {"cannot_fill":0,"windows_maximized":)" +
                       std::to_string(resized.load()) + "}",
                   "analytics.flush (placements on disk)"});
    EXPECT_EQ(count("analytics.flush (placements pending)"), 0);
}

using Status = LoginService::Status;
using Lines = std::vector<std::string>;

// The test is the login service: it scripts its state and failures and records every change.
struct LoginItemTest : ::testing::Test, LoginService {
    Status status() override { return state; }
    bool registerApp(std::string& error) override {
        return change("register", Status::enabled, error);
    }
    bool unregisterApp(std::string& error) override {
        return change("unregister", Status::notRegistered, error);
    }
    bool change(const std::string& call, Status to, std::string& error) {
        calls.push_back(call);
        if (!failure.empty()) return error = failure, false;
        return state = to, true;
    }
    LoginItem item() {
        return LoginItem(*this, defaults, [this](const std::string& l) { log.push_back(l); });
    }

    Status state = Status::notRegistered;
    std::string failure;  // the reason every change fails with, if any
    Lines calls, log;
    test::FakeUserDefaults defaults;
};

// Launch at login is turned on once, on the first launch; later launches keep the user's choice,
// registering anew only what is on so that the entry follows the current program.
TEST_F(LoginItemTest, FirstLaunchTurnsItOnOnceAndLaterLaunchesKeepTheUsersChoice) {
    const std::string refused = "The operation couldn’t be completed.";
    for (auto [firstLaunch, before, why, registers, after] : {
             std::tuple{true, Status::notRegistered, std::string(), 1, Status::enabled},
             {true, Status::notRegistered, refused, 1, Status::notRegistered},
             // Switched off by the user, or the failed first launch: not retried.
             {false, Status::notRegistered, std::string(), 0, Status::notRegistered},
             {false, Status::enabled, std::string(), 1, Status::enabled},
             {false, Status::requiresApproval, std::string(), 0, Status::requiresApproval},
         }) {
        SCOPED_TRACE(testing::Message() << firstLaunch << " " << int(before) << " " << why);
        defaults.remove(LoginItem::appliedDefaultKey);
        if (!firstLaunch) defaults.set(LoginItem::appliedDefaultKey, true);
        state = before, failure = why, calls.clear(), log.clear();
        item().configureAtLaunch();
        EXPECT_TRUE(defaults.boolean(LoginItem::appliedDefaultKey));
        EXPECT_EQ(calls, Lines(registers, "register"));
        EXPECT_EQ(state, after);
        EXPECT_EQ(log, why.empty() ? Lines{} : Lines{"Mavo: login-item register failed: " + why});
    }
}

TEST_F(LoginItemTest, SwitchingCallsTheServiceOnlyForAChangeAndReportsFailures) {
    EXPECT_TRUE(item().setEnabled(false));  // not registered: nothing to do
    for (bool on : {true, false}) EXPECT_TRUE(item().toggle() && item().isEnabled() == on);
    EXPECT_EQ(calls, (Lines{"register", "unregister"}));

    state = Status::enabled, failure = "entry is read-only";
    EXPECT_FALSE(item().setEnabled(false));
    EXPECT_TRUE(item().isEnabled());
    EXPECT_EQ(log, Lines{"Mavo: login-item unregister failed: entry is read-only"});
    // Without a log of its own the line goes to standard error.
    state = Status::notRegistered;
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(LoginItem(*this, defaults).setEnabled(true));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Mavo: login-item register failed: entry is read-only\n");
}

}  // namespace
}  // namespace mavo

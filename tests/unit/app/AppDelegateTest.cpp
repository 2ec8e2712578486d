#include "app/AppDelegate.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/Diag.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeDisplaySource.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeWindowList.h"
#include "fakes/FakeWindowServer.h"
#include "fakes/FakeWorkspace.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;
using test::FakeClock;
using test::FakeDisplaySource;
using test::FakePermissions;
using test::FakeWindowList;
using test::FakeWindowServer;
using test::FakeWorkspace;

// Every collaborator below writes what it is asked into one journal, so the test can read the
// order in which the launch reached them.
class Journal {
  public:
    void add(std::string entry) {
        std::lock_guard<std::mutex> guard(mutex_);
        entries_.push_back(std::move(entry));
    }
    std::vector<std::string> entries() const {
        std::lock_guard<std::mutex> guard(mutex_);
        return entries_;
    }
    // Index of the first entry equal to `entry`, or -1.
    int indexOf(const std::string& entry) const {
        auto all = entries();
        for (size_t i = 0; i < all.size(); ++i)
            if (all[i] == entry) return static_cast<int>(i);
        return -1;
    }
    int count(const std::string& entry) const {
        auto all = entries();
        return static_cast<int>(std::count(all.begin(), all.end(), entry));
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
};

class JournalServer final : public WindowServer {
  public:
    JournalServer(FakeWindowServer& inner, Journal& journal) : inner_(inner), journal_(journal) {}
    std::optional<AttributeValue> copyAttribute(const WindowHandle& e,
                                                std::string_view a) override {
        return inner_.copyAttribute(e, a);
    }
    bool setPoint(const WindowHandle& e, std::string_view a, Point v) override {
        return inner_.setPoint(e, a, v);
    }
    bool setSize(const WindowHandle& e, std::string_view a, Size v) override {
        return inner_.setSize(e, a, v);
    }
    bool isSettable(const WindowHandle& e, std::string_view a) override {
        return inner_.isSettable(e, a);
    }
    std::optional<AttributeValue> applicationWindows(int32_t pid) override {
        return inner_.applicationWindows(pid);
    }
    std::optional<int32_t> pid(const WindowHandle& e) override { return inner_.pid(e); }
    void setGlobalMessagingTimeout(float seconds) override {
        journal_.add("ax.timeout " + std::to_string(seconds).substr(0, 4));
        inner_.setGlobalMessagingTimeout(seconds);
    }

  private:
    FakeWindowServer& inner_;
    Journal& journal_;
};

class JournalDisplays final : public DisplaySource {
  public:
    JournalDisplays(FakeDisplaySource& inner, Journal& journal)
        : inner_(inner), journal_(journal) {}
    std::vector<ScreenInfo> screens() override {
        journal_.add("screens");
        return inner_.screens();
    }

  private:
    FakeDisplaySource& inner_;
    Journal& journal_;
};

class JournalDefaults final : public UserDefaults {
  public:
    explicit JournalDefaults(Journal& journal) : journal_(journal) {}
    std::optional<nlohmann::json> object(const std::string& key) const override {
        journal_.add("defaults.read " + key);
        std::lock_guard<std::mutex> guard(mutex_);
        auto it = values_.find(key);
        if (it == values_.end()) return std::nullopt;
        return it->second;
    }
    void set(const std::string& key, const nlohmann::json& value) override {
        journal_.add("defaults.set " + key);
        std::lock_guard<std::mutex> guard(mutex_);
        values_[key] = value;
    }
    void remove(const std::string& key) override {
        std::lock_guard<std::mutex> guard(mutex_);
        values_.erase(key);
    }

  private:
    Journal& journal_;
    mutable std::mutex mutex_;
    std::map<std::string, nlohmann::json> values_;
};

// The shell's loop: hands the registered handlers to the test, which fires them itself.
class ManualLoop final : public ShellLoop {
  public:
    explicit ManualLoop(Journal& journal) : journal_(journal) {}
    void observeDisplayChanges(Handler handler) override {
        journal_.add("loop.observeDisplayChanges");
        displayHandlers.push_back(std::move(handler));
    }
    void observeTermination(Handler handler) override {
        journal_.add("loop.observeTermination");
        terminationHandlers.push_back(std::move(handler));
    }
    std::shared_ptr<RepeatingTimer> scheduleRepeating(double, Handler) override {
        return std::make_shared<RepeatingTimer>();
    }
    void displaysChanged() {
        for (auto& h : displayHandlers) h();
    }
    void terminate() {
        for (auto& h : terminationHandlers) h();
    }

    std::vector<Handler> displayHandlers;
    std::vector<Handler> terminationHandlers;

  private:
    Journal& journal_;
};

class JournalInput final : public InputSource {
  public:
    explicit JournalInput(Journal& journal) : journal_(journal) {}
    bool start(Handlers) override {
        journal_.add("input.start");
        if (onStart) onStart();
        return true;
    }
    std::optional<double> secondsSinceLastKeyPress() override { return std::nullopt; }
    std::function<void()> onStart;

  private:
    Journal& journal_;
};

class JournalLoginService final : public LoginService {
  public:
    explicit JournalLoginService(Journal& journal) : journal_(journal) {}
    Status status() override { return Status::notRegistered; }
    bool registerApp(std::string&) override {
        journal_.add("login.register");
        return true;
    }
    bool unregisterApp(std::string&) override { return true; }

  private:
    Journal& journal_;
};

class JournalPermissions final : public Permissions {
  public:
    JournalPermissions(FakePermissions& inner, Journal& journal)
        : inner_(inner), journal_(journal) {}
    bool isTrusted() override {
        journal_.add("perm.isTrusted");
        return inner_.isTrusted();
    }
    bool requestTrust() override {
        journal_.add("perm.requestTrust");
        return inner_.requestTrust();
    }
    void openSettings() override { inner_.openSettings(); }

  private:
    FakePermissions& inner_;
    Journal& journal_;
};

// Records events and flushes; at each flush it notes whether the placements had reached the disk.
class JournalAnalytics final : public AnalyticsControl {
  public:
    JournalAnalytics(Journal& journal, fs::path placementsFile)
        : journal_(journal), placementsFile_(std::move(placementsFile)) {}
    void start() override { journal_.add("analytics.start"); }
    void trackEvent(const std::string& name, const nlohmann::json& props) override {
        std::lock_guard<std::mutex> guard(mutex_);
        if (name == "session_ended") journal_.add("analytics.session_ended");
        events.emplace_back(name, props);
    }
    void flush() override {
        journal_.add(fs::exists(placementsFile_) ? "analytics.flush (placements on disk)"
                                                 : "analytics.flush (placements pending)");
    }
    std::vector<std::pair<std::string, nlohmann::json>> eventsNamed(const std::string& name) {
        std::lock_guard<std::mutex> guard(mutex_);
        std::vector<std::pair<std::string, nlohmann::json>> out;
        for (auto& e : events)
            if (e.first == name) out.push_back(e);
        return out;
    }

    std::vector<std::pair<std::string, nlohmann::json>> events;

  private:
    Journal& journal_;
    fs::path placementsFile_;
    std::mutex mutex_;
};

fs::path makeTempDir() {
    std::string tmpl = (fs::temp_directory_path() / "mavo-app-XXXXXX").string();
    return fs::path(::mkdtemp(tmpl.data()));
}

std::vector<std::string> readLines(const fs::path& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool contains(const std::vector<std::string>& lines, const std::string& needle) {
    for (const auto& l : lines)
        if (l.find(needle) != std::string::npos) return true;
    return false;
}

class AppDelegateTest : public ::testing::Test {
  protected:
    AppDelegateTest()
        : dir(makeTempDir()),
          server(fakeServer, journal),
          ax(server),
          displays(fakeDisplays, journal),
          screens(&displays),
          store(dir / "Mavo"),
          drag(clock),
          defaults(journal),
          loop(journal),
          input(journal),
          loginService(journal),
          loginItem(loginService, defaults, [](const std::string&) {}),
          permissions(fakePermissions, journal),
          analytics(journal, dir / "Mavo" / "placements.json") {
        Diag::setPath((dir / "diag.log").string());
        fakeDisplays.setScreens({test::primary1080("MAIN")});
    }

    ~AppDelegateTest() override {
        delegate.reset();
        Diag::drain();
        Diag::setPath(Diag::defaultPath);
        std::error_code ec;
        fs::remove_all(dir, ec);
    }

    void launch() {
        AppServices services{ax,        displays,    screens, loop,      drag, input,
                             loginItem, permissions, store,   analytics, {}};
        services.makeStatusController = [this](const std::shared_ptr<MaximizeEngine>& engine) {
            journal.add("status.create");
            statusEngine = engine;
            return std::shared_ptr<StatusItemController>();
        };
        EngineEnvironment env{ax,        workspace, screens, store,      drag,
                              analytics, defaults,  clock,   windowList, "mavo"};
        delegate = AppDelegate::create(env, services);
        delegate->applicationDidFinishLaunching();
    }

    std::vector<std::string> diagLines() {
        Diag::drain();
        return readLines(dir / "diag.log");
    }

    fs::path dir;
    Journal journal;
    FakeWindowServer fakeServer;
    JournalServer server;
    AX ax;
    FakeDisplaySource fakeDisplays;
    JournalDisplays displays;
    ScreenCache screens;
    PlacementStore store;
    FakeClock clock;
    DragMonitor drag;
    JournalDefaults defaults;
    ManualLoop loop;
    JournalInput input;
    JournalLoginService loginService;
    LoginItem loginItem;
    FakePermissions fakePermissions{false};
    JournalPermissions permissions;
    JournalAnalytics analytics;
    FakeWorkspace workspace;
    FakeWindowList windowList;
    std::shared_ptr<MaximizeEngine> statusEngine;
    std::shared_ptr<AppDelegate> delegate;
};

TEST_F(AppDelegateTest, LaunchReachesEverySubsystemInItsOrder) {
    launch();

    // The first read of an engine key marks the settings load.
    const std::vector<std::string> steps = {"ax.timeout 0.25",
                                            "screens",
                                            "loop.observeDisplayChanges",
                                            "input.start",
                                            "login.register",
                                            "defaults.read excludedBundleIDs",
                                            "analytics.start",
                                            "status.create",
                                            "perm.isTrusted",
                                            "perm.requestTrust",
                                            "loop.observeTermination"};
    int previous = -1;
    for (const auto& step : steps) {
        int at = journal.indexOf(step);
        ASSERT_GE(at, 0) << "never reached: " << step;
        EXPECT_GT(at, previous) << step << " came out of order";
        previous = at;
    }
    // The cache is filled first, then the screens are listed again for the log.
    EXPECT_EQ(journal.count("screens"), 2);
    EXPECT_LT(journal.indexOf("screens"), journal.indexOf("loop.observeDisplayChanges"));
    EXPECT_LT(journal.indexOf("defaults.set didApplyLoginItemDefault"),
              journal.indexOf("login.register"));

    EXPECT_EQ(statusEngine, delegate->engine());
    ASSERT_NE(delegate->updater(), nullptr);
    EXPECT_FALSE(delegate->updater()->checksInBackground());
    EXPECT_EQ(fakePermissions.requestTrustCount(), 1);
    EXPECT_EQ(screens.displays().size(), 1u);
}

TEST_F(AppDelegateTest, TheEngineTicksAfterLaunchEvenWithoutTrust) {
    launch();
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (delegate->engine()->tickCount() < 2 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_GE(delegate->engine()->tickCount(), 2);
    EXPECT_EQ(fakePermissions.requestTrustCount(), 1);  // asked once, not per tick
}

TEST_F(AppDelegateTest, TrustedProcessIsNotAskedAgain) {
    fakePermissions.setTrusted(true);
    launch();
    EXPECT_EQ(fakePermissions.requestTrustCount(), 0);
    EXPECT_GE(fakePermissions.isTrustedCount(), 1);
}

TEST_F(AppDelegateTest, LogIsEmptiedThenStartsWithOneLinePerScreen) {
    {
        std::ofstream old(dir / "diag.log");
        old << "a line from the previous run\n";
    }
    ScreenInfo side = test::rightOf(test::primary1080("MAIN"), 1440, 900, "SIDE", 24.5);
    side.backingScale = 2.0;
    fakeDisplays.setScreens({test::primary1080("MAIN"), side});
    launch();

    auto lines = diagLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0],
              "screen[0] frame=(0.0, 0.0, 1920.0, 1080.0) visible=(0.0, 0.0, 1920.0, 1055.0) "
              "scale=1.0");
    EXPECT_EQ(lines[1],
              "screen[1] frame=(1920.0, 0.0, 1440.0, 900.0) visible=(1920.0, 0.0, 1440.0, 875.5) "
              "scale=2.0");
    EXPECT_FALSE(contains(lines, "previous run"));
}

TEST_F(AppDelegateTest, NoScreensMeansNoScreenLinesButTheLaunchGoesOn) {
    fakeDisplays.setScreens({});
    launch();
    EXPECT_FALSE(contains(diagLines(), "screen["));
    EXPECT_NE(journal.indexOf("loop.observeTermination"), -1);
    EXPECT_NE(delegate->updater(), nullptr);
}

TEST_F(AppDelegateTest, ScreenLineNumbersAreShortestDecimals) {
    ScreenInfo s;
    s.frame = {-1920, 0.1, 1920, 1080};
    s.visibleFrame = {-1920, 0.1, 1919.75, 1e6};
    s.backingScale = 1.5;
    EXPECT_EQ(screenLine(3, s),
              "screen[3] frame=(-1920.0, 0.1, 1920.0, 1080.0) visible=(-1920.0, 0.1, 1919.75, "
              "1000000.0) scale=1.5");
    EXPECT_EQ(pointDecimal(0.0), "0.0");
    EXPECT_EQ(pointDecimal(2.0 / 3.0), "0.6666666666666666");
}

TEST_F(AppDelegateTest, DisplayChangeDuringLaunchRefreshesAndStartsTheObservePeriod) {
    // The change arrives after the observer is installed but before the engine's timer starts.
    input.onStart = [this] {
        fakeDisplays.setScreens(
            {test::primary1080("MAIN"), test::rightOf(test::primary1080("MAIN"), 2560, 1440, "X")});
        loop.displaysChanged();
    };
    launch();
    delegate->engine()->drain();

    EXPECT_EQ(screens.displays().size(), 2u);
    EXPECT_TRUE(contains(diagLines(), "display reconfigure — observe-only for 1.2s"));
}

TEST_F(AppDelegateTest, DisplayChangeAfterTheDelegateIsGoneStillRefreshesTheCache) {
    launch();
    std::weak_ptr<MaximizeEngine> engine = delegate->engine();
    statusEngine.reset();
    delegate.reset();
    EXPECT_TRUE(engine.expired());

    fakeDisplays.setScreens({test::primary1080("NEW")});
    loop.displaysChanged();
    ASSERT_EQ(screens.displays().size(), 1u);
    EXPECT_EQ(screens.displays()[0].uuid, "NEW");
    EXPECT_FALSE(contains(diagLines(), "observe-only"));
}

TEST_F(AppDelegateTest, TerminationReportsTheSessionWritesPlacementsThenFlushes) {
    fakePermissions.setTrusted(true);
    workspace.addRunning({42, "com.example.editor", "Editor"});
    WindowHandle w = fakeServer.addWindow(42, "Doc", {100, 100, 800, 600});
    launch();
    delegate->engine()->tickAndWait(true);
    EXPECT_EQ(fakeServer.frameOf(w), (Rect{0, 25, 1920, 1055}));

    PlacementRecord record;
    record.displayUUID = "MAIN";
    record.rel = {0.1, 0.1, 0.5, 0.5};
    store.put("MAIN|com.example.editor|", record);  // written 2 s later unless flushed
    EXPECT_EQ(analytics.eventsNamed("session_ended").size(), 0u);

    loop.terminate();

    auto ended = analytics.eventsNamed("session_ended");
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].second["windows_maximized"], 1);
    EXPECT_EQ(ended[0].second["cannot_fill"], 0);
    EXPECT_TRUE(ended[0].second["windows_maximized"].is_number_integer());
    EXPECT_LT(journal.indexOf("analytics.session_ended"),
              journal.indexOf("analytics.flush (placements on disk)"));
    EXPECT_EQ(journal.count("analytics.flush (placements pending)"), 0);
}

TEST_F(AppDelegateTest, TerminationAfterTheDelegateIsGoneDoesNothing) {
    launch();
    statusEngine.reset();
    delegate.reset();
    loop.terminate();
    EXPECT_TRUE(analytics.eventsNamed("session_ended").empty());
    EXPECT_EQ(journal.count("analytics.flush (placements on disk)") +
                  journal.count("analytics.flush (placements pending)"),
              0);
}

}  // namespace
}  // namespace mavo

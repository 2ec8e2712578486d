#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "TrayHost.h"

using namespace mavo::test;
namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> lines(const fs::path& p) {
    std::vector<std::string> out;
    std::ifstream in(p);
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

bool contains(const std::vector<std::string>& v, const std::string& s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

int countContaining(const std::vector<std::string>& v, const std::string& s) {
    return static_cast<int>(
        std::count_if(v.begin(), v.end(), [&](auto& l) { return l.find(s) != std::string::npos; }));
}

// One bus for the whole program: GLib keeps one session connection per process.
PrivateBus* sharedBus = nullptr;
PrivateBus& bus() {
    if (!sharedBus) sharedBus = new PrivateBus();
    return *sharedBus;
}

class BusEnvironment : public ::testing::Environment {
  public:
    void TearDown() override {
        delete sharedBus;
        sharedBus = nullptr;
    }
};
const auto* busEnvironment = ::testing::AddGlobalTestEnvironment(new BusEnvironment);

// The item side, Mavo's tray around a recording engine, in a child process.
class TrayFixture {
  public:
    TrayFixture() {
        char tmpl[] = "/tmp/mavo-tray-XXXXXX";
        dir = mkdtemp(tmpl);
        gchar** env = g_get_environ();
        env = g_environ_setenv(env, "TRAY_FIXTURE_LOG", log().c_str(), TRUE);
        env = g_environ_setenv(env, "TRAY_FIXTURE_DEFAULTS", defaults().c_str(), TRUE);
        env = g_environ_setenv(env, "TRAY_FIXTURE_DIAG", diag().c_str(), TRUE);
        env = g_environ_setenv(env, "TRAY_FIXTURE_POINTER", pointer().c_str(), TRUE);
        const gchar* argv[] = {MAVO_TRAY_FIXTURE, nullptr};
        GError* error = nullptr;
        if (!g_spawn_async(nullptr, const_cast<gchar**>(argv), env, G_SPAWN_DO_NOT_REAP_CHILD,
                           nullptr, nullptr, &pid, &error)) {
            ADD_FAILURE() << error->message;
            g_error_free(error);
        }
        g_strfreev(env);
        ready = pump([this] { return contains(lines(log()), "ready"); });
    }
    ~TrayFixture() {
        if (pid) {
            kill(pid, SIGTERM);
            waitFor(5);
        }
        fs::remove_all(dir);
    }

    fs::path log() const { return dir / "calls.log"; }
    fs::path defaults() const { return dir / "defaults.json"; }
    fs::path diag() const { return dir / "diag.log"; }
    fs::path pointer() const { return dir / "pointer"; }
    std::string busName() const {
        return "org.kde.StatusNotifierItem-" + std::to_string(pid) + "-1";
    }
    nlohmann::json settings() const {
        auto text = readFile(defaults());
        return text.empty() ? nlohmann::json::object() : nlohmann::json::parse(text);
    }
    void movePointer(double x, double y) const {
        std::ofstream(pointer()) << x << " " << y << "\n";
    }
    // The exit status once the child is gone, -1 while it runs on.
    int waitFor(double seconds) {
        int status = -1;
        pump(
            [&] {
                if (!pid) return true;
                if (waitpid(pid, &status, WNOHANG) == pid) {
                    pid = 0;
                    return true;
                }
                return false;
            },
            seconds);
        return pid ? -1 : (WIFEXITED(status) ? WEXITSTATUS(status) : 128);
    }
    bool logged(const std::string& line, double seconds = 3) {
        return pump([&] { return contains(lines(log()), line); }, seconds);
    }

    fs::path dir;
    GPid pid = 0;
    bool ready = false;
};

class TrayProtocolTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(bus().failure(), ""); }
};

TEST_F(TrayProtocolTest, WithoutATrayItSaysSoOnceAndRegistersWhenOneAppears) {
    TrayFixture mavo;
    ASSERT_TRUE(mavo.ready);
    ASSERT_TRUE(pump([&] { return countContaining(lines(mavo.diag()), "without an icon") > 0; }));
    pump([] { return false; }, 0.3);
    EXPECT_EQ(countContaining(lines(mavo.diag()), "without an icon"), 1);

    {
        TestWatcher tray;
        ASSERT_TRUE(tray.owned());
        ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }));
        EXPECT_EQ(tray.registrations[0].first, mavo.busName());
    }
    // The panel restarts: the item is registered again with the new one.
    TestWatcher again;
    ASSERT_TRUE(pump([&] { return !again.registrations.empty(); }));
    EXPECT_EQ(again.registrations[0].first, mavo.busName());
}

TEST_F(TrayProtocolTest, HostReadsTheItemAndItsMenu) {
    TestWatcher tray;
    TrayFixture mavo;
    ASSERT_TRUE(mavo.ready);
    ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }));
    EXPECT_EQ(countContaining(lines(mavo.diag()), "without an icon"), 0);

    ItemView item(mavo.busName());
    EXPECT_EQ(item.stringProperty("Id"), "mavo");
    EXPECT_EQ(item.stringProperty("Title"), "Mavo");
    EXPECT_EQ(item.stringProperty("Category"), "ApplicationStatus");
    EXPECT_EQ(item.stringProperty("Status"), "Active");
    EXPECT_EQ(item.stringProperty("IconName"), "mavo");
    EXPECT_EQ(item.stringProperty("AttentionIconName"), "dialog-warning");
    EXPECT_EQ(item.stringProperty("Menu"), "/MenuBar");
    auto themePath = item.stringProperty("IconThemePath");
    ASSERT_TRUE(themePath);
    EXPECT_TRUE(fs::exists(fs::path(*themePath) / "hicolor/scalable/apps/mavo.svg")) << *themePath;
    EXPECT_TRUE(fs::exists(fs::path(*themePath) / "hicolor/scalable/apps/mavo-paused.svg"));
    GVariant* isMenu = item.property("ItemIsMenu");
    ASSERT_NE(isMenu, nullptr);
    EXPECT_TRUE(g_variant_get_boolean(isMenu));
    g_variant_unref(isMenu);
    GVariant* tip = item.property("ToolTip");
    ASSERT_NE(tip, nullptr);
    const gchar* tipTitle = nullptr;
    g_variant_get_child(tip, 2, "&s", &tipTitle);
    EXPECT_STREQ(tipTitle, "Mavo: auto-maximize windows");
    g_variant_unref(tip);

    ASSERT_TRUE(item.openMenuClient());
    ASSERT_TRUE(item.aboutToShow());
    EXPECT_EQ(item.labels(), (std::vector<std::string>{
                                 "Mavo: active",
                                 "Keeps your app windows maximized, except ones you’ve snapped.",
                                 "2 windows can’t be maximized",
                                 "---",
                                 "Pause",
                                 "Maximize All Windows Now",
                                 "---",
                                 "Don’t Manage “Editor”",
                                 "Top-Center “Editor”",
                                 "Always Maximize “Editor”",
                                 "Excluded Apps",
                                 "---",
                                 "Launch at Login",
                                 "Hide Icon Until Hover",
                                 "Show/hide delay: 0s",
                                 "Smaller Windows Top Centered",
                                 "Focus-Size on Large Displays",
                                 "---",
                                 "Mavo 9.8.7",
                                 "Quit Mavo",
                             }));
    auto enabled = [](DbusmenuMenuitem* mi) {
        return dbusmenu_menuitem_property_get_bool(mi, DBUSMENU_MENUITEM_PROP_ENABLED);
    };
    auto toggleType = [](DbusmenuMenuitem* mi) {
        const gchar* t = dbusmenu_menuitem_property_get(mi, DBUSMENU_MENUITEM_PROP_TOGGLE_TYPE);
        return std::string(t ? t : "");
    };
    auto toggleState = [](DbusmenuMenuitem* mi) {
        return dbusmenu_menuitem_property_get_int(mi, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE);
    };
    EXPECT_FALSE(enabled(item.find("Mavo: active")));
    EXPECT_FALSE(enabled(item.find("Mavo 9.8.7")));
    EXPECT_TRUE(enabled(item.find("Pause")));
    EXPECT_EQ(toggleType(item.find("Launch at Login")), "checkmark");
    EXPECT_EQ(toggleState(item.find("Launch at Login")), 0);
    EXPECT_EQ(toggleType(item.find("Don’t Manage “Editor”")), "");

    DbusmenuMenuitem* excluded = item.find("Excluded Apps");
    ASSERT_NE(excluded, nullptr);
    EXPECT_EQ(item.labels(excluded),
              (std::vector<std::string>{"org.example.Alpha", "org.example.Zeta"}));
    for (const char* name : {"org.example.Alpha", "org.example.Zeta"})
        EXPECT_EQ(toggleState(item.find(name, excluded)), 1) << name;

    DbusmenuMenuitem* delay = item.find("Show/hide delay: 0s");
    ASSERT_NE(delay, nullptr);
    std::vector<std::string> seconds;
    for (int s = 0; s <= 10; ++s) seconds.push_back(std::to_string(s) + "s");
    EXPECT_EQ(item.labels(delay), seconds);
    for (int s = 0; s <= 10; ++s) {
        DbusmenuMenuitem* choice = item.find(seconds[s], delay);
        EXPECT_EQ(toggleType(choice), "radio");
        EXPECT_EQ(toggleState(choice), s == 0 ? 1 : 0) << s;
    }
}

TEST_F(TrayProtocolTest, ClicksReachTheEngineAndTheMenuFollowsTheState) {
    TestWatcher tray;
    TrayFixture mavo;
    ASSERT_TRUE(mavo.ready);
    ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }));
    ItemView item(mavo.busName());
    ASSERT_TRUE(item.openMenuClient());
    ASSERT_TRUE(item.aboutToShow());

    item.click(item.find("Pause"));
    ASSERT_TRUE(mavo.logged("event:app_paused"));
    auto calls = lines(mavo.log());
    EXPECT_TRUE(contains(calls, "engine:setPaused(true)"));
    EXPECT_TRUE(contains(calls, "engine:persistPaused"));
    EXPECT_TRUE(pump([&] { return item.stringProperty("IconName") == "mavo-paused"; }));
    EXPECT_TRUE(pump([&] { return contains(item.signals, "NewIcon"); }));

    // The next opening shows the new state.
    ASSERT_TRUE(item.aboutToShow());
    EXPECT_EQ(item.labels()[0], "Mavo: paused");
    ASSERT_NE(item.find("Resume"), nullptr);
    EXPECT_EQ(item.find("Pause"), nullptr);

    item.click(item.find("Maximize All Windows Now"));
    EXPECT_TRUE(mavo.logged("engine:maximizeAllNow"));
    EXPECT_TRUE(mavo.logged("event:maximize_all_now"));

    // A whole-second choice lands in the settings file and in the open menu's label.
    item.click(item.find("3s", item.find("Show/hide delay: 0s")));
    EXPECT_TRUE(pump([&] { return mavo.settings().value("unhideDelay", -1.0) == 3.0; }));
    EXPECT_TRUE(pump([&] { return item.find("Show/hide delay: 3s") != nullptr; }));

    // Labels do nothing even when a host clicks them.
    const size_t before = lines(mavo.log()).size();
    item.click(item.find("Mavo: paused"));
    pump([] { return false; }, 0.3);
    EXPECT_EQ(lines(mavo.log()).size(), before);

    item.click(item.find("Quit Mavo"));
    EXPECT_EQ(mavo.waitFor(5), 0);
    EXPECT_TRUE(contains(lines(mavo.log()), "quit"));
}

TEST_F(TrayProtocolTest, AutoHideDrivesTheItemStatusAndTheOpenMenuKeepsItShown) {
    TestWatcher tray;
    TrayFixture mavo;
    ASSERT_TRUE(mavo.ready);
    ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }));
    ItemView item(mavo.busName());
    ASSERT_TRUE(item.openMenuClient());
    ASSERT_TRUE(item.aboutToShow());
    mavo.movePointer(500, 400);

    item.click(item.find("Hide Icon Until Hover"));
    EXPECT_TRUE(pump([&] { return mavo.settings().value("autoHideIcon", false); }));
    ASSERT_TRUE(pump([&] { return item.stringProperty("Status") == "Passive"; }));
    EXPECT_TRUE(pump([&] { return contains(item.signals, "NewStatus:Passive"); }));

    mavo.movePointer(500, 1060);  // inside the top band of the 1080-point screen
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Active"; }));
    mavo.movePointer(500, 1040);  // just below it
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Passive"; }));

    item.sendEvent(item.root(), DBUSMENU_MENUITEM_EVENT_OPENED);
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Active"; }));
    pump([] { return false; }, 1.2);  // a housekeeping tick passes with the pointer away
    EXPECT_EQ(item.stringProperty("Status"), "Active");
    item.sendEvent(item.root(), DBUSMENU_MENUITEM_EVENT_CLOSED);
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Passive"; }));

    // Turning the option off shows the icon at once.
    ASSERT_TRUE(item.aboutToShow());
    item.click(item.find("Hide Icon Until Hover"));
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Active"; }));
}

}  // namespace

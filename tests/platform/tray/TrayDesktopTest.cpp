// The real `mavo` program on a private X desktop (Xvfb + Openbox) and a private session bus,
// with the tests' own tray: the menu drives the real engine and settings file, and the pointer,
// moved with xdotool, shows and hides the icon.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "../x11/TestDesktop.h"
#include "TrayHost.h"

using namespace mavo::test;
namespace fs = std::filesystem;

namespace {

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

std::string readFile(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// One run of `mavo` on the desktop, with its settings, data and log in a folder of its own.
class MavoProcess {
  public:
    MavoProcess(const TestDesktop& desktop, const nlohmann::json& settings) {
        char tmpl[] = "/tmp/mavo-traydesk-XXXXXX";
        dir = mkdtemp(tmpl);
        fs::create_directories(dir / "config/mavo");
        if (!settings.empty()) std::ofstream(dir / "config/mavo/defaults.json") << settings.dump();
        gchar** env = g_get_environ();
        env = g_environ_setenv(env, "DISPLAY", desktop.display().c_str(), TRUE);
        env = g_environ_setenv(env, "XDG_CONFIG_HOME", (dir / "config").c_str(), TRUE);
        env = g_environ_setenv(env, "XDG_DATA_HOME", (dir / "data").c_str(), TRUE);
        env = g_environ_setenv(env, "MAVO_DIAG_LOG", diag().c_str(), TRUE);
        env = g_environ_unsetenv(env, "WAYLAND_DISPLAY");
        const gchar* argv[] = {MAVO_PROGRAM, nullptr};
        GError* error = nullptr;
        if (!g_spawn_async(nullptr, const_cast<gchar**>(argv), env, G_SPAWN_DO_NOT_REAP_CHILD,
                           nullptr, nullptr, &pid, &error)) {
            ADD_FAILURE() << error->message;
            g_error_free(error);
        }
        g_strfreev(env);
    }
    ~MavoProcess() {
        if (pid) {
            kill(pid, SIGTERM);
            int status;
            pump([&] { return waitpid(pid, &status, WNOHANG) == pid; }, 5);
        }
        fs::remove_all(dir);
    }
    fs::path diag() const { return dir / "mavo-diag.log"; }
    nlohmann::json settings() const {
        auto text = readFile(dir / "config/mavo/defaults.json");
        return text.empty() ? nlohmann::json::object() : nlohmann::json::parse(text);
    }
    std::string busName() const {
        return "org.kde.StatusNotifierItem-" + std::to_string(pid) + "-1";
    }

    fs::path dir;
    GPid pid = 0;
};

class TrayDesktopTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(bus().failure(), "");
        desktop = std::make_unique<TestDesktop>(TestDesktop::Options{});
        ASSERT_EQ(desktop->failure(), "");
    }
    void move(int x, int y) {
        ASSERT_EQ(desktop->run({"xdotool", "mousemove", std::to_string(x), std::to_string(y)}), 0);
    }
    std::unique_ptr<TestDesktop> desktop;
};

TEST_F(TrayDesktopTest, MenuPausesTheRealEngineAndMaximizeAllForcesAPass) {
    TestWatcher tray;
    MavoProcess mavo(*desktop, nlohmann::json::object());
    ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }, 10));
    EXPECT_EQ(tray.registrations[0].first, mavo.busName());

    ItemView item(mavo.busName());
    ASSERT_TRUE(item.openMenuClient());
    ASSERT_TRUE(item.aboutToShow());
    ASSERT_NE(item.find("Pause"), nullptr);
    item.click(item.find("Pause"));
    ASSERT_TRUE(pump([&] { return mavo.settings().value("paused", false); }));
    EXPECT_TRUE(pump([&] { return item.stringProperty("IconName") == "mavo-paused"; }));

    // Paused, the engine leaves a new window as it is...
    auto client = desktop->startClient(
        {"--title", "Notes", "--class", "TrayNotes", "--geometry", "400x300+100+100"});
    ASSERT_TRUE(client);
    pump([] { return false; }, 2.0);
    auto frame = desktop->frameWindowGeometry(client->window);
    ASSERT_TRUE(frame);
    EXPECT_LT((*frame)[2], 1000);

    // ...and the menu, rebuilt for this opening, names the frontmost application.
    ASSERT_TRUE(item.aboutToShow());
    EXPECT_EQ(item.labels()[0], "Mavo: paused");
    bool namesFrontmost = false;
    for (const auto& l : item.labels()) namesFrontmost |= l.rfind("Don’t Manage “", 0) == 0;
    EXPECT_TRUE(namesFrontmost);

    // A forced pass runs even while paused.
    item.click(item.find("Maximize All Windows Now"));
    EXPECT_TRUE(pump(
        [&] {
            auto f = desktop->frameWindowGeometry(client->window);
            return f && (*f)[2] == 1920;
        },
        5));
    EXPECT_TRUE(mavo.settings().value("paused", false));
}

TEST_F(TrayDesktopTest, PointerInTheTopBandShowsTheIconAndLeavingHidesIt) {
    TestWatcher tray;
    move(800, 600);
    MavoProcess mavo(*desktop, {{"autoHideIcon", true}, {"unhideDelay", 0}});
    ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }, 10));
    ItemView item(mavo.busName());
    ASSERT_TRUE(pump([&] { return item.stringProperty("Status") == "Passive"; }));

    move(800, 5);
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Active"; }));
    // 24 points of band plus 2: y = 25 from the top is in, 40 is out.
    move(300, 25);
    pump([] { return false; }, 0.4);
    EXPECT_EQ(item.stringProperty("Status"), "Active");
    move(300, 40);
    EXPECT_TRUE(pump([&] { return item.stringProperty("Status") == "Passive"; }));
    EXPECT_TRUE(pump([&] {
        return std::count(item.signals.begin(), item.signals.end(), "NewStatus:Active") == 1;
    }));
}

}  // namespace

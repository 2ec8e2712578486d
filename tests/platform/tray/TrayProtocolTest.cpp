#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "TrayHost.h"

using namespace mavo::test;
namespace fs = std::filesystem;
using Rows = std::vector<std::string>;

namespace {

// The item side, Mavo's tray around a recording engine (TrayFixture.cpp), in a child process.
class TrayFixture {
  public:
    TrayFixture() {
        char pattern[] = "/tmp/mavo-tray-XXXXXX";
        dir = mkdtemp(pattern);
        gchar** env = g_environ_setenv(g_get_environ(), "TRAY_FIXTURE_DIR", dir.c_str(), TRUE);
        const gchar* argv[] = {MAVO_TRAY_FIXTURE, nullptr};
        EXPECT_TRUE(g_spawn_async(nullptr, const_cast<gchar**>(argv), env,
                                  G_SPAWN_DO_NOT_REAP_CHILD, nullptr, nullptr, &pid, nullptr));
        g_strfreev(env);
        EXPECT_TRUE(logged("ready"));
    }
    ~TrayFixture() {
        if (pid) kill(pid, SIGTERM), waitFor(5);
        fs::remove_all(dir);
    }
    std::string busName() const {
        return "org.kde.StatusNotifierItem-" + std::to_string(pid) + "-1";
    }
    Rows lines(const char* file = "calls.log") const {
        Rows out;
        std::ifstream in(dir / file);
        for (std::string l; std::getline(in, l);) out.push_back(l);
        return out;
    }
    bool logged(const std::string& line, double seconds = 3) const {
        return pump([&] { return std::ranges::count(lines(), line) > 0; }, seconds);
    }
    int diagLinesWith(const std::string& text) const {
        return std::ranges::count_if(lines("diag.log"),
                                     [&](auto& l) { return l.find(text) != std::string::npos; });
    }
    nlohmann::json settings() const {
        auto j = nlohmann::json::parse(std::ifstream(dir / "defaults.json"), nullptr, false);
        return j.is_object() ? j : nlohmann::json::object();  // absent or half written
    }
    void movePointer(double x, double y) const { std::ofstream(dir / "pointer") << x << " " << y; }
    // The exit status once the child is gone, -1 while it runs on.
    int waitFor(double seconds) {
        int status = 0;
        if (!pump([&] { return waitpid(pid, &status, WNOHANG) == pid; }, seconds)) return -1;
        pid = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    fs::path dir;
    GPid pid = 0;
};

// A panel and Mavo's item with its menu prepared for showing.
struct Connected {
    TestWatcher tray;
    TrayFixture mavo;
    ItemView item{mavo.busName()};
    Connected() {
        EXPECT_TRUE(pump([&] { return !tray.registrations.empty(); }));
        EXPECT_TRUE(item.aboutToShow());
    }
};

TEST(TrayProtocol, WithoutATrayItSaysSoOnceAndRegistersWhenOneAppears) {
    TrayFixture mavo;
    ASSERT_TRUE(pump([&] { return mavo.diagLinesWith("without an icon") > 0; }));
    pumpFor(0.3);
    EXPECT_EQ(mavo.diagLinesWith("without an icon"), 1);
    for (int panel = 0; panel < 2; ++panel) {  // registered again when the panel restarts
        TestWatcher tray;
        ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); })) << panel;
        EXPECT_EQ(tray.registrations[0], mavo.busName());
    }
}

TEST(TrayProtocol, HostReadsTheItemAndItsMenuAndClicksReachTheEngine) {
    Connected c;
    auto& item = c.item;
    EXPECT_EQ(c.mavo.diagLinesWith("without an icon"), 0);
    for (auto [name, value] :
         {std::pair{"Id", "mavo"},
          {"Title", "Mavo"},
          {"Category", "ApplicationStatus"},
          {"Status", "Active"},
          {"IconName", "com.quastorn.mavo-symbolic"},
          {"AttentionIconName", "dialog-warning"},
          {"Menu", "/MenuBar"},
          {"ItemIsMenu", "true"},
          {"ToolTip", "('com.quastorn.mavo-symbolic', [], 'Mavo: auto-maximize windows', '')"}})
        EXPECT_EQ(item.property(name), value) << name;
    fs::path theme = item.property("IconThemePath").value_or("");
    for (const char* icon :
         {"com.quastorn.mavo-symbolic.svg", "com.quastorn.mavo-paused-symbolic.svg"})
        EXPECT_TRUE(fs::exists(theme / "hicolor/symbolic/apps" / icon)) << theme << icon;

    EXPECT_EQ(item.rows(),
              (Rows{"Mavo: active (off)",
                    "Keeps your app windows maximized, except ones you’ve snapped. (off)",
                    "2 windows can’t be maximized (off)",
                    "---",
                    "Pause",
                    "Maximize All Windows Now",
                    "---",
                    "Don’t Manage “Editor”",
                    "Top-Center “Editor” [ ]",
                    "Always Maximize “Editor” [ ]",
                    "Excluded Apps >",
                    "Remembered Placements >",
                    "---",
                    "Launch at Login [ ]",
                    "Hide Icon Until Hover [ ]",
                    "Show/hide delay: 0s >",
                    "Smaller Windows Top Centered [ ]",
                    "Focus-Size on Large Displays [ ]",
                    "---",
                    "Show Diagnostic Log",
                    "Mavo 9.8.7 (off)",
                    "Quit Mavo"}));
    EXPECT_EQ(item.rows(item.find("Excluded Apps")),
              (Rows{"org.example.Alpha [x]", "org.example.Zeta [x]"}));
    EXPECT_EQ(item.rows(item.find("Remembered Placements")),
              (Rows{"Editor — notes", "---", "Forget All"}));
    Rows seconds{"0s (x)"};  // the slider becomes whole-second radio items
    for (int s = 1; s <= 10; ++s) seconds.push_back(std::to_string(s) + "s ( )");
    EXPECT_EQ(item.rows(item.find("Show/hide delay: 0s")), seconds);

    item.send(item.find("Pause"));
    ASSERT_TRUE(c.mavo.logged("event:app_paused"));
    EXPECT_EQ(c.mavo.lines(), (Rows{"ready", "engine:setPaused(true)", "engine:persistPaused",
                                    "event:app_paused"}));
    EXPECT_TRUE(item.becomes("IconName", "com.quastorn.mavo-paused-symbolic"));
    EXPECT_TRUE(pump([&] { return std::ranges::count(item.signals, "NewIcon") > 0; }));
    // The next opening shows the new state.
    ASSERT_TRUE(item.aboutToShow());
    EXPECT_EQ(item.rows()[0], "Mavo: paused (off)");
    EXPECT_EQ(item.rows()[3], "Resume");

    // A whole-second choice lands in the settings file and in the open menu's label.
    item.send(item.find("3s", item.find("Show/hide delay: 0s")));
    EXPECT_TRUE(pump([&] { return c.mavo.settings().value("unhideDelay", -1.0) == 3.0; }));
    EXPECT_TRUE(pump([&] { return item.find("Show/hide delay: 3s") != nullptr; }));

    // Labels do nothing even when a host clicks them.
    const size_t before = c.mavo.lines().size();
    item.send(item.find("Mavo: paused"));
    pumpFor(0.3);
    EXPECT_EQ(c.mavo.lines().size(), before);

    item.send(item.find("Show Diagnostic Log"));
    EXPECT_TRUE(c.mavo.logged("showLog"));
    item.send(item.find("Editor — notes", item.find("Remembered Placements")));
    ASSERT_TRUE(item.aboutToShow());
    EXPECT_EQ(item.rows(item.find("Remembered Placements"))[0], "None on These Displays (off)");

    item.send(item.find("Quit Mavo"));
    EXPECT_EQ(c.mavo.waitFor(5), 0);
    EXPECT_EQ(c.mavo.lines().back(), "quit");
}

TEST(TrayProtocol, AutoHideDrivesTheItemStatusAndTheOpenMenuKeepsItShown) {
    Connected c;
    c.mavo.movePointer(500, 400);
    c.item.send(c.item.find("Hide Icon Until Hover"));
    EXPECT_TRUE(pump([&] { return c.mavo.settings().value("autoHideIcon", false); }));
    ASSERT_TRUE(c.item.becomes("Status", "Passive"));
    EXPECT_TRUE(pump([&] { return std::ranges::count(c.item.signals, "NewStatus:Passive"); }));

    c.mavo.movePointer(500, 1060);  // inside the top band of the 1080-point screen
    EXPECT_TRUE(c.item.becomes("Status", "Active"));
    c.mavo.movePointer(500, 1040);  // just below it
    EXPECT_TRUE(c.item.becomes("Status", "Passive"));

    c.item.send(c.item.root(), DBUSMENU_MENUITEM_EVENT_OPENED);
    EXPECT_TRUE(c.item.becomes("Status", "Active"));
    pumpFor(1.2);  // a housekeeping tick passes with the pointer away
    EXPECT_EQ(c.item.property("Status"), "Active");
    c.item.send(c.item.root(), DBUSMENU_MENUITEM_EVENT_CLOSED);
    EXPECT_TRUE(c.item.becomes("Status", "Passive"));
}

}  // namespace

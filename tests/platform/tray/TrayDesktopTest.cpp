// The real `mavo` program on a private desktop and session bus, with a tray of the tests' own
// that a panel's host would be: what it reads off the item and its menu, and what its clicks and
// the pointer do to the real engine and settings file.

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "TrayHost.h"
#include "support/TestDesktop.h"

namespace mavo::test {
namespace {

namespace fs = std::filesystem;
using Rows = std::vector<std::string>;

auto* sessionBus = static_cast<SessionBus*>(::testing::AddGlobalTestEnvironment(new SessionBus));

bool contains(const Rows& rows, const std::string& row) {
    return std::ranges::find(rows, row) != rows.end();
}

TEST(TrayDesktop, HostReadsTheItemAndMenuWhileThePointerAndClicksDriveTheRealProgram) {
    TestDesktop desktop;
    ASSERT_EQ(desktop.failure(), "");
    const fs::path defaults = desktop.home() / "config/mavo/defaults.json",
                   diag = desktop.home() / "diag.log";
    fs::create_directories(defaults.parent_path());
    std::ofstream(defaults) << R"({"autoHideIcon": true, "unhideDelay": 0})";
    auto settings = [&] {
        auto j = nlohmann::json::parse(std::ifstream(defaults), nullptr, false);
        return j.is_object() ? j : nlohmann::json::object();  // half written
    };
    auto diagLines = [&](const std::string& text) {
        std::ifstream in(diag);
        int n = 0;
        for (std::string line; std::getline(in, line);) n += line.find(text) != std::string::npos;
        return n;
    };
    ASSERT_TRUE(desktop.xdotool("mousemove 800 600"));
    pid_t mavo = desktop.spawn({MAVO_PROGRAM}, {"DBUS_SESSION_BUS_ADDRESS=" + sessionBus->address,
                                                "MAVO_DIAG_LOG=" + diag.string()});
    const std::string name = "org.kde.StatusNotifierItem-" + std::to_string(mavo) + "-1";

    // No panel yet: said once; then registered with each panel that appears.
    ASSERT_TRUE(pump([&] { return diagLines("without an icon") > 0; }, 10));
    pumpFor(0.3);
    EXPECT_EQ(diagLines("without an icon"), 1);
    std::optional<TestWatcher> tray;
    for (int panel = 0; panel < 2; ++panel) {
        tray.reset();
        tray.emplace();
        ASSERT_TRUE(pump([&] { return !tray->registrations.empty(); })) << panel;
        EXPECT_EQ(tray->registrations[0], name);
    }
    ItemView item(name);
    for (auto [property, value] :
         {std::pair{"Id", "mavo"},
          {"Title", "Mavo"},
          {"Category", "ApplicationStatus"},
          {"IconName", "com.quastorn.mavo-symbolic"},
          {"AttentionIconName", "dialog-warning"},
          {"Menu", "/MenuBar"},
          {"ItemIsMenu", "true"},
          {"ToolTip", "('com.quastorn.mavo-symbolic', [], 'Mavo: auto-maximize windows', '')"}})
        EXPECT_EQ(item.property(property), value) << property;
    fs::path theme = item.property("IconThemePath").value_or("");
    for (const char* icon :
         {"com.quastorn.mavo-symbolic.svg", "com.quastorn.mavo-paused-symbolic.svg"})
        EXPECT_TRUE(fs::exists(theme / "hicolor/symbolic/apps" / icon)) << theme << icon;
    EXPECT_EQ(item.property("TrayPresent", "/com/quastorn/mavo", "com.quastorn.mavo.Control"),
              "true");

    // Hidden until the pointer is in the band: 24 points plus 2 below the top edge.
    ASSERT_TRUE(item.becomes("Status", "Passive"));
    ASSERT_TRUE(desktop.xdotool("mousemove 800 5"));
    EXPECT_TRUE(item.becomes("Status", "Active"));
    ASSERT_TRUE(desktop.xdotool("mousemove 300 25"));
    pumpFor(0.4);
    EXPECT_EQ(item.property("Status"), "Active");
    ASSERT_TRUE(desktop.xdotool("mousemove 300 40"));
    EXPECT_TRUE(item.becomes("Status", "Passive"));
    EXPECT_EQ(std::ranges::count(item.signals, "NewStatus:Active"), 1);
    // An open menu keeps the icon shown past a housekeeping tick with the pointer away.
    MenuNode menu = item.menu(true);
    item.send(menu, "opened");
    EXPECT_TRUE(item.becomes("Status", "Active"));
    pumpFor(1.2);
    EXPECT_EQ(item.property("Status"), "Active");
    item.send(menu, "closed");
    EXPECT_TRUE(item.becomes("Status", "Passive"));

    Rows rows = menu.rows();
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0], "Mavo: active (off)");
    for (const char* row : {"---", "Pause", "Hide Icon Until Hover [x]", "Show/hide delay: 0s >"})
        EXPECT_TRUE(contains(rows, row)) << row;
    Rows seconds{"0s (x)"};  // the slider becomes whole-second radio items
    for (int s = 1; s <= 10; ++s) seconds.push_back(std::to_string(s) + "s ( )");
    EXPECT_EQ(menu["Show/hide delay: 0s"].rows(), seconds);

    item.send(menu["Pause"]);
    ASSERT_TRUE(pump([&] { return settings().value("paused", false); }));
    EXPECT_TRUE(item.becomes("IconName", "com.quastorn.mavo-paused-symbolic"));
    EXPECT_TRUE(pump([&] { return std::ranges::count(item.signals, "NewIcon") > 0; }));
    // Paused, the engine leaves a new window as it is...
    auto client = desktop.startClient(
        {"--title", "Notes", "--class", "TrayNotes", "--geometry", "400x300+100+100"});
    ASSERT_TRUE(client);
    pumpFor(2.0);
    EXPECT_LT(desktop.frame(client->window)->width, 1000);
    // ...and the menu, rebuilt for this opening, says so and names the frontmost application.
    menu = item.menu(true);
    rows = menu.rows();
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0], "Mavo: paused (off)");
    EXPECT_TRUE(contains(rows, "Resume"));
    EXPECT_TRUE(std::ranges::any_of(rows, [](auto& r) { return r.starts_with("Don’t Manage “"); }));
    // A forced pass runs even while paused.
    item.send(menu["Maximize All Windows Now"]);
    EXPECT_TRUE(pump([&] { return desktop.frame(client->window)->width == 1920; }));
    EXPECT_TRUE(settings().value("paused", false));

    // A whole-second choice lands in the settings file and in the open menu's label.
    item.send(menu["Show/hide delay: 0s"]["3s"]);
    EXPECT_TRUE(pump([&] { return settings().value("unhideDelay", -1.0) == 3.0; }));
    EXPECT_TRUE(pump([&] { return item.menu()["Show/hide delay: 3s"].id >= 0; }));

    item.send(item.menu()["Quit Mavo"]);
    std::optional<int> status;
    EXPECT_TRUE(pump([&] { return (status = desktop.waitExit(mavo, 0.05)).has_value(); }));
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace mavo::test

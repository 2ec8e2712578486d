// The real `mavo` program on a private desktop and session bus with the tests' own tray: the
// menu drives the real engine and settings file, and the pointer shows and hides the icon.

#include <gtest/gtest.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "TrayHost.h"
#include "support/TestDesktop.h"

namespace mavo::test {
namespace {

TEST(TrayDesktop, PointerShowsTheIconAndTheMenuPausesTheRealEngineAndForcesAPass) {
    TestDesktop desktop;
    ASSERT_EQ(desktop.failure(), "");
    auto defaults = desktop.home() / "config/mavo/defaults.json";
    std::filesystem::create_directories(defaults.parent_path());
    std::ofstream(defaults) << R"({"autoHideIcon": true, "unhideDelay": 0})";
    auto settings = [&] {
        auto j = nlohmann::json::parse(std::ifstream(defaults), nullptr, false);
        return j.is_object() ? j : nlohmann::json::object();  // half written
    };
    TestWatcher tray;
    ASSERT_TRUE(desktop.xdotool("mousemove 800 600"));
    pid_t mavo = desktop.spawn({MAVO_PROGRAM}, {"DBUS_SESSION_BUS_ADDRESS=" + sessionBusAddress()});
    ItemView item("org.kde.StatusNotifierItem-" + std::to_string(mavo) + "-1");
    ASSERT_TRUE(pump([&] { return !tray.registrations.empty(); }, 10));
    ASSERT_TRUE(item.becomes("Status", "Passive"));
    // Its remote control knows a tray took the item.
    ItemView control("com.quastorn.mavo");
    EXPECT_TRUE(pump([&] {
        return control.property("TrayPresent", "/com/quastorn/mavo", "com.quastorn.mavo.Control") ==
               "true";
    }));

    // 24 points of band plus 2: y = 25 from the top is in, 40 is out.
    ASSERT_TRUE(desktop.xdotool("mousemove 800 5"));
    EXPECT_TRUE(item.becomes("Status", "Active"));
    ASSERT_TRUE(desktop.xdotool("mousemove 300 25"));
    pumpFor(0.4);
    EXPECT_EQ(item.property("Status"), "Active");
    ASSERT_TRUE(desktop.xdotool("mousemove 300 40"));
    EXPECT_TRUE(item.becomes("Status", "Passive"));
    EXPECT_EQ(std::ranges::count(item.signals, "NewStatus:Active"), 1);

    ASSERT_TRUE(item.aboutToShow());
    item.send(item.find("Pause"));
    ASSERT_TRUE(pump([&] { return settings().value("paused", false); }));
    EXPECT_TRUE(item.becomes("IconName", "com.quastorn.mavo-paused-symbolic"));
    // Paused, the engine leaves a new window as it is...
    auto client = desktop.startClient(
        {"--title", "Notes", "--class", "TrayNotes", "--geometry", "400x300+100+100"});
    ASSERT_TRUE(client);
    pumpFor(2.0);
    EXPECT_LT(desktop.frame(client->window)->width, 1000);
    // ...and the menu, rebuilt for this opening, names the frontmost application.
    ASSERT_TRUE(item.aboutToShow());
    auto rows = item.rows();
    EXPECT_EQ(rows[0], "Mavo: paused (off)");
    EXPECT_TRUE(std::ranges::any_of(rows, [](auto& r) { return r.starts_with("Don’t Manage “"); }));
    // A forced pass runs even while paused.
    item.send(item.find("Maximize All Windows Now"));
    EXPECT_TRUE(pump([&] { return desktop.frame(client->window)->width == 1920; }));
    EXPECT_TRUE(settings().value("paused", false));
}

}  // namespace
}  // namespace mavo::test

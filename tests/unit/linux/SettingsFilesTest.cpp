// The settings file and the autostart entry that Mavo keeps in the user's configuration folder.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/XdgAutostart.h"
#include "unit/TempFolder.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;
using Status = LoginService::Status;
using namespace std::string_literals;
using nlohmann::json;
using test::readText;
using ::testing::HasSubstr, ::testing::StartsWith;

struct SettingsFilesTest : ::testing::Test {
    test::TempFolder tmp;
    fs::path dir = tmp.path;
};

TEST_F(SettingsFilesTest, SettingsSurviveARestartInAnOwnerOnlyFileReplacedAtEveryChange) {
    fs::path file = dir / "mavo" / "defaults.json";
    {
        JsonFileDefaults d(file);
        EXPECT_FALSE(fs::exists(file));  // nothing is written until something changes
        d.set("paused", false);
        d.set("unhideDelay", 2.5);
    }
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
    JsonFileDefaults again(file);
    EXPECT_TRUE(again.object("paused"));  // false is a value too
    EXPECT_DOUBLE_EQ(again.number("unhideDelay"), 2.5);
    again.remove("paused");
    again.set("excludedBundleIDs", {"XTerm"});
    EXPECT_EQ(json::parse(readText(file)),
              json({{"excludedBundleIDs", {"XTerm"}}, {"unhideDelay", 2.5}}));
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1);  // no temporary

    // A file that is not a JSON object, or not a file, is set aside and the store starts empty.
    for (const std::string& broken : {"{\"paused\": tru"s, "[1, 2, 3]"s, ""s}) {
        fs::remove_all(file);
        if (broken.empty())
            fs::create_directories(file);  // a folder in its place
        else
            std::ofstream(file) << broken;
        JsonFileDefaults d(file);
        EXPECT_FALSE(d.object("unhideDelay")) << broken.substr(0, 20);
        EXPECT_TRUE(broken.empty() || readText(dir / "mavo/defaults.corrupt.json") == broken);
        d.set("paused", true);
        EXPECT_EQ(json::parse(readText(file)), json({{"paused", true}}));
    }

    // Where the folder cannot be made the write fails, the value is kept, and the write is made
    // good at the next change or at the latest when the store goes away at exit.
    const fs::path blocked = dir / "blocked";
    {
        std::ofstream(blocked) << "in the way";
        JsonFileDefaults d(blocked / "defaults.json");
        d.set("paused", true);
        EXPECT_TRUE(d.boolean("paused"));
        fs::remove(blocked);
        d.set("unhideDelay", 2.0);
        EXPECT_EQ(json::parse(readText(blocked / "defaults.json")).size(), 2u);
        fs::remove_all(blocked);
        std::ofstream(blocked) << "in the way";
        d.set("excludedBundleIDs", {"Bad\377Class"});  // not UTF-8: repaired
        fs::remove(blocked);
    }
    json saved = json::parse(readText(blocked / "defaults.json"));
    EXPECT_EQ(saved.size(), 3u);
    EXPECT_EQ(saved["excludedBundleIDs"][0].get<std::string>().substr(0, 3), "Bad");

    std::string home = getenv("HOME") ? getenv("HOME") : "/";
    setenv("HOME", dir.c_str(), 1);
    setenv("XDG_CONFIG_HOME", "relative/cfg", 1);  // not a base folder: ~/.config it is
    EXPECT_EQ(JsonFileDefaults::defaultPath(), dir / ".config/mavo/defaults.json");
    EXPECT_EQ(XdgAutostart::defaultEntryPath(), dir / ".config/autostart/mavo.desktop");
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");

    using Paths = std::vector<fs::path>;
    setenv("XDG_CONFIG_DIRS", "/a:relative::/b/", 1);
    EXPECT_EQ(XdgAutostart::defaultSystemEntries(),
              (Paths{"/a/autostart/mavo.desktop", "/b/autostart/mavo.desktop"}));
    unsetenv("XDG_CONFIG_DIRS");
    EXPECT_EQ(XdgAutostart::defaultSystemEntries(), Paths{"/etc/xdg/autostart/mavo.desktop"});
}

TEST_F(SettingsFilesTest, AutostartEntryStartsThisProgramAndIsEnabledUnlessHidden) {
    fs::path entry = dir / "autostart" / "mavo.desktop";
    XdgAutostart autostart(entry, "/home/a b/back\\slash/mavo", {});
    EXPECT_EQ(autostart.status(), Status::notRegistered);
    std::string error;
    ASSERT_TRUE(autostart.registerApp(error)) << error;
    const std::string text = readText(entry);
    EXPECT_THAT(text, StartsWith("[Desktop Entry]\nType=Application\nName=Mavo\n"));
    // Exec quotes the path as desktop entries require, and the key file escapes that again.
    EXPECT_THAT(text, HasSubstr("Exec=\"/home/a b/back\\\\\\\\slash/mavo\"\n"));
    // Panels start first, so that the tray is there when Mavo looks for it.
    EXPECT_THAT(text, HasSubstr("\nX-GNOME-Autostart-Delay=3\nX-KDE-autostart-after=panel\n"));
    EXPECT_EQ(desktopExecValue("/x/$HOME\"`/100%/mavo"), R"("/x/\$HOME\"\`/100%%/mavo")");

    for (auto [tail, status] : {std::pair{"", Status::enabled},
                                {"Hidden=false\n", Status::enabled},
                                {"Hidden=perhaps\n", Status::enabled},  // not a boolean
                                {"X-GNOME-Autostart-enabled=false\n", Status::notRegistered},
                                {"Hidden=true\n", Status::notRegistered}}) {
        std::ofstream(entry) << "[Desktop Entry]\nType=Application\nName=Mavo\nExec=mavo\n" << tail;
        EXPECT_EQ(autostart.status(), status) << tail;
    }
    ASSERT_TRUE(autostart.registerApp(error));  // registering again replaces a hidden entry
    EXPECT_EQ(readText(entry), text);
    ASSERT_TRUE(autostart.unregisterApp(error));
    EXPECT_FALSE(fs::exists(entry));
    EXPECT_TRUE(autostart.unregisterApp(error));  // already gone is fine
    std::ofstream(entry) << "not a desktop entry at all";
    EXPECT_EQ(autostart.status(), Status::notRegistered);

    // A folder that cannot be made fails with a reason.
    EXPECT_FALSE(XdgAutostart(entry / "mavo.desktop", "/usr/bin/mavo", {}).registerApp(error));
    EXPECT_NE(error, "");
}

// An administrator's entry in a system folder starts Mavo until the user's own entry says no.
TEST_F(SettingsFilesTest, SystemAutostartEntryIsTurnedOffByAHiddenUserEntry) {
    fs::path system = dir / "xdg/autostart/mavo.desktop";
    fs::create_directories(system.parent_path());
    std::ofstream(system) << "[Desktop Entry]\nType=Application\nName=Mavo\nExec=mavo\n";
    fs::path entry = dir / "autostart/mavo.desktop";
    XdgAutostart autostart(entry, "/usr/bin/mavo", {dir / "none/autostart/mavo.desktop", system});
    EXPECT_EQ(autostart.status(), Status::enabled);
    std::string error;
    ASSERT_TRUE(autostart.unregisterApp(error)) << error;
    EXPECT_THAT(readText(entry), HasSubstr("\nHidden=true\n"));
    EXPECT_EQ(autostart.status(), Status::notRegistered);
    EXPECT_TRUE(fs::exists(system));
    ASSERT_TRUE(autostart.registerApp(error)) << error;
    EXPECT_EQ(autostart.status(), Status::enabled);
}

}  // namespace
}  // namespace mavo

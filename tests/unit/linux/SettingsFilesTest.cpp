// The two files Mavo keeps in the user's configuration folder: the settings object and the
// autostart entry.

#include <glib.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "app/LoginItem.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/XdgAutostart.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& p) {
    std::ifstream in(p);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const fs::path& p, const std::string& text) {
    fs::create_directories(p.parent_path());
    std::ofstream(p) << text;
}

unsigned modeOf(const fs::path& p) {
    struct stat st {};
    ::stat(p.c_str(), &st);
    return st.st_mode & 0777;
}

class ConfigFolderTest : public ::testing::Test {
  protected:
    ConfigFolderTest() {
        std::string tmpl = (fs::temp_directory_path() / "mavo-cfg-XXXXXX").string();
        dir = ::mkdtemp(tmpl.data());
    }
    ~ConfigFolderTest() override {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    fs::path dir;
};

using JsonFileDefaultsTest = ConfigFolderTest;

TEST_F(JsonFileDefaultsTest, ValuesSurviveARestartInAnOwnerOnlyFile) {
    fs::path file = dir / "mavo" / "defaults.json";
    {
        JsonFileDefaults d(file);
        EXPECT_FALSE(d.object("paused"));
        EXPECT_FALSE(fs::exists(file));  // nothing is written until something changes
        d.set("paused", true);
        d.set("excludedBundleIDs", nlohmann::json::array({"XTerm", "firefox"}));
        d.set("unhideDelay", 2.5);
    }
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_EQ(modeOf(file.parent_path()), 0700u);

    JsonFileDefaults again(file);
    EXPECT_TRUE(again.boolean("paused"));
    EXPECT_EQ(again.object("excludedBundleIDs"), nlohmann::json::array({"XTerm", "firefox"}));
    EXPECT_DOUBLE_EQ(again.number("unhideDelay"), 2.5);

    // Every change reaches the disk at once, removals too, and no temporary is left behind.
    again.remove("paused");
    again.set("unhideDelay", 0);
    auto onDisk = nlohmann::json::parse(readFile(file));
    EXPECT_FALSE(onDisk.contains("paused"));
    EXPECT_EQ(onDisk["unhideDelay"], 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1);
}

TEST_F(JsonFileDefaultsTest, AFalseValueStillCountsAsPresent) {
    fs::path file = dir / "defaults.json";
    writeFile(file, R"({"paused": false, "topCenterMode": false})");
    JsonFileDefaults d(file);
    ASSERT_TRUE(d.object("topCenterMode"));
    EXPECT_FALSE(d.boolean("topCenterMode"));
    EXPECT_FALSE(d.object("floatUtilityWindows"));
}

TEST_F(JsonFileDefaultsTest, ABrokenFileIsSetAsideAndTheStoreStartsEmpty) {
    for (const std::string broken : {"{\"paused\": tru", "[1, 2, 3]", "\"text\""}) {
        fs::path file = dir / "defaults.json";
        writeFile(file, broken);
        JsonFileDefaults d(file);
        EXPECT_FALSE(d.object("paused")) << broken;
        EXPECT_EQ(readFile(dir / "defaults.corrupt.json"), broken);
        d.set("paused", true);
        EXPECT_EQ(nlohmann::json::parse(readFile(file)), nlohmann::json({{"paused", true}}));
        fs::remove(dir / "defaults.corrupt.json");
    }
}

TEST_F(JsonFileDefaultsTest, AnUnwritableFolderLosesTheWriteButKeepsTheValue) {
    fs::path blocker = dir / "not-a-folder";
    writeFile(blocker, "x");
    JsonFileDefaults d(blocker / "defaults.json");
    d.set("paused", true);
    EXPECT_TRUE(d.boolean("paused"));
    EXPECT_FALSE(fs::exists(blocker / "defaults.json"));
}

TEST_F(JsonFileDefaultsTest, PathsFollowTheXdgBaseDirectories) {
    const char* savedConfig = std::getenv("XDG_CONFIG_HOME");
    const char* savedHome = std::getenv("HOME");
    std::string config = savedConfig ? savedConfig : "";
    std::string home = savedHome ? savedHome : "";

    ::setenv("XDG_CONFIG_HOME", (dir / "cfg").c_str(), 1);
    EXPECT_EQ(JsonFileDefaults::defaultPath(), dir / "cfg" / "mavo" / "defaults.json");
    EXPECT_EQ(XdgAutostart::defaultEntryPath(), dir / "cfg" / "autostart" / "mavo.desktop");

    // A relative value is not a base directory: the home folder's .config is used instead.
    ::setenv("XDG_CONFIG_HOME", "relative/cfg", 1);
    ::setenv("HOME", dir.c_str(), 1);
    EXPECT_EQ(JsonFileDefaults::defaultPath(), dir / ".config" / "mavo" / "defaults.json");
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(JsonFileDefaults::defaultPath(), dir / ".config" / "mavo" / "defaults.json");

    if (savedConfig) ::setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    if (savedHome) ::setenv("HOME", home.c_str(), 1);
}

using XdgAutostartTest = ConfigFolderTest;

std::string entryValue(const fs::path& entry, const char* key) {
    GKeyFile* kf = g_key_file_new();
    std::string value;
    if (g_key_file_load_from_file(kf, entry.c_str(), G_KEY_FILE_NONE, nullptr)) {
        gchar* v = g_key_file_get_string(kf, "Desktop Entry", key, nullptr);
        if (v) value = v;
        g_free(v);
    }
    g_key_file_free(kf);
    return value;
}

TEST_F(XdgAutostartTest, RegisteringWritesAnEntryThatStartsThisProgram) {
    fs::path entry = dir / "autostart" / "mavo.desktop";
    XdgAutostart autostart(entry, "/opt/mavo/bin/mavo");
    EXPECT_EQ(autostart.status(), LoginService::Status::notRegistered);

    std::string error;
    ASSERT_TRUE(autostart.registerApp(error)) << error;
    EXPECT_EQ(autostart.status(), LoginService::Status::enabled);
    EXPECT_EQ(entryValue(entry, "Type"), "Application");
    EXPECT_EQ(entryValue(entry, "Exec"), "/opt/mavo/bin/mavo");
    EXPECT_EQ(entryValue(entry, "Name"), "Mavo");

    ASSERT_TRUE(autostart.unregisterApp(error));
    EXPECT_FALSE(fs::exists(entry));
    EXPECT_EQ(autostart.status(), LoginService::Status::notRegistered);
    EXPECT_TRUE(autostart.unregisterApp(error));  // already gone is fine
}

TEST_F(XdgAutostartTest, AHiddenOrSwitchedOffEntryIsNotEnabled) {
    fs::path entry = dir / "mavo.desktop";
    XdgAutostart autostart(entry, "/usr/bin/mavo");
    const std::string head = "[Desktop Entry]\nType=Application\nName=Mavo\nExec=/usr/bin/mavo\n";

    writeFile(entry, head + "Hidden=true\n");
    EXPECT_EQ(autostart.status(), LoginService::Status::notRegistered);
    writeFile(entry, head + "X-GNOME-Autostart-enabled=false\n");
    EXPECT_EQ(autostart.status(), LoginService::Status::notRegistered);
    writeFile(entry, head + "Hidden=false\n");
    EXPECT_EQ(autostart.status(), LoginService::Status::enabled);
    writeFile(entry, head + "Hidden=perhaps\n");  // not a boolean: ignored
    EXPECT_EQ(autostart.status(), LoginService::Status::enabled);
    writeFile(entry, "not a desktop entry at all");
    EXPECT_EQ(autostart.status(), LoginService::Status::notRegistered);

    // Registering again replaces a hidden entry with an enabled one.
    writeFile(entry, head + "Hidden=true\n");
    std::string error;
    ASSERT_TRUE(autostart.registerApp(error));
    EXPECT_EQ(autostart.status(), LoginService::Status::enabled);
}

TEST_F(XdgAutostartTest, ProgramPathsAreQuotedForTheExecKey) {
    EXPECT_EQ(desktopExecValue("/usr/bin/mavo"), "/usr/bin/mavo");
    EXPECT_EQ(desktopExecValue("/home/a b/mavo"), "\"/home/a b/mavo\"");
    EXPECT_EQ(desktopExecValue("/x/$HOME\"`\\/mavo"), "\"/x/\\$HOME\\\"\\`\\\\/mavo\"");
    EXPECT_EQ(desktopExecValue("/x/100%/mavo"), "\"/x/100%%/mavo\"");

    // What a desktop reads back from the file is the quoted value itself.
    fs::path entry = dir / "mavo.desktop";
    XdgAutostart autostart(entry, "/home/a b/back\\slash/mavo");
    std::string error;
    ASSERT_TRUE(autostart.registerApp(error));
    EXPECT_EQ(entryValue(entry, "Exec"), "\"/home/a b/back\\\\slash/mavo\"");
    gchar** argv = nullptr;
    ASSERT_TRUE(g_shell_parse_argv(entryValue(entry, "Exec").c_str(), nullptr, &argv, nullptr));
    EXPECT_STREQ(argv[0], "/home/a b/back\\slash/mavo");
    g_strfreev(argv);
}

TEST_F(XdgAutostartTest, FirstLaunchEnablesLaunchAtLoginThroughTheEntry) {
    fs::path entry = dir / "autostart" / "mavo.desktop";
    XdgAutostart autostart(entry, "/usr/bin/mavo");
    JsonFileDefaults defaults(dir / "mavo" / "defaults.json");
    std::vector<std::string> log;
    LoginItem item(autostart, defaults, [&](const std::string& l) { log.push_back(l); });

    item.configureAtLaunch();
    EXPECT_TRUE(item.isEnabled());
    EXPECT_TRUE(
        JsonFileDefaults(dir / "mavo" / "defaults.json").boolean("didApplyLoginItemDefault"));

    // The user turns it off; the next launch leaves it off.
    EXPECT_TRUE(item.toggle());
    item.configureAtLaunch();
    EXPECT_FALSE(fs::exists(entry));
    EXPECT_TRUE(log.empty());
}

TEST_F(XdgAutostartTest, AFolderThatCannotBeCreatedFailsWithAReason) {
    writeFile(dir / "autostart", "a file where the folder should be");
    XdgAutostart autostart(dir / "autostart" / "mavo.desktop", "/usr/bin/mavo");
    JsonFileDefaults defaults(dir / "defaults.json");
    std::vector<std::string> log;
    LoginItem item(autostart, defaults, [&](const std::string& l) { log.push_back(l); });

    EXPECT_FALSE(item.setEnabled(true));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].rfind("Mavo: login-item register failed: ", 0), 0u);
    EXPECT_GT(log[0].size(), std::string("Mavo: login-item register failed: ").size());
}

}  // namespace
}  // namespace mavo

#include "platform/linux/DesktopApps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace mavo {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class DesktopAppsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/mavo-desktop-apps-XXXXXX";
        ASSERT_TRUE(mkdtemp(pattern));
        root = pattern;
        user = root / "user/applications";
        system = root / "system/applications";
        fs::create_directories(user);
        fs::create_directories(system);
    }
    void TearDown() override { fs::remove_all(root); }

    void write(const fs::path& path, const std::string& body) {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "[Desktop Entry]\n" << body;
    }

    std::optional<DesktopApps::App> find(const std::string& wmClass) {
        return DesktopApps::find(wmClass, {user.string(), system.string()});
    }

    fs::path root, user, system;
};

TEST_F(DesktopAppsTest, MatchesStartupClassThenFileNameIgnoringCase) {
    write(system / "org.example.Editor.desktop", "Type=Application\nName=Editor\n");
    write(system / "browser.desktop",
          "Type=Application\nName=Web Browser\nStartupWMClass=Navigator\n");
    write(system / "navigator.desktop", "Type=Application\nName=Not the browser\n");
    write(system / "xterm.desktop", "Type=Application\nName=XTerm\n");

    EXPECT_EQ(find("XTerm")->name, "XTerm");
    EXPECT_EQ(find("xterm")->id, "xterm.desktop");
    // The window class a file declares beats a file that merely shares the name.
    EXPECT_EQ(find("navigator")->name, "Web Browser");
    EXPECT_EQ(find("editor")->name, "Editor");
    EXPECT_FALSE(find("Unknown"));
    EXPECT_FALSE(find(""));
}

TEST_F(DesktopAppsTest, EarlierFoldersShadowLaterOnesEvenWhenHiding) {
    write(system / "term.desktop", "Type=Application\nName=System Term\n");
    write(user / "term.desktop", "Type=Application\nName=My Term\n");
    write(system / "gone.desktop", "Type=Application\nName=Gone\n");
    write(user / "gone.desktop", "Type=Application\nName=Gone\nHidden=true\n");
    write(system / "kde/konsole.desktop", "Type=Application\nName=Konsole\n");
    write(system / "link.desktop", "Type=Link\nName=A link\nURL=https://example.invalid\n");
    std::ofstream(system / "broken.desktop") << "this is not a key file\n";

    EXPECT_EQ(find("term")->name, "My Term");
    EXPECT_FALSE(find("gone"));
    EXPECT_FALSE(find("link"));
    EXPECT_FALSE(find("broken"));
    // Files in subfolders have ids prefixed with the folder's name.
    EXPECT_EQ(find("kde-konsole")->name, "Konsole");
}

// Sets or clears an environment variable for one test and puts the old value back after.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = getenv(name)) old_ = old;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

  private:
    const char* name_;
    std::optional<std::string> old_;
};

TEST_F(DesktopAppsTest, FoldersFollowTheXdgVariables) {
    ScopedEnv home("HOME", "/home/u");
    ScopedEnv dataHome("XDG_DATA_HOME", nullptr);
    ScopedEnv dataDirs("XDG_DATA_DIRS", nullptr);
    setenv("XDG_DATA_HOME", "/home/u/data", 1);
    setenv("XDG_DATA_DIRS", "/opt/share::/usr/share", 1);
    EXPECT_THAT(DesktopApps::applicationDirs(),
                ElementsAre("/home/u/data/applications", "/opt/share/applications",
                            "/usr/share/applications"));
    unsetenv("XDG_DATA_HOME");
    unsetenv("XDG_DATA_DIRS");
    EXPECT_THAT(DesktopApps::applicationDirs(),
                ElementsAre("/home/u/.local/share/applications", "/usr/local/share/applications",
                            "/usr/share/applications"));
}

}  // namespace
}  // namespace mavo

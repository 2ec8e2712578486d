#include "platform/linux/DesktopApps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>

#include "unit/TempFolder.h"

namespace mavo {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

TEST(DesktopApps, MatchesStartupClassThenFileNameAndEarlierFoldersShadowLaterOnes) {
    test::TempFolder tmp;
    const fs::path root = tmp.path, user = root / "user", system = root / "system";
    auto write = [](const fs::path& path, const std::string& body) {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "[Desktop Entry]\nType=Application\n" << body;
    };
    write(system / "org.example.Editor.desktop", "Name=Editor\n");
    write(system / "browser.desktop", "Name=Web Browser\nStartupWMClass=Navigator\n");
    write(system / "navigator.desktop", "Name=Not the browser\n");
    write(system / "xterm.desktop", "Name=XTerm\n");
    write(system / "term.desktop", "Name=System Term\n");
    write(user / "term.desktop", "Name=My Term\n");
    write(system / "gone.desktop", "Name=Gone\n");
    write(user / "gone.desktop", "Name=Gone\nHidden=true\n");
    write(system / "kde/konsole.desktop", "Name=Konsole\n");
    std::ofstream(system / "link.desktop") << "[Desktop Entry]\nType=Link\nName=L\nURL=x:y\n";
    std::ofstream(system / "broken.desktop") << "this is not a key file\n";
    auto name = [&](const std::string& wmClass) {
        auto app = DesktopApps::find(wmClass, {user.string(), system.string()});
        return app ? app->name : "-";
    };

    EXPECT_EQ(name("XTerm"), "XTerm");
    EXPECT_EQ(DesktopApps::find("xterm", {system.string()})->id, "xterm.desktop");
    // The window class a file declares beats a file that merely shares the name.
    EXPECT_EQ(name("navigator"), "Web Browser");
    EXPECT_EQ(name("editor"), "Editor");
    EXPECT_EQ(name("term"), "My Term");
    EXPECT_EQ(name("gone"), "-");               // hidden in the earlier folder
    EXPECT_EQ(name("kde-konsole"), "Konsole");  // subfolders prefix the id
    for (const char* absent : {"Unknown", "", "link", "broken"})
        EXPECT_EQ(name(absent), "-") << absent;

    // Folders are read again only when their modification time moves; backdating them makes a
    // stale index detectable.
    auto settle = [&] {
        for (const auto& entry : fs::recursive_directory_iterator(root))
            if (entry.is_directory())
                fs::last_write_time(entry,
                                    fs::file_time_type::clock::now() - std::chrono::hours(1));
    };
    settle();
    EXPECT_EQ(name("later"), "-");
    write(system / "xterm.desktop", "Name=Edited in place\n");
    EXPECT_EQ(name("xterm"), "XTerm");
    write(system / "later.desktop", "Name=Later\n");
    EXPECT_EQ(name("later"), "Later");
    settle();
    EXPECT_EQ(name("later"), "Later");
    fs::remove(system / "later.desktop");
    EXPECT_EQ(name("later"), "-");
}

TEST(DesktopApps, FoldersFollowTheXdgVariables) {
    std::map<std::string, std::optional<std::string>> saved;
    for (const char* var : {"HOME", "XDG_DATA_HOME", "XDG_DATA_DIRS"})
        saved[var] = getenv(var) ? std::optional<std::string>(getenv(var)) : std::nullopt;
    setenv("HOME", "/home/u", 1);
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
    for (auto& [var, value] : saved)
        value ? setenv(var.c_str(), value->c_str(), 1) : unsetenv(var.c_str());
}

}  // namespace
}  // namespace mavo

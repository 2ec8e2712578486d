#include "platform/linux/LinuxSystemProps.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "common/Version.h"

using namespace mavo;

namespace {

// Sets (or with nullptr clears) an environment variable until the end of the scope.
struct ScopedEnv {
    ScopedEnv(const char* name, const char* value) : name(name) {
        if (const char* v = std::getenv(name)) old = v;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
    const char* name;
    std::optional<std::string> old;
};

}  // namespace

TEST(LinuxSystemProps, LocaleIsTheMessageLocalesLanguageAndTerritory) {
    for (auto [posix, locale] : {std::pair{"de_DE.utf8@euro", "de_DE"},
                                 {"sr_RS@latin", "sr_RS"},
                                 {"fr", "fr"},
                                 {"C.UTF-8", "en_US_POSIX"},
                                 {"", "en_US_POSIX"}})
        EXPECT_EQ(LinuxSystemProps::normaliseLocale(posix), locale) << posix;
    ScopedEnv all("LC_ALL", "fr_FR.UTF-8"), messages("LC_MESSAGES", "de_DE.UTF-8"),
        lang("LANG", "en_GB.UTF-8");
    EXPECT_EQ(LinuxSystemProps::currentLocale(), "fr_FR");
    ScopedEnv emptyAll("LC_ALL", "");
    EXPECT_EQ(LinuxSystemProps::currentLocale(), "de_DE");
    ScopedEnv noMessages("LC_MESSAGES", nullptr);
    EXPECT_EQ(LinuxSystemProps::currentLocale(), "en_GB");
    ScopedEnv noLang("LANG", nullptr);
    EXPECT_EQ(LinuxSystemProps::currentLocale(), "en_US_POSIX");
}

TEST(LinuxSystemProps, DescribesThisSystemThisBuildAndTheProductNameReadEachTime) {
    char path[] = "/tmp/mavo-product-XXXXXX";
    close(mkstemp(path));
    std::ofstream(path) << "  ThinkPad X1 Carbon Gen 9 \n\nsecond line\n";
    ScopedEnv all("LC_ALL", "pt_BR.UTF-8");
    LinuxSystemProps props("com.quastorn.mavo", path);
    struct utsname u {};
    uname(&u);
    EXPECT_TRUE(props.read() == (SystemProps{false, "pt_BR", "Linux", u.release, mavo::appVersion,
                                             mavo::appBuildNumber, "aptabase-swift@0.3.11",
                                             "ThinkPad X1 Carbon Gen 9"}));
    std::ofstream(path) << "\n";
    EXPECT_EQ(props.read().deviceModel, "");
    std::remove(path);
    EXPECT_EQ(props.read().deviceModel, "");
    EXPECT_TRUE(LinuxSystemProps("com.quastorn.mavo.dev").read().isDebug);
}

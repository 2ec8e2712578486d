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

// Sets or clears an environment variable for one test and puts it back afterwards.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        if (value) {
            setenv(name, value, 1);
        } else {
            unsetenv(name);
        }
    }
    ~ScopedEnv() {
        if (old_) {
            setenv(name_, old_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }

  private:
    const char* name_;
    std::optional<std::string> old_;
};

std::string writeTemp(const std::string& content) {
    char path[] = "/tmp/mavo-product-XXXXXX";
    int fd = mkstemp(path);
    EXPECT_GE(fd, 0);
    close(fd);
    std::ofstream(path) << content;
    return path;
}

}  // namespace

TEST(LinuxSystemProps, LocaleIsLanguageAndTerritoryOnly) {
    EXPECT_EQ(LinuxSystemProps::normaliseLocale("en_US.UTF-8"), "en_US");
    EXPECT_EQ(LinuxSystemProps::normaliseLocale("de_DE.utf8@euro"), "de_DE");
    EXPECT_EQ(LinuxSystemProps::normaliseLocale("sr_RS@latin"), "sr_RS");
    EXPECT_EQ(LinuxSystemProps::normaliseLocale("fr"), "fr");
    EXPECT_EQ(LinuxSystemProps::normaliseLocale("C.UTF-8"), "en_US_POSIX");
    EXPECT_EQ(LinuxSystemProps::normaliseLocale("POSIX"), "en_US_POSIX");
    EXPECT_EQ(LinuxSystemProps::normaliseLocale(""), "en_US_POSIX");
}

TEST(LinuxSystemProps, LocaleFollowsTheMessageLocalePrecedence) {
    ScopedEnv all("LC_ALL", "fr_FR.UTF-8");
    ScopedEnv messages("LC_MESSAGES", "de_DE.UTF-8");
    ScopedEnv lang("LANG", "en_GB.UTF-8");
    EXPECT_EQ(LinuxSystemProps::currentLocale(), "fr_FR");
    {
        ScopedEnv emptyAll("LC_ALL", "");
        EXPECT_EQ(LinuxSystemProps::currentLocale(), "de_DE");
        ScopedEnv noMessages("LC_MESSAGES", nullptr);
        EXPECT_EQ(LinuxSystemProps::currentLocale(), "en_GB");
        ScopedEnv noLang("LANG", nullptr);
        EXPECT_EQ(LinuxSystemProps::currentLocale(), "en_US_POSIX");
    }
}

TEST(LinuxSystemProps, DeviceModelIsTheTrimmedProductNameOrEmpty) {
    std::string path = writeTemp("  ThinkPad X1 Carbon Gen 9 \n\nsecond line\n");
    LinuxSystemProps props("com.quastorn.mavo", path);
    EXPECT_EQ(props.read().deviceModel, "ThinkPad X1 Carbon Gen 9");
    std::remove(path.c_str());
    EXPECT_EQ(props.read().deviceModel, "");  // read again each time, and gone now

    std::string blank = writeTemp("\n");
    EXPECT_EQ(LinuxSystemProps::readTrimmed(blank), "");
    std::remove(blank.c_str());
}

TEST(LinuxSystemProps, DescribesThisSystemAndThisBuild) {
    struct utsname u {};
    ASSERT_EQ(uname(&u), 0);
    ScopedEnv all("LC_ALL", "pt_BR.UTF-8");
    SystemProps p = LinuxSystemProps("com.quastorn.mavo", "/nonexistent/product_name").read();
    EXPECT_FALSE(p.isDebug);
    EXPECT_EQ(p.locale, "pt_BR");
    EXPECT_EQ(p.osName, "Linux");
    EXPECT_EQ(p.osVersion, u.release);
    EXPECT_EQ(p.appVersion, mavo::appVersion);
    EXPECT_EQ(p.appBuildNumber, mavo::appBuildNumber);
    EXPECT_EQ(p.sdkVersion, "aptabase-swift@0.3.11");
    EXPECT_EQ(p.deviceModel, "");

    EXPECT_TRUE(LinuxSystemProps("com.quastorn.mavo.dev").read().isDebug);
}

#include "platform/linux/LinuxSystemProps.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <fstream>

#include "common/Version.h"

namespace mavo {

namespace {

constexpr const char* blanks = " \t\r\n\v\f";

std::string trim(std::string s) {
    auto first = s.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    auto last = s.find_last_not_of(blanks);
    return s.substr(first, last - first + 1);
}

}  // namespace

LinuxSystemProps::LinuxSystemProps(std::string appId, std::string productNamePath)
    : appId_(std::move(appId)), productNamePath_(std::move(productNamePath)) {}

SystemProps LinuxSystemProps::read() const {
    // Built in one go: assigning C strings into the members one by one makes GCC 12 at -O3 warn
    // spuriously (-Wrestrict) inside std::string.
    return SystemProps{.isDebug = isDebugAppId(appId_),
                       .locale = currentLocale(),
                       .osName = std::string("Linux"),
                       .osVersion = osVersion(),
                       .appVersion = std::string(mavo::appVersion),
                       .appBuildNumber = std::string(mavo::appBuildNumber),
                       .sdkVersion = std::string(analyticsSdkVersion),
                       .deviceModel = readTrimmed(productNamePath_)};
}

std::string LinuxSystemProps::normaliseLocale(std::string_view posixLocale) {
    // language[_territory][.codeset][@modifier]: the identifier is language and territory.
    auto name = posixLocale.substr(0, posixLocale.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
    return std::string(name);
}

std::string LinuxSystemProps::currentLocale() {
    for (const char* var : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(var);
        if (value && *value) return normaliseLocale(value);
    }
    return normaliseLocale("");
}

std::string LinuxSystemProps::osVersion() {
    struct utsname u {};
    if (uname(&u) != 0) return {};
    return u.release;
}

std::string LinuxSystemProps::readTrimmed(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    if (!in || !std::getline(in, line)) return {};
    return trim(std::move(line));
}

}  // namespace mavo

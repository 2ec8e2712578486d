#pragma once

#include <string>
#include <string_view>

#include "analytics/SystemPropsSource.h"

namespace mavo {

// The running Linux system as analytics describes it: kernel release, the message locale, the
// machine's DMI product name and the build's own version.
class LinuxSystemProps final : public SystemPropsSource {
  public:
    static constexpr const char* defaultProductNamePath = "/sys/class/dmi/id/product_name";

    explicit LinuxSystemProps(std::string appId,
                              std::string productNamePath = defaultProductNamePath);

    SystemProps read() const override;

    // "en_US.UTF-8", "en_US.utf8@euro" -> "en_US"; "C", "POSIX" and unset -> "en_US_POSIX".
    static std::string normaliseLocale(std::string_view posixLocale);
    // The locale that messages are shown in: LC_ALL, else LC_MESSAGES, else LANG.
    static std::string currentLocale();
    static std::string osVersion();
    // The file's first line without surrounding blanks; "" when it cannot be read.
    static std::string readTrimmed(const std::string& path);

  private:
    std::string appId_;
    std::string productNamePath_;
};

}  // namespace mavo

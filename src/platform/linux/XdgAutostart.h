#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "app/LoginItem.h"

namespace mavo {

// Launch at login through the desktop's autostart folder: the entry
// $XDG_CONFIG_HOME/autostart/mavo.desktop starts `program` when the user logs in. The entry is
// enabled when it exists and is not hidden (Hidden=true, or GNOME's own switch turned off). An
// entry of the same name in a system folder ($XDG_CONFIG_DIRS, /etc/xdg) counts while the user has
// none; the user's own entry overrides it, so turning it off writes a hidden user entry.
class XdgAutostart final : public LoginService {
  public:
    XdgAutostart(std::filesystem::path entry, std::filesystem::path program,
                 std::vector<std::filesystem::path> systemEntries = defaultSystemEntries());

    static std::filesystem::path defaultEntryPath();
    // autostart/mavo.desktop in each of $XDG_CONFIG_DIRS (else /etc/xdg), in precedence order.
    static std::vector<std::filesystem::path> defaultSystemEntries();
    // The running program's own path (through /proc/self/exe), so the entry starts this copy.
    static std::filesystem::path currentProgram();

    Status status() override;
    bool registerApp(std::string& error) override;
    bool unregisterApp(std::string& error) override;

    const std::filesystem::path& entry() const { return entry_; }

  private:
    std::filesystem::path entry_;
    std::filesystem::path program_;
    std::vector<std::filesystem::path> systemEntries_;
};

// The Exec= value that runs `program` with no arguments, quoted as desktop entries require.
std::string desktopExecValue(const std::string& program);

}  // namespace mavo

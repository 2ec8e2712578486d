#include "platform/linux/XdgAutostart.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <system_error>

#include "platform/linux/JsonFileDefaults.h"

namespace mavo {

namespace fs = std::filesystem;

namespace {

constexpr const char* kGroup = "Desktop Entry";

struct KeyFileDeleter {
    void operator()(GKeyFile* k) const { g_key_file_free(k); }
};
using KeyFilePtr = std::unique_ptr<GKeyFile, KeyFileDeleter>;

std::string takeMessage(GError* err) {
    std::string message = err && err->message ? err->message : "unknown error";
    if (err) g_error_free(err);
    return message;
}

// A boolean key counts only when it holds a valid boolean; anything else is the default.
bool boolKey(GKeyFile* kf, const char* key, bool fallback) {
    GError* err = nullptr;
    gboolean value = g_key_file_get_boolean(kf, kGroup, key, &err);
    if (err) {
        g_error_free(err);
        return fallback;
    }
    return value;
}

bool writeEntry(const fs::path& entry, GKeyFile* kf, std::string& error) {
    std::error_code ec;
    fs::create_directories(entry.parent_path(), ec);
    if (ec) {
        error = ec.message();
        return false;
    }
    gsize length = 0;
    gchar* data = g_key_file_to_data(kf, &length, nullptr);
    GError* err = nullptr;
    gboolean ok = g_file_set_contents_full(entry.c_str(), data, static_cast<gssize>(length),
                                           G_FILE_SET_CONTENTS_CONSISTENT, 0644, &err);
    g_free(data);
    if (!ok) error = takeMessage(err);
    return ok;
}

}  // namespace

std::string desktopExecValue(const std::string& program) {
    bool plain = !program.empty();
    for (char c : program) {
        if (!(g_ascii_isalnum(c) || std::strchr("/._-+,:@", c) || (c & 0x80))) plain = false;
    }
    if (plain) return program;
    // Inside double quotes the characters " ` $ and \ take a backslash.
    std::string quoted = "\"";
    for (char c : program) {
        if (c == '%') {
            quoted += "%%";  // field codes stay literal
            continue;
        }
        if (std::strchr("\"`$\\", c)) quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

XdgAutostart::XdgAutostart(fs::path entry, fs::path program, std::vector<fs::path> systemEntries)
    : entry_(std::move(entry)),
      program_(std::move(program)),
      systemEntries_(std::move(systemEntries)) {}

fs::path XdgAutostart::defaultEntryPath() {
    return xdgConfigHome() / "autostart" / "mavo.desktop";
}

std::vector<fs::path> XdgAutostart::defaultSystemEntries() {
    std::vector<fs::path> entries;
    const char* dirs = std::getenv("XDG_CONFIG_DIRS");
    std::string list = dirs && *dirs ? dirs : "/etc/xdg";
    for (size_t start = 0; start <= list.size();) {
        size_t end = std::min(list.find(':', start), list.size());
        fs::path dir = list.substr(start, end - start);
        if (dir.is_absolute()) entries.push_back(dir / "autostart" / "mavo.desktop");
        start = end + 1;
    }
    return entries;
}

fs::path XdgAutostart::currentProgram() {
    std::error_code ec;
    fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path("mavo") : self;
}

LoginService::Status XdgAutostart::status() {
    KeyFilePtr kf(g_key_file_new());
    // The first entry that exists decides, as it does for the session starting programs.
    std::error_code ec;
    const fs::path* decides = &entry_;
    for (size_t i = 0; !fs::exists(*decides, ec) && i < systemEntries_.size(); ++i) {
        decides = &systemEntries_[i];
    }
    if (!g_key_file_load_from_file(kf.get(), decides->c_str(), G_KEY_FILE_NONE, nullptr)) {
        return Status::notRegistered;  // missing, or not an entry the desktop would start
    }
    if (boolKey(kf.get(), "Hidden", false)) return Status::notRegistered;
    if (!boolKey(kf.get(), "X-GNOME-Autostart-enabled", true)) return Status::notRegistered;
    return Status::enabled;
}

bool XdgAutostart::registerApp(std::string& error) {
    KeyFilePtr kf(g_key_file_new());
    g_key_file_set_string(kf.get(), kGroup, "Type", "Application");
    g_key_file_set_string(kf.get(), kGroup, "Name", "Mavo");
    g_key_file_set_string(kf.get(), kGroup, "Comment",
                          "Keeps your app windows maximized, except ones you’ve snapped.");
    g_key_file_set_string(kf.get(), kGroup, "Exec", desktopExecValue(program_.string()).c_str());
    g_key_file_set_string(kf.get(), kGroup, "Icon", "com.quastorn.mavo");
    g_key_file_set_boolean(kf.get(), kGroup, "Terminal", FALSE);
    g_key_file_set_boolean(kf.get(), kGroup, "X-GNOME-Autostart-enabled", TRUE);
    // Started after the panel, so that the tray icon finds its host at once.
    g_key_file_set_integer(kf.get(), kGroup, "X-GNOME-Autostart-Delay", 3);
    g_key_file_set_string(kf.get(), kGroup, "X-KDE-autostart-after", "panel");
    return writeEntry(entry_, kf.get(), error);
}

bool XdgAutostart::unregisterApp(std::string& error) {
    std::error_code ec;
    for (const fs::path& system : systemEntries_) {
        if (!fs::exists(system, ec)) continue;
        // Deleting the user's entry would let the system one start Mavo again.
        KeyFilePtr kf(g_key_file_new());
        g_key_file_set_string(kf.get(), kGroup, "Type", "Application");
        g_key_file_set_string(kf.get(), kGroup, "Name", "Mavo");
        g_key_file_set_string(kf.get(), kGroup, "Exec", "mavo");
        g_key_file_set_boolean(kf.get(), kGroup, "Hidden", TRUE);
        return writeEntry(entry_, kf.get(), error);
    }
    if (fs::remove(entry_, ec) || !ec) return true;
    error = ec.message();
    return false;
}

}  // namespace mavo

#include "platform/linux/DesktopApps.h"

#include <glib.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

namespace mavo::DesktopApps {

namespace {

namespace fs = std::filesystem;

constexpr const char* entryGroup = G_KEY_FILE_DESKTOP_GROUP;

struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};

std::optional<std::string> stringKey(GKeyFile* file, const char* key, bool localised) {
    gchar* value = localised ? g_key_file_get_locale_string(file, entryGroup, key, nullptr, nullptr)
                             : g_key_file_get_string(file, entryGroup, key, nullptr);
    if (!value) return std::nullopt;
    std::string result = value;
    g_free(value);
    return result;
}

bool sameIgnoringCase(const std::string& a, const std::string& b) {
    return !a.empty() && g_ascii_strcasecmp(a.c_str(), b.c_str()) == 0;
}

// Every desktop file under one applications folder with its id: the path below the folder with
// "/" turned into "-".
std::vector<std::pair<std::string, fs::path>> desktopFiles(const std::string& dir) {
    std::vector<std::pair<std::string, fs::path>> files;
    std::error_code error;
    fs::recursive_directory_iterator it(dir, fs::directory_options::skip_permission_denied, error);
    for (; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        const fs::path& path = it->path();
        if (path.extension() != ".desktop") continue;
        std::error_code ignored;
        if (!it->is_regular_file(ignored)) continue;
        std::string id = path.lexically_relative(dir).generic_string();
        for (char& c : id) {
            if (c == '/') c = '-';
        }
        files.emplace_back(id, path);
    }
    return files;
}

}  // namespace

std::vector<std::string> applicationDirs() {
    std::vector<std::string> dirs;
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (dataHome && *dataHome) {
        dirs.push_back(std::string(dataHome) + "/applications");
    } else if (home && *home) {
        dirs.push_back(std::string(home) + "/.local/share/applications");
    }
    const char* dataDirs = std::getenv("XDG_DATA_DIRS");
    std::string list = dataDirs && *dataDirs ? dataDirs : "/usr/local/share:/usr/share";
    std::stringstream stream(list);
    std::string dir;
    while (std::getline(stream, dir, ':')) {
        if (!dir.empty()) dirs.push_back(dir + "/applications");
    }
    return dirs;
}

std::optional<App> find(const std::string& wmClass) {
    return find(wmClass, applicationDirs());
}

std::optional<App> find(const std::string& wmClass, const std::vector<std::string>& dirs) {
    if (wmClass.empty()) return std::nullopt;
    // The best match wins: StartupWMClass, then the file's name, then the last part of a
    // reverse-DNS name. The first folder that has a file id decides it, as XDG wants, even when
    // that file hides the application.
    std::optional<App> byName, byLastPart;
    std::set<std::string> seen;
    for (const std::string& dir : dirs) {
        for (const auto& [id, path] : desktopFiles(dir)) {
            if (!seen.insert(id).second) continue;
            std::unique_ptr<GKeyFile, KeyFileDeleter> file(g_key_file_new());
            if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr)) {
                continue;
            }
            if (stringKey(file.get(), G_KEY_FILE_DESKTOP_KEY_TYPE, false) !=
                    std::optional<std::string>(G_KEY_FILE_DESKTOP_TYPE_APPLICATION) ||
                g_key_file_get_boolean(file.get(), entryGroup, G_KEY_FILE_DESKTOP_KEY_HIDDEN,
                                       nullptr)) {
                continue;
            }
            auto name = stringKey(file.get(), G_KEY_FILE_DESKTOP_KEY_NAME, true);
            if (!name) continue;
            App app{id, *name, path.string()};
            std::string base = id.substr(0, id.size() - std::string(".desktop").size());
            auto startupClass =
                stringKey(file.get(), G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS, false);
            if (startupClass && sameIgnoringCase(*startupClass, wmClass)) return app;
            if (!byName && sameIgnoringCase(base, wmClass)) byName = app;
            auto dot = base.rfind('.');
            if (!byLastPart && dot != std::string::npos &&
                sameIgnoringCase(base.substr(dot + 1), wmClass)) {
                byLastPart = app;
            }
        }
    }
    return byName ? byName : byLastPart;
}

std::optional<std::string> name(const std::string& wmClass) {
    auto app = find(wmClass);
    if (!app) return std::nullopt;
    return app->name;
}

}  // namespace mavo::DesktopApps

#include "platform/linux/DesktopApps.h"

#include <glib.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <unordered_map>

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

std::string lower(const std::string& text) {
    std::string result = text;
    for (char& c : result) c = g_ascii_tolower(c);
    return result;
}

fs::file_time_type modified(const fs::path& folder) {
    std::error_code error;
    return fs::last_write_time(folder, error);  // a missing folder reads as the minimum
}

using Stamps = std::vector<std::pair<fs::path, fs::file_time_type>>;

// Every desktop file under one applications folder with its id: the path below the folder with
// "/" turned into "-". Each subfolder read is stamped with its modification time.
std::vector<std::pair<std::string, fs::path>> desktopFiles(const std::string& dir, Stamps& stamps) {
    std::vector<std::pair<std::string, fs::path>> files;
    std::error_code error;
    fs::recursive_directory_iterator it(dir, fs::directory_options::skip_permission_denied, error);
    for (; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        const fs::path& path = it->path();
        std::error_code ignored;
        if (it->is_directory(ignored)) stamps.emplace_back(path, modified(path));
        if (path.extension() != ".desktop") continue;
        if (!it->is_regular_file(ignored)) continue;
        std::string id = path.lexically_relative(dir).generic_string();
        for (char& c : id) {
            if (c == '/') c = '-';
        }
        files.emplace_back(id, path);
    }
    return files;
}

// The parsed applications of a list of folders, kept until one of the folders changes: a file
// added, removed or renamed changes the modification time of the folder that holds it.
class Index {
  public:
    bool current(const std::vector<std::string>& dirs) const {
        if (untrusted_ || dirs != dirs_) return false;
        for (const auto& [folder, time] : stamps_) {
            if (modified(folder) != time) return false;
        }
        return true;
    }

    void build(const std::vector<std::string>& dirs) {
        *this = Index();
        dirs_ = dirs;
        const auto started = fs::file_time_type::clock::now();
        // The first folder that has a file id decides it, as XDG wants, even when that file hides
        // the application.
        std::set<std::string> seen;
        for (const std::string& dir : dirs) {
            stamps_.emplace_back(dir, modified(dir));
            for (const auto& [id, path] : desktopFiles(dir, stamps_)) {
                if (seen.insert(id).second) add(id, path);
            }
        }
        // A folder changed within a tick of the file system's clock may change again without its
        // time moving, so an index that recent is read again on the next lookup.
        for (const auto& [folder, time] : stamps_) {
            if (time > started - std::chrono::seconds(2)) untrusted_ = true;
        }
    }

    // The best match wins: StartupWMClass, then the file's name, then the last part of a
    // reverse-DNS name; among equals, the earliest in folder order.
    std::optional<App> match(const std::string& wmClass) const {
        const std::string key = lower(wmClass);
        for (const auto* keys : {&byStartupClass_, &byName_, &byLastPart_}) {
            if (auto it = keys->find(key); it != keys->end()) return apps_[it->second];
        }
        return std::nullopt;
    }

  private:
    void add(const std::string& id, const fs::path& path) {
        std::unique_ptr<GKeyFile, KeyFileDeleter> file(g_key_file_new());
        if (!g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr)) return;
        if (stringKey(file.get(), G_KEY_FILE_DESKTOP_KEY_TYPE, false) !=
                std::optional<std::string>(G_KEY_FILE_DESKTOP_TYPE_APPLICATION) ||
            g_key_file_get_boolean(file.get(), entryGroup, G_KEY_FILE_DESKTOP_KEY_HIDDEN,
                                   nullptr)) {
            return;
        }
        auto name = stringKey(file.get(), G_KEY_FILE_DESKTOP_KEY_NAME, true);
        if (!name) return;
        const std::size_t at = apps_.size();
        apps_.push_back(App{id, *name, path.string()});
        auto key = [at](std::unordered_map<std::string, std::size_t>& keys, const std::string& k) {
            if (!k.empty()) keys.try_emplace(lower(k), at);
        };
        if (auto startupClass =
                stringKey(file.get(), G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS, false))
            key(byStartupClass_, *startupClass);
        const std::string base = id.substr(0, id.size() - std::string(".desktop").size());
        key(byName_, base);
        if (auto dot = base.rfind('.'); dot != std::string::npos)
            key(byLastPart_, base.substr(dot + 1));
    }

    std::vector<std::string> dirs_;
    Stamps stamps_;  // every folder read, with its modification time before it was read
    bool untrusted_ = false;
    std::vector<App> apps_;
    // Lowercased key to the first application that has it.
    std::unordered_map<std::string, std::size_t> byStartupClass_, byName_, byLastPart_;
};

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
    // The engine and the menus both look applications up, possibly from different threads.
    static std::mutex mutex;
    static Index index;
    std::lock_guard lock(mutex);
    if (!index.current(dirs)) index.build(dirs);
    return index.match(wmClass);
}

std::optional<std::string> name(const std::string& wmClass) {
    auto app = find(wmClass);
    if (!app) return std::nullopt;
    return app->name;
}

}  // namespace mavo::DesktopApps

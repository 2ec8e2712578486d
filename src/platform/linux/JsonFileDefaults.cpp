#include "platform/linux/JsonFileDefaults.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "common/Files.h"

namespace mavo {

namespace fs = std::filesystem;

fs::path xdgConfigHome() {
    // The base directory rules ignore relative values.
    if (const char* dir = std::getenv("XDG_CONFIG_HOME"); dir && dir[0] == '/') return dir;
    return homeDirectory() / ".config";
}

fs::path JsonFileDefaults::defaultPath() {
    return xdgConfigHome() / "mavo" / "defaults.json";
}

JsonFileDefaults::JsonFileDefaults(fs::path file) : file_(std::move(file)) {
    std::ifstream in(file_, std::ios::binary);
    if (!in) return;  // no file yet: every key is absent
    std::ostringstream text;
    text << in.rdbuf();
    nlohmann::json parsed = nlohmann::json::parse(text.str(), nullptr, false);
    if (parsed.is_object()) {
        values_ = std::move(parsed);
        return;
    }
    // Keep the user's broken file for inspection instead of overwriting it at the next change.
    std::error_code ec;
    fs::rename(file_, file_.parent_path() / "defaults.corrupt.json", ec);
}

std::optional<nlohmann::json> JsonFileDefaults::object(const std::string& key) const {
    std::lock_guard<std::mutex> guard(lock_);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return *it;
}

void JsonFileDefaults::set(const std::string& key, const nlohmann::json& value) {
    std::lock_guard<std::mutex> guard(lock_);
    values_[key] = value;
    writeLocked();
}

void JsonFileDefaults::remove(const std::string& key) {
    std::lock_guard<std::mutex> guard(lock_);
    if (values_.erase(key) == 0) return;
    writeLocked();
}

// Settings may name the user's applications: the folder is private and the file owner-only. A
// fresh temporary renamed over the file means a crash leaves the old or the new object, never half.
void JsonFileDefaults::writeLocked() const {
    const fs::path folder = file_.parent_path();
    std::error_code ec;
    if (!folder.empty() && !fs::exists(folder, ec)) {
        fs::create_directories(folder, ec);
        ::chmod(folder.c_str(), 0700);
    }
    replaceFileAtomically(file_, folder / (file_.filename().string() + ".tmp"),
                          values_.dump(2) + "\n");
}

}  // namespace mavo

#include "platform/linux/JsonFileDefaults.h"

#include <sys/stat.h>

#include <cstdlib>
#include <system_error>

#include "common/Files.h"
#include "common/JsonText.h"

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

std::optional<nlohmann::json> JsonFileDefaults::decode(std::string_view text) {
    auto parsed = parseJson(text, maxDepth);
    if (!parsed || !parsed->is_object()) return std::nullopt;
    return parsed;
}

std::string JsonFileDefaults::encode(const nlohmann::json& values) {
    return dumpJson(values, 2) + "\n";
}

JsonFileDefaults::JsonFileDefaults(fs::path file) : file_(std::move(file)) {
    FileRead text = readRegularFile(file_, maxBytes);
    if (text.status == FileRead::Status::absent) return;  // no file yet: every key is absent
    if (text.status == FileRead::Status::ok) {
        if (auto values = decode(text.data)) {
            values_ = std::move(*values);
            return;
        }
    }
    // Keep the user's broken or unreadable file for inspection instead of overwriting it at the
    // next change.
    // Only the latest one is kept.
    const fs::path corrupt = file_.parent_path() / "defaults.corrupt.json";
    std::error_code ec;
    fs::remove(corrupt, ec);
    fs::rename(file_, corrupt, ec);
}

JsonFileDefaults::~JsonFileDefaults() {
    // Last chance for a change whose write failed (a full disk freed since, say).
    std::lock_guard<std::mutex> guard(lock_);
    if (unsaved_) writeLocked();
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
    if (values_.erase(key) == 0 && !unsaved_) return;
    writeLocked();
}

// Settings may name the user's applications: the folder is private and the file owner-only. A
// fresh temporary renamed over the file means a crash leaves the old or the new object, never half.
void JsonFileDefaults::writeLocked() {
    const fs::path folder = file_.parent_path();
    std::error_code ec;
    if (!folder.empty() && !fs::exists(folder, ec)) {
        fs::create_directories(folder, ec);
        ::chmod(folder.c_str(), 0700);
    }
    // The whole object is written each time, so a failed write is made good by the next one.
    unsaved_ = !replaceFileAtomically(file_, folder / (file_.filename().string() + ".tmp"),
                                      encode(values_));
}

}  // namespace mavo

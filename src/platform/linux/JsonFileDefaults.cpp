#include "platform/linux/JsonFileDefaults.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace mavo {

namespace fs = std::filesystem;

namespace {

fs::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/";
}

bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

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
    std::string tmpl = (folder / (file_.filename().string() + ".XXXXXX")).string();
    int fd = ::mkostemp(tmpl.data(), O_CLOEXEC);  // created 0600
    if (fd < 0) return;
    const std::string data = values_.dump(2) + "\n";
    bool ok = writeAll(fd, data) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok) ok = ::rename(tmpl.c_str(), file_.c_str()) == 0;
    if (!ok) ::unlink(tmpl.c_str());
}

}  // namespace mavo

#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "common/UserDefaults.h"

namespace mavo {

// The settings store on Linux: one JSON object in a file, read once at construction and replaced
// atomically (owner-only) at every change. A file that is not a JSON object, or that cannot be
// read, is set aside as "defaults.corrupt.json" and the store starts empty.
class JsonFileDefaults final : public UserDefaults {
  public:
    static constexpr size_t maxBytes = 1024 * 1024;
    static constexpr int maxDepth = 32;

    explicit JsonFileDefaults(std::filesystem::path file);
    ~JsonFileDefaults() override;
    JsonFileDefaults(const JsonFileDefaults&) = delete;
    JsonFileDefaults& operator=(const JsonFileDefaults&) = delete;

    // The file's contents: a JSON object within the limits above, or nothing.
    static std::optional<nlohmann::json> decode(std::string_view text);
    // Never throws: bytes that are not UTF-8 are replaced.
    static std::string encode(const nlohmann::json& values);

    // $XDG_CONFIG_HOME/mavo/defaults.json, with ~/.config when the variable is unset or relative.
    static std::filesystem::path defaultPath();

    std::optional<nlohmann::json> object(const std::string& key) const override;
    void set(const std::string& key, const nlohmann::json& value) override;
    void remove(const std::string& key) override;

    const std::filesystem::path& file() const { return file_; }

  private:
    void writeLocked();

    const std::filesystem::path file_;
    mutable std::mutex lock_;  // guards values_ and serialises writes, so the file ends newest
    nlohmann::json values_ = nlohmann::json::object();
    bool unsaved_ = false;  // the last write failed
};

// The base folder of per-user configuration ($XDG_CONFIG_HOME or ~/.config).
std::filesystem::path xdgConfigHome();

}  // namespace mavo

#pragma once

#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/UserDefaults.h"

namespace mavo {

// The settings the menu changes and the engine obeys, and the two counts the engine reports back.
// The menu and the remote control use it on the main thread while the engine reads it from its
// queue, so every member is behind one lock; each read, write or toggle is one hold of it, and no
// hold spans a write to the store.
class EngineSettings {
  public:
    explicit EngineSettings(UserDefaults& defaults) : defaults_(defaults) {}
    EngineSettings(const EngineSettings&) = delete;
    EngineSettings& operator=(const EngineSettings&) = delete;

    // Reads every setting from the store; an absent or malformed value keeps the built-in one.
    void load();

    // Setters change the running value only; the matching persist stores it.
    bool paused() const;
    void setPaused(bool value);
    void persistPaused();
    bool topCenterMode() const;
    void setTopCenterMode(bool value);
    void persistTopCenterMode();
    bool focusSizeBigDisplays() const;
    void setFocusSizeBigDisplays(bool value);
    void persistFocusSizeBigDisplays();

    // Per-application lists; a toggle stores its list at once.
    bool excludesBundleID(const std::string& bid) const;
    std::vector<std::string> excludedBundleIDs() const;  // sorted
    void toggleExclusion(const std::string& bid);
    bool topCentersBundleID(const std::string& bid) const;
    void toggleTopCenter(const std::string& bid);
    bool maximizesBundleID(const std::string& bid) const;
    void toggleMaximizeApp(const std::string& bid);

    int cannotFillCount() const;
    int windowsMaximizedCount() const;

    // The engine's side: everything it obeys, copied in one hold so a tick sees one state.
    struct Snapshot {
        bool paused, topCenterMode, focusSizeBigDisplays;
        std::set<std::string> excluded, topCenterApps, maximizeApps;
    };
    Snapshot snapshot() const;
    void setCannotFillCount(int count);
    void countWindowMaximized();  // aborts rather than wrap

    // A stored array that is missing, or is not an array of strings, reads as empty.
    static std::set<std::string> storedSet(const UserDefaults& defaults, const std::string& key);
    // Nothing when the key is absent, so that it keeps a default of true rather than reading false.
    static std::optional<bool> storedBool(const UserDefaults& defaults, const std::string& key);

  private:
    bool contains(const std::set<std::string>& set, const std::string& bid) const;
    void toggle(std::set<std::string>& set, const std::string& bid, const char* key);
    template <typename T>
    T get(const T& member) const {
        std::lock_guard<std::mutex> guard(lock_);
        return member;
    }
    template <typename T>
    void put(T& member, T value) {
        std::lock_guard<std::mutex> guard(lock_);
        member = std::move(value);
    }

    UserDefaults& defaults_;
    mutable std::mutex lock_;
    bool _paused = false;
    std::set<std::string> _excluded;
    int _cannotFillCount = 0;
    bool _topCenterMode = true;
    std::set<std::string> _topCenterApps;
    bool _focusSizeBigDisplays = true;
    std::set<std::string> _maximizeApps;
    int _windowsMaximized = 0;
};

}  // namespace mavo

#pragma once

#include <functional>
#include <string>

#include "ui/StatusItem.h"

typedef struct _GDBusConnection GDBusConnection;

namespace mavo {

// Mavo's status item as a StatusNotifierItem on the session bus. The item owns the name
// org.kde.StatusNotifierItem-<pid>-1, serves /StatusNotifierItem, and registers with the
// StatusNotifierWatcher whenever one is on the bus, so a tray started after Mavo still shows it.
// Hidden means Status "Passive": the host keeps the item but does not draw it.
//
// Icons are theme names looked up in `iconThemePath` (a folder holding hicolor/...): symbolic
// elephants, which the host draws in its panel's text colour so they show on dark and light
// panels alike, one with a pause sign while paused, and the standard "dialog-warning".
class StatusNotifierItem final : public StatusItem {
  public:
    static constexpr const char* objectPath = "/StatusNotifierItem";
    static constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
    static constexpr const char* activeIcon = "com.quastorn.mavo-symbolic";
    static constexpr const char* pausedIcon = "com.quastorn.mavo-paused-symbolic";

    struct Options {
        std::string id = "mavo";
        std::string title = "Mavo";
        std::string iconThemePath;  // "" when the icons are installed in a system theme
        std::string menuPath = "/MenuBar";
        // Theme names used for the two elephant states when Mavo's own icons are not found.
        bool haveOwnIcons = true;
    };

    explicit StatusNotifierItem(Options options);
    ~StatusNotifierItem() override;
    StatusNotifierItem(const StatusNotifierItem&) = delete;
    StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;

    // Claims the bus name and starts watching for a tray. Returns at once; all of it happens on
    // the main loop.
    void start();

    bool isVisible() const override { return visible_; }
    bool hasHost() const override { return registered_; }
    void setVisible(bool visible) override;
    void setIcon(const StatusIcon& icon) override;
    void setToolTip(const std::string& text) override;
    void invalidateMenu() override;

    // Called when the menu should be redrawn without a fresh build (see StatusItem).
    void onMenuInvalidated(std::function<void()> handler) { menuInvalidated_ = std::move(handler); }
    // Called when the host asks the item to act (a click on an icon that is not a menu).
    void onActivate(std::function<void()> handler) { activate_ = std::move(handler); }

    const std::string& busName() const { return busName_; }
    const std::string& iconName() const { return iconName_; }
    std::string status() const { return visible_ ? "Active" : "Passive"; }
    bool isRegistered() const { return registered_; }

  private:
    struct Glue;
    friend struct Glue;

    void emitSignal(const char* name, const char* arg);
    void propertiesChanged(const char* name);
    void registerWithWatcher();
    void noteNoTray(const std::string& why);

    Options options_;
    std::string busName_;
    bool visible_ = true;
    std::string iconName_;
    std::string iconDescription_;
    std::string toolTip_;
    std::function<void()> menuInvalidated_;
    std::function<void()> activate_;

    GDBusConnection* connection_ = nullptr;
    unsigned ownerID_ = 0;
    unsigned watchID_ = 0;
    unsigned objectID_ = 0;
    bool registered_ = false;
    bool toldNoTray_ = false;
    void* cancellable_ = nullptr;
};

}  // namespace mavo

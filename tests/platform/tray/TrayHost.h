#pragma once

// A small tray of the tests' own: a private session bus (a dbus-daemon it starts), a
// StatusNotifierWatcher it can claim at any moment, and a dbusmenu client that reads and clicks
// an item's menu the way a panel does. Everything runs on the calling thread's default main
// context; `pump` turns it until a condition holds.

#include <gio/gio.h>
#include <libdbusmenu-glib/client.h>
#include <libdbusmenu-glib/menuitem.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mavo::test {

// Turns the default main context until `condition` holds or `seconds` pass.
bool pump(const std::function<bool()>& condition, double seconds = 5);

// A dbus-daemon of the test's own; sets DBUS_SESSION_BUS_ADDRESS for this process and its
// children while it lives.
class PrivateBus {
  public:
    PrivateBus();
    ~PrivateBus();
    const std::string& address() const { return address_; }
    const std::string& failure() const { return failure_; }

  private:
    GPid pid_ = 0;
    std::string address_;
    std::string failure_;
};

// Plays the panel: owns org.kde.StatusNotifierWatcher and takes registrations.
class TestWatcher {
  public:
    TestWatcher();
    ~TestWatcher();
    bool owned() const { return owned_; }
    // Service names (or paths) items registered, with the unique name of each sender.
    std::vector<std::pair<std::string, std::string>> registrations;

  private:
    static void methodCall(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                           const gchar* method, GVariant* params, GDBusMethodInvocation* inv,
                           gpointer self);
    static GVariant* getProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                 const gchar* name, GError**, gpointer self);
    GDBusConnection* connection_ = nullptr;
    guint ownerID_ = 0;
    guint objectID_ = 0;
    bool owned_ = false;
};

// The item's properties and its menu, as a host sees them.
class ItemView {
  public:
    ItemView(std::string busName, std::string itemPath = "/StatusNotifierItem");
    ~ItemView();

    std::optional<std::string> stringProperty(const char* name);
    GVariant* property(const char* name);  // caller unrefs; nullptr on failure
    // Signals the item sent since the view was made: "NewStatus:Passive", "NewIcon", ...
    std::vector<std::string> signals;

    // Connects the dbusmenu client to the object path of the item's Menu property and waits for
    // the first layout.
    bool openMenuClient();
    // Asks the item to prepare the menu (as a panel does right before showing it) and waits for
    // the layout that answers it.
    bool aboutToShow();
    // Waits until the client has taken in the last layout change.
    void settle();
    DbusmenuMenuitem* root() const;
    // The child of `parent` (root when null) whose label is `label`.
    DbusmenuMenuitem* find(const std::string& label, DbusmenuMenuitem* parent = nullptr) const;
    std::vector<std::string> labels(DbusmenuMenuitem* parent = nullptr) const;
    void click(DbusmenuMenuitem* item);
    void sendEvent(DbusmenuMenuitem* item, const char* name);
    int layoutUpdates() const { return layoutUpdates_; }

  private:
    GDBusConnection* connection_ = nullptr;
    guint signalID_ = 0;
    std::string busName_;
    std::string itemPath_;
    DbusmenuClient* client_ = nullptr;
    int layoutUpdates_ = 0;
};

}  // namespace mavo::test

#pragma once

// The tests' own tray on a private session bus (GIO's test bus, one per test program): a
// StatusNotifierWatcher that can appear at any moment, and a panel's view of an item and its
// dbusmenu menu. Everything runs on the default main context, which `pump` turns.

#include <gio/gio.h>
#include <libdbusmenu-glib/client.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mavo::test {

const std::string& sessionBusAddress();
// Turns the default main context until `condition` holds or `seconds` pass.
bool pump(const std::function<bool()>& condition, double seconds = 5);
inline void pumpFor(double seconds) {
    pump([] { return false; }, seconds);
}

// Plays the panel: owns org.kde.StatusNotifierWatcher and records the items that register.
class TestWatcher {
  public:
    TestWatcher();
    ~TestWatcher();
    std::vector<std::string> registrations;

  private:
    GDBusConnection* bus_;
    guint owner_ = 0, object_ = 0;
};

class ItemView {
  public:
    explicit ItemView(std::string busName);
    ~ItemView();
    // A property of the item (or of another object of its owner): strings as they are, other
    // values in GVariant text form.
    std::optional<std::string> property(const char* name, const char* path = "/StatusNotifierItem",
                                        const char* interface = "org.kde.StatusNotifierItem");
    bool becomes(const char* name, const std::string& value) {
        return pump([&] { return property(name) == value; });
    }
    std::vector<std::string>
        signals;  // "NewStatus:Passive", "NewIcon", ... since the view was made

    // Asks for the menu as a panel does right before showing it (connecting first if need be)
    // and waits until the answering layout has settled.
    bool aboutToShow();
    // The rows under `parent` (the root when null): the label, then " (off)" when disabled,
    // " [x]"/" [ ]" for check marks, " (x)"/" ( )" for radio items and " >" for submenus;
    // "---" for separators.
    std::vector<std::string> rows(DbusmenuMenuitem* parent = nullptr) const;
    DbusmenuMenuitem* find(const std::string& label, DbusmenuMenuitem* parent = nullptr) const;
    DbusmenuMenuitem* root() const { return client_ ? dbusmenu_client_get_root(client_) : nullptr; }
    void send(DbusmenuMenuitem* item, const char* event = DBUSMENU_MENUITEM_EVENT_ACTIVATED);

  private:
    GDBusConnection* bus_;
    guint signal_ = 0;
    std::string busName_;
    DbusmenuClient* client_ = nullptr;
    int layouts_ = 0;
};

}  // namespace mavo::test

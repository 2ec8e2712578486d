#pragma once

// The tests' own tray on GIO's private test bus (one per program, as GLib keeps one session
// connection per process): a StatusNotifierWatcher that can appear at any moment, and a panel's
// view of an item and its dbusmenu menu. Everything runs on the default main context.

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <libdbusmenu-glib/client.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mavo::test {

// Stopped at the end but never torn down: that would wait for GLib's own connection to go.
class SessionBus : public ::testing::Environment {
  public:
    void SetUp() override {
        bus_ = g_test_dbus_new(G_TEST_DBUS_NONE);
        g_test_dbus_up(bus_);
        address = g_test_dbus_get_bus_address(bus_);
    }
    void TearDown() override { g_test_dbus_stop(bus_); }
    std::string address;

  private:
    GTestDBus* bus_ = nullptr;
};

inline bool pump(const std::function<bool()>& condition, double seconds = 5) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (; !condition(); g_usleep(5000)) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
    }
    return true;
}
inline void pumpFor(double seconds) {
    pump([] { return false; }, seconds);
}

// Plays the panel: owns org.kde.StatusNotifierWatcher and records the items that register.
class TestWatcher {
  public:
    TestWatcher() {
        static GDBusNodeInfo* info = g_dbus_node_info_new_for_xml(
            R"(<node><interface name="org.kde.StatusNotifierWatcher">
                 <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
               </interface></node>)",
            nullptr);
        static const GDBusInterfaceVTable vtable = {
            [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
               GVariant* params, GDBusMethodInvocation* call, gpointer self) {
                const gchar* service = nullptr;
                g_variant_get(params, "(&s)", &service);
                static_cast<TestWatcher*>(self)->registrations.emplace_back(service);
                g_dbus_method_invocation_return_value(call, nullptr);
            },
            nullptr,
            nullptr,
            {}};
        object_ = g_dbus_connection_register_object(
            bus_, "/StatusNotifierWatcher", info->interfaces[0], &vtable, this, nullptr, nullptr);
        bool owned = false;
        owner_ = g_bus_own_name_on_connection(
            bus_, "org.kde.StatusNotifierWatcher", G_BUS_NAME_OWNER_FLAGS_NONE,
            [](GDBusConnection*, const gchar*, gpointer o) { *static_cast<bool*>(o) = true; },
            nullptr, &owned, nullptr);
        EXPECT_TRUE(pump([&] { return owned; }));
    }
    ~TestWatcher() {
        g_bus_unown_name(owner_);
        g_dbus_connection_unregister_object(bus_, object_);
        g_dbus_connection_flush_sync(bus_, nullptr, nullptr);  // the name is free for the next one
        g_object_unref(bus_);
    }
    std::vector<std::string> registrations;

  private:
    GDBusConnection* bus_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    guint owner_ = 0, object_ = 0;
};

class ItemView {
  public:
    explicit ItemView(std::string busName) : busName_(std::move(busName)) {
        signal_ = g_dbus_connection_signal_subscribe(
            bus_, nullptr, "org.kde.StatusNotifierItem", nullptr, "/StatusNotifierItem", nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* signal,
               GVariant* params, gpointer self) {
                std::string entry = signal;
                if (g_variant_is_of_type(params, G_VARIANT_TYPE("(s)"))) {
                    const gchar* arg = nullptr;
                    g_variant_get(params, "(&s)", &arg);
                    entry += std::string(":") + arg;
                }
                static_cast<ItemView*>(self)->signals.push_back(entry);
            },
            this, nullptr);
    }
    ~ItemView() {
        if (client_) g_object_unref(client_);
        g_dbus_connection_signal_unsubscribe(bus_, signal_);
        g_object_unref(bus_);
    }

    // Strings as they are, other values in GVariant text form.
    std::optional<std::string> property(const char* name, const char* path = "/StatusNotifierItem",
                                        const char* interface = "org.kde.StatusNotifierItem") {
        GVariant* reply = g_dbus_connection_call_sync(
            bus_, busName_.c_str(), path, "org.freedesktop.DBus.Properties", "Get",
            g_variant_new("(ss)", interface, name), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE,
            3000, nullptr, nullptr);
        if (!reply) return std::nullopt;
        GVariant* value = nullptr;
        g_variant_get(reply, "(v)", &value);
        gchar* text = g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) ||
                              g_variant_is_of_type(value, G_VARIANT_TYPE_OBJECT_PATH)
                          ? g_variant_dup_string(value, nullptr)
                          : g_variant_print(value, FALSE);
        std::string out = text;
        g_free(text);
        g_variant_unref(value);
        g_variant_unref(reply);
        return out;
    }
    bool becomes(const char* name, const std::string& value) {
        return pump([&] { return property(name) == value; });
    }

    // Asks for the menu as a panel does right before showing it (connecting first if need be)
    // and waits until the answering layout and the items' properties have settled.
    bool aboutToShow() {
        if (!client_) {
            auto path = property("Menu");
            if (!path) return false;
            client_ = dbusmenu_client_new(busName_.c_str(), path->c_str());
            g_signal_connect(client_, DBUSMENU_CLIENT_SIGNAL_LAYOUT_UPDATED,
                             G_CALLBACK(+[](DbusmenuClient*, int* n) { ++*n; }), &layouts_);
            if (!pump([this] { return root() && !rows().empty(); })) return false;
        }
        const int before = layouts_;
        bool answered = false;
        dbusmenu_menuitem_send_about_to_show(
            root(), [](DbusmenuMenuitem*, gpointer flag) { *static_cast<bool*>(flag) = true; },
            &answered);
        if (!pump([&] { return answered && layouts_ > before; })) return false;
        int seen = -1;
        auto quietSince = std::chrono::steady_clock::now();
        return pump([&] {
            if (std::exchange(seen, layouts_) != layouts_)
                quietSince = std::chrono::steady_clock::now();
            return std::chrono::steady_clock::now() - quietSince > std::chrono::milliseconds(150);
        });
    }
    // The rows under `parent` (the root when null): the label, then " (off)" when disabled,
    // " [x]"/" [ ]" for check marks, " (x)"/" ( )" for radio items and " >" for submenus;
    // "---" for separators.
    std::vector<std::string> rows(DbusmenuMenuitem* parent = nullptr) const {
        std::vector<std::string> out;
        for (DbusmenuMenuitem* mi : children(parent)) {
            auto get = [&](const char* p) {
                const gchar* v = dbusmenu_menuitem_property_get(mi, p);
                return std::string(v ? v : "");
            };
            if (get(DBUSMENU_MENUITEM_PROP_TYPE) == "separator") {
                out.push_back("---");
                continue;
            }
            bool on =
                dbusmenu_menuitem_property_get_int(mi, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE) == 1;
            std::string toggle = get(DBUSMENU_MENUITEM_PROP_TOGGLE_TYPE);
            out.push_back(get(DBUSMENU_MENUITEM_PROP_LABEL) +
                          (dbusmenu_menuitem_property_get_bool(mi, DBUSMENU_MENUITEM_PROP_ENABLED)
                               ? ""
                               : " (off)") +
                          (toggle == "checkmark" ? (on ? " [x]" : " [ ]") : "") +
                          (toggle == "radio" ? (on ? " (x)" : " ( )") : "") +
                          (dbusmenu_menuitem_get_children(mi) ? " >" : ""));
        }
        return out;
    }
    DbusmenuMenuitem* find(const std::string& label, DbusmenuMenuitem* parent = nullptr) const {
        for (DbusmenuMenuitem* mi : children(parent)) {
            const gchar* text = dbusmenu_menuitem_property_get(mi, DBUSMENU_MENUITEM_PROP_LABEL);
            if (text && label == text) return mi;
        }
        return nullptr;
    }
    DbusmenuMenuitem* root() const { return client_ ? dbusmenu_client_get_root(client_) : nullptr; }
    void send(DbusmenuMenuitem* item, const char* event = DBUSMENU_MENUITEM_EVENT_ACTIVATED) {
        dbusmenu_menuitem_handle_event(item, event, g_variant_new_int32(0),
                                       static_cast<guint>(g_get_monotonic_time() / 1000));
    }

    std::vector<std::string> signals;  // "NewStatus:Passive", "NewIcon", ... since construction

  private:
    std::vector<DbusmenuMenuitem*> children(DbusmenuMenuitem* parent) const {
        std::vector<DbusmenuMenuitem*> out;
        if (!parent && !(parent = root())) return out;
        for (GList* l = dbusmenu_menuitem_get_children(parent); l; l = l->next)
            out.push_back(DBUSMENU_MENUITEM(l->data));
        return out;
    }

    GDBusConnection* bus_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    guint signal_ = 0;
    std::string busName_;
    DbusmenuClient* client_ = nullptr;
    int layouts_ = 0;
};

}  // namespace mavo::test

#pragma once

// The tests' own tray on GIO's private test bus (one per program, as GLib keeps one session
// connection per process): a StatusNotifierWatcher that can appear at any moment, and a panel's
// view of an item and its menu. Everything runs on the default main context.

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <algorithm>
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

// A menu as a panel reads it: the rows under an item are the label, then " (off)" when disabled,
// " [x]"/" [ ]" for check marks, " (x)"/" ( )" for radio items and " >" for submenus; "---" for
// separators. A label that is not there names an empty item with no id.
struct MenuNode {
    int id = -1;
    std::string label, row;
    std::vector<MenuNode> children;

    MenuNode() = default;
    explicit MenuNode(GVariant* layout) {
        GVariant* props = nullptr;
        GVariantIter* kids = nullptr;
        g_variant_get(layout, "(i@a{sv}av)", &id, &props, &kids);
        auto text = [&](const char* key) {
            const gchar* v = nullptr;
            g_variant_lookup(props, key, "&s", &v);
            return std::string(v ? v : "");
        };
        gboolean enabled = TRUE;
        gint32 state = 0;
        g_variant_lookup(props, "enabled", "b", &enabled);
        g_variant_lookup(props, "toggle-state", "i", &state);
        for (GVariant* child; g_variant_iter_loop(kids, "v", &child);) children.emplace_back(child);
        label = text("label");
        const std::string toggle = text("toggle-type");
        row = text("type") == "separator"
                  ? "---"
                  : label + (enabled ? "" : " (off)") +
                        (toggle == "checkmark" ? (state == 1 ? " [x]" : " [ ]") : "") +
                        (toggle == "radio" ? (state == 1 ? " (x)" : " ( )") : "") +
                        (children.empty() ? "" : " >");
        g_variant_iter_free(kids);
        g_variant_unref(props);
    }
    std::vector<std::string> rows() const {
        std::vector<std::string> out;
        for (const auto& c : children) out.push_back(c.row);
        return out;
    }
    const MenuNode& operator[](const std::string& childLabel) const {
        static const MenuNode none;
        auto it = std::ranges::find(children, childLabel, &MenuNode::label);
        return it == children.end() ? none : *it;
    }
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
        g_dbus_connection_signal_unsubscribe(bus_, signal_);
        g_object_unref(bus_);
    }

    // Strings as they are, other values in GVariant text form.
    std::optional<std::string> property(const char* name, const char* path = "/StatusNotifierItem",
                                        const char* interface = "org.kde.StatusNotifierItem") {
        GVariant* reply = call(path, "org.freedesktop.DBus.Properties", "Get",
                               g_variant_new("(ss)", interface, name), "(v)");
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

    // The whole menu, asking for it first as a panel does right before showing it.
    MenuNode menu(bool aboutToShow = false) {
        if (aboutToShow) {
            GVariant* reply =
                call(kMenu, kMenuInterface, "AboutToShow", g_variant_new("(i)", 0), "(b)");
            if (!reply) return {};
            g_variant_unref(reply);
        }
        GVariant* reply =
            call(kMenu, kMenuInterface, "GetLayout",
                 g_variant_new("(ii@as)", 0, -1, g_variant_new_strv(nullptr, 0)), "(u(ia{sv}av))");
        if (!reply) return {};
        GVariant* layout = g_variant_get_child_value(reply, 1);
        MenuNode root(layout);
        g_variant_unref(layout);
        g_variant_unref(reply);
        return root;
    }
    void send(const MenuNode& item, const char* event = "clicked") {
        GVariant* reply = call(kMenu, kMenuInterface, "Event",
                               g_variant_new("(isvu)", item.id, event, g_variant_new_int32(0),
                                             static_cast<guint32>(g_get_monotonic_time() / 1000)),
                               nullptr);
        if (reply) g_variant_unref(reply);
    }

    std::vector<std::string> signals;  // "NewStatus:Passive", "NewIcon", ... since construction

  private:
    static constexpr const char *kMenu = "/MenuBar", *kMenuInterface = "com.canonical.dbusmenu";

    GVariant* call(const char* path, const char* interface, const char* method, GVariant* args,
                   const char* replyType) {
        return g_dbus_connection_call_sync(bus_, busName_.c_str(), path, interface, method, args,
                                           replyType ? G_VARIANT_TYPE(replyType) : nullptr,
                                           G_DBUS_CALL_FLAGS_NONE, 3000, nullptr, nullptr);
    }

    GDBusConnection* bus_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    guint signal_ = 0;
    std::string busName_;
};

}  // namespace mavo::test

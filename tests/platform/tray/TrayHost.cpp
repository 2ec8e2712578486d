#include "TrayHost.h"

#include <gtest/gtest.h>

#include <chrono>

namespace mavo::test {

namespace {

// GLib keeps one session connection per process, so one bus serves the whole program. It is
// stopped at the end but never torn down: that would wait for GLib's own connection to go.
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
auto* sessionBus = static_cast<SessionBus*>(::testing::AddGlobalTestEnvironment(new SessionBus));

constexpr const char* watcherXml = R"(<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
</interface></node>)";

}  // namespace

const std::string& sessionBusAddress() {
    return sessionBus->address;
}

bool pump(const std::function<bool()>& condition, double seconds) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        if (!condition()) g_usleep(5000);
    }
    return true;
}

TestWatcher::TestWatcher() : bus_(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
    static GDBusNodeInfo* info = g_dbus_node_info_new_for_xml(watcherXml, nullptr);
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
    object_ = g_dbus_connection_register_object(bus_, "/StatusNotifierWatcher", info->interfaces[0],
                                                &vtable, this, nullptr, nullptr);
    bool owned = false;
    owner_ = g_bus_own_name_on_connection(
        bus_, "org.kde.StatusNotifierWatcher", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, gpointer owned) { *static_cast<bool*>(owned) = true; },
        nullptr, &owned, nullptr);
    EXPECT_TRUE(pump([&] { return owned; })) << "the watcher name was not ours";
}

TestWatcher::~TestWatcher() {
    g_bus_unown_name(owner_);
    g_dbus_connection_unregister_object(bus_, object_);
    g_dbus_connection_flush_sync(bus_, nullptr, nullptr);  // the name is free for the next one
    g_object_unref(bus_);
}

ItemView::ItemView(std::string busName)
    : bus_(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)), busName_(std::move(busName)) {
    signal_ = g_dbus_connection_signal_subscribe(
        bus_, nullptr, "org.kde.StatusNotifierItem", nullptr, "/StatusNotifierItem", nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* signal,
           GVariant* params, gpointer self) {
            std::string entry = signal;
            const gchar* arg = nullptr;
            if (g_variant_is_of_type(params, G_VARIANT_TYPE("(s)"))) {
                g_variant_get(params, "(&s)", &arg);
                entry += std::string(":") + arg;
            }
            static_cast<ItemView*>(self)->signals.push_back(entry);
        },
        this, nullptr);
}

ItemView::~ItemView() {
    if (client_) g_object_unref(client_);
    g_dbus_connection_signal_unsubscribe(bus_, signal_);
    g_object_unref(bus_);
}

std::optional<std::string> ItemView::property(const char* name, const char* path,
                                              const char* interface) {
    GVariant* reply = g_dbus_connection_call_sync(
        bus_, busName_.c_str(), path, "org.freedesktop.DBus.Properties", "Get",
        g_variant_new("(ss)", interface, name), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE, 3000,
        nullptr, nullptr);
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

bool ItemView::aboutToShow() {
    if (!client_) {
        auto path = property("Menu");
        if (!path) return false;
        client_ = dbusmenu_client_new(busName_.c_str(), path->c_str());
        g_signal_connect(client_, DBUSMENU_CLIENT_SIGNAL_LAYOUT_UPDATED,
                         G_CALLBACK(+[](DbusmenuClient*, int* layouts) { ++*layouts; }), &layouts_);
        if (!pump([this] { return root() && !rows().empty(); })) return false;
    }
    const int before = layouts_;
    bool answered = false;
    dbusmenu_menuitem_send_about_to_show(
        root(), [](DbusmenuMenuitem*, gpointer flag) { *static_cast<bool*>(flag) = true; },
        &answered);
    if (!pump([&] { return answered && layouts_ > before; })) return false;
    // The client fetches the layout, then the items' properties: wait for a quiet moment.
    int seen = -1;
    auto quietSince = std::chrono::steady_clock::now();
    return pump([&] {
        if (std::exchange(seen, layouts_) != layouts_)
            quietSince = std::chrono::steady_clock::now();
        return std::chrono::steady_clock::now() - quietSince > std::chrono::milliseconds(150);
    });
}

std::vector<std::string> ItemView::rows(DbusmenuMenuitem* parent) const {
    std::vector<std::string> out;
    if (!parent && !(parent = root())) return out;
    for (GList* l = dbusmenu_menuitem_get_children(parent); l; l = l->next) {
        auto* mi = DBUSMENU_MENUITEM(l->data);
        auto get = [&](const char* p) {
            const gchar* v = dbusmenu_menuitem_property_get(mi, p);
            return std::string(v ? v : "");
        };
        if (get(DBUSMENU_MENUITEM_PROP_TYPE) == "separator") {
            out.push_back("---");
            continue;
        }
        bool on = dbusmenu_menuitem_property_get_int(mi, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE) == 1;
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

DbusmenuMenuitem* ItemView::find(const std::string& label, DbusmenuMenuitem* parent) const {
    if (!parent && !(parent = root())) return nullptr;
    for (GList* l = dbusmenu_menuitem_get_children(parent); l; l = l->next) {
        const gchar* text = dbusmenu_menuitem_property_get(DBUSMENU_MENUITEM(l->data),
                                                           DBUSMENU_MENUITEM_PROP_LABEL);
        if (text && label == text) return DBUSMENU_MENUITEM(l->data);
    }
    return nullptr;
}

void ItemView::send(DbusmenuMenuitem* item, const char* event) {
    dbusmenu_menuitem_handle_event(item, event, g_variant_new_int32(0),
                                   static_cast<guint>(g_get_monotonic_time() / 1000));
}

}  // namespace mavo::test

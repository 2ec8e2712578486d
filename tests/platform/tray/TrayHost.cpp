#include "TrayHost.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

namespace mavo::test {

bool pump(const std::function<bool()>& condition, double seconds) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        if (condition()) return true;
        g_usleep(5000);
    }
    return true;
}

PrivateBus::PrivateBus() {
    const gchar* argv[] = {"dbus-daemon", "--session", "--nofork", "--print-address=1", nullptr};
    gint out = -1;
    GError* error = nullptr;
    // The daemon dies with the test, whatever way the test ends.
    auto dieWithParent = [](gpointer) { prctl(PR_SET_PDEATHSIG, SIGTERM); };
    if (!g_spawn_async_with_pipes(nullptr, const_cast<gchar**>(argv), nullptr,
                                  GSpawnFlags(G_SPAWN_SEARCH_PATH | G_SPAWN_STDERR_TO_DEV_NULL |
                                              G_SPAWN_DO_NOT_REAP_CHILD),
                                  dieWithParent, nullptr, &pid_, nullptr, &out, nullptr, &error)) {
        failure_ = std::string("cannot start dbus-daemon: ") + error->message;
        g_error_free(error);
        return;
    }
    std::string line;
    char c;
    while (read(out, &c, 1) == 1 && c != '\n') line += c;
    close(out);
    if (line.empty()) {
        failure_ = "dbus-daemon printed no address";
        return;
    }
    address_ = line;
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    if (pid_) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        g_spawn_close_pid(pid_);
    }
}

namespace {

constexpr const char* watcherXml = R"xml(
<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
    <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
  </interface>
</node>)xml";

}  // namespace

TestWatcher::TestWatcher() {
    connection_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!connection_) return;
    static GDBusNodeInfo* info = g_dbus_node_info_new_for_xml(watcherXml, nullptr);
    static const GDBusInterfaceVTable vtable = {methodCall, getProperty, nullptr, {}};
    objectID_ =
        g_dbus_connection_register_object(connection_, "/StatusNotifierWatcher",
                                          info->interfaces[0], &vtable, this, nullptr, nullptr);
    ownerID_ = g_bus_own_name_on_connection(
        connection_, "org.kde.StatusNotifierWatcher", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, gpointer self) {
            static_cast<TestWatcher*>(self)->owned_ = true;
        },
        nullptr, this, nullptr);
    pump([this] { return owned_; });
}

TestWatcher::~TestWatcher() {
    if (ownerID_) g_bus_unown_name(ownerID_);
    if (objectID_) g_dbus_connection_unregister_object(connection_, objectID_);
    // Let the bus see the name go before the next watcher claims it.
    if (connection_) g_dbus_connection_flush_sync(connection_, nullptr, nullptr);
    if (connection_) g_object_unref(connection_);
}

void TestWatcher::methodCall(GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                             const gchar* method, GVariant* params, GDBusMethodInvocation* inv,
                             gpointer self) {
    if (std::string(method) == "RegisterStatusNotifierItem") {
        const gchar* service = nullptr;
        g_variant_get(params, "(&s)", &service);
        static_cast<TestWatcher*>(self)->registrations.emplace_back(service, sender);
    }
    g_dbus_method_invocation_return_value(inv, nullptr);
}

GVariant* TestWatcher::getProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                   const gchar* name, GError**, gpointer self) {
    const std::string p = name;
    if (p == "IsStatusNotifierHostRegistered") return g_variant_new_boolean(TRUE);
    if (p == "ProtocolVersion") return g_variant_new_int32(0);
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("as"));
    for (auto& [service, sender] : static_cast<TestWatcher*>(self)->registrations)
        g_variant_builder_add(&b, "s", service.c_str());
    return g_variant_builder_end(&b);
}

ItemView::ItemView(std::string busName, std::string itemPath)
    : busName_(std::move(busName)), itemPath_(std::move(itemPath)) {
    connection_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    signalID_ = g_dbus_connection_signal_subscribe(
        connection_, nullptr, "org.kde.StatusNotifierItem", nullptr, itemPath_.c_str(), nullptr,
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

ItemView::~ItemView() {
    if (client_) g_object_unref(client_);
    g_dbus_connection_signal_unsubscribe(connection_, signalID_);
    g_object_unref(connection_);
}

GVariant* ItemView::property(const char* name) {
    GVariant* reply = g_dbus_connection_call_sync(
        connection_, busName_.c_str(), itemPath_.c_str(), "org.freedesktop.DBus.Properties", "Get",
        g_variant_new("(ss)", "org.kde.StatusNotifierItem", name), G_VARIANT_TYPE("(v)"),
        G_DBUS_CALL_FLAGS_NONE, 3000, nullptr, nullptr);
    if (!reply) return nullptr;
    GVariant* value = nullptr;
    g_variant_get(reply, "(v)", &value);
    g_variant_unref(reply);
    return value;
}

std::optional<std::string> ItemView::stringProperty(const char* name) {
    GVariant* v = property(name);
    if (!v) return std::nullopt;
    std::optional<std::string> out;
    if (g_variant_is_of_type(v, G_VARIANT_TYPE_STRING) ||
        g_variant_is_of_type(v, G_VARIANT_TYPE_OBJECT_PATH))
        out = g_variant_get_string(v, nullptr);
    g_variant_unref(v);
    return out;
}

bool ItemView::openMenuClient() {
    auto path = stringProperty("Menu");
    if (!path) return false;
    client_ = dbusmenu_client_new(busName_.c_str(), path->c_str());
    g_signal_connect(client_, DBUSMENU_CLIENT_SIGNAL_LAYOUT_UPDATED,
                     G_CALLBACK(+[](DbusmenuClient*, gpointer self) {
                         ++static_cast<ItemView*>(self)->layoutUpdates_;
                     }),
                     this);
    if (!pump([this] { return root() && !labels().empty(); })) return false;
    settle();
    return true;
}

DbusmenuMenuitem* ItemView::root() const {
    return client_ ? dbusmenu_client_get_root(client_) : nullptr;
}

bool ItemView::aboutToShow() {
    const int before = layoutUpdates_;
    bool answered = false;
    dbusmenu_menuitem_send_about_to_show(
        root(), [](DbusmenuMenuitem*, gpointer flag) { *static_cast<bool*>(flag) = true; },
        &answered);
    if (!pump([&] { return answered && layoutUpdates_ > before; })) return false;
    settle();
    return true;
}

void ItemView::settle() {
    // The client fetches a new layout, then the items' properties; wait for a quiet moment.
    int seen = -1;
    auto quietSince = std::chrono::steady_clock::now();
    pump([&] {
        if (layoutUpdates_ != seen) {
            seen = layoutUpdates_;
            quietSince = std::chrono::steady_clock::now();
        }
        return std::chrono::steady_clock::now() - quietSince > std::chrono::milliseconds(150);
    });
}

std::vector<std::string> ItemView::labels(DbusmenuMenuitem* parent) const {
    std::vector<std::string> out;
    if (!parent) parent = root();
    if (!parent) return out;
    for (GList* l = dbusmenu_menuitem_get_children(parent); l; l = l->next) {
        auto* mi = DBUSMENU_MENUITEM(l->data);
        const gchar* type = dbusmenu_menuitem_property_get(mi, DBUSMENU_MENUITEM_PROP_TYPE);
        if (type && std::string(type) == "separator") {
            out.push_back("---");
        } else {
            const gchar* label = dbusmenu_menuitem_property_get(mi, DBUSMENU_MENUITEM_PROP_LABEL);
            out.push_back(label ? label : "");
        }
    }
    return out;
}

DbusmenuMenuitem* ItemView::find(const std::string& label, DbusmenuMenuitem* parent) const {
    if (!parent) parent = root();
    if (!parent) return nullptr;
    for (GList* l = dbusmenu_menuitem_get_children(parent); l; l = l->next) {
        auto* mi = DBUSMENU_MENUITEM(l->data);
        const gchar* text = dbusmenu_menuitem_property_get(mi, DBUSMENU_MENUITEM_PROP_LABEL);
        if (text && label == text) return mi;
    }
    return nullptr;
}

void ItemView::click(DbusmenuMenuitem* item) {
    sendEvent(item, DBUSMENU_MENUITEM_EVENT_ACTIVATED);
}

void ItemView::sendEvent(DbusmenuMenuitem* item, const char* name) {
    dbusmenu_menuitem_handle_event(item, name, g_variant_new_int32(0),
                                   static_cast<guint>(g_get_monotonic_time() / 1000));
}

}  // namespace mavo::test

#include "platform/linux/StatusNotifierItem.h"

#include <gio/gio.h>
#include <unistd.h>

#include "app/Diag.h"

namespace mavo {

namespace {

constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

constexpr const char* introspection = R"xml(
<node>
  <interface name="org.kde.StatusNotifierItem">
    <property name="Category" type="s" access="read"/>
    <property name="Id" type="s" access="read"/>
    <property name="Title" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="WindowId" type="i" access="read"/>
    <property name="IconThemePath" type="s" access="read"/>
    <property name="IconName" type="s" access="read"/>
    <property name="IconPixmap" type="a(iiay)" access="read"/>
    <property name="OverlayIconName" type="s" access="read"/>
    <property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionIconName" type="s" access="read"/>
    <property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionMovieName" type="s" access="read"/>
    <property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
    <property name="ItemIsMenu" type="b" access="read"/>
    <property name="Menu" type="o" access="read"/>
    <method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="Activate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="Scroll"><arg name="delta" type="i" direction="in"/><arg name="orientation" type="s" direction="in"/></method>
    <signal name="NewTitle"/>
    <signal name="NewIcon"/>
    <signal name="NewAttentionIcon"/>
    <signal name="NewOverlayIcon"/>
    <signal name="NewToolTip"/>
    <signal name="NewStatus"><arg name="status" type="s"/></signal>
  </interface>
</node>)xml";

GDBusNodeInfo* nodeInfo() {
    static GDBusNodeInfo* info = g_dbus_node_info_new_for_xml(introspection, nullptr);
    return info;
}

GVariant* emptyPixmaps() {
    return g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0);
}

}  // namespace

// The C callbacks of GDBus, with the item as user data.
struct StatusNotifierItem::Glue {
    static GVariant* getProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                 const gchar* name, GError**, gpointer data) {
        auto* self = static_cast<StatusNotifierItem*>(data);
        const std::string p = name;
        if (p == "Category") return g_variant_new_string("ApplicationStatus");
        if (p == "Id") return g_variant_new_string(self->options_.id.c_str());
        if (p == "Title") return g_variant_new_string(self->options_.title.c_str());
        if (p == "Status") return g_variant_new_string(self->status().c_str());
        if (p == "WindowId") return g_variant_new_int32(0);
        if (p == "IconThemePath") return g_variant_new_string(self->options_.iconThemePath.c_str());
        if (p == "IconName") return g_variant_new_string(self->iconName_.c_str());
        if (p == "AttentionIconName") return g_variant_new_string("dialog-warning");
        if (p == "OverlayIconName" || p == "AttentionMovieName") return g_variant_new_string("");
        if (p == "IconPixmap" || p == "OverlayIconPixmap" || p == "AttentionIconPixmap")
            return emptyPixmaps();
        if (p == "ToolTip") {
            return g_variant_new("(s@a(iiay)ss)", self->iconName_.c_str(), emptyPixmaps(),
                                 self->toolTip_.c_str(), self->iconDescription_.c_str());
        }
        if (p == "ItemIsMenu") return g_variant_new_boolean(TRUE);
        if (p == "Menu") return g_variant_new_object_path(self->options_.menuPath.c_str());
        return nullptr;
    }

    static void methodCall(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                           const gchar* method, GVariant*, GDBusMethodInvocation* invocation,
                           gpointer data) {
        auto* self = static_cast<StatusNotifierItem*>(data);
        // The menu is the whole interface: hosts open it themselves since ItemIsMenu is true.
        if (std::string(method) == "Activate" && self->activate_) self->activate_();
        g_dbus_method_invocation_return_value(invocation, nullptr);
    }

    static void busAcquired(GDBusConnection* connection, const gchar*, gpointer data) {
        auto* self = static_cast<StatusNotifierItem*>(data);
        self->connection_ = G_DBUS_CONNECTION(g_object_ref(connection));
        static const GDBusInterfaceVTable vtable = {methodCall, getProperty, nullptr, {}};
        self->objectID_ = g_dbus_connection_register_object(
            connection, objectPath, nodeInfo()->interfaces[0], &vtable, self, nullptr, nullptr);
    }

    static void nameAcquired(GDBusConnection* connection, const gchar*, gpointer data) {
        auto* self = static_cast<StatusNotifierItem*>(data);
        if (self->watchID_ != 0) return;
        self->watchID_ =
            g_bus_watch_name_on_connection(connection, watcherName, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                           watcherAppeared, watcherVanished, self, nullptr);
    }

    static void nameLost(GDBusConnection* connection, const gchar*, gpointer data) {
        auto* self = static_cast<StatusNotifierItem*>(data);
        self->registered_ = false;
        self->noteNoTray(connection ? "the name " + self->busName_ + " is taken"
                                    : "there is no session bus");
    }

    static void watcherAppeared(GDBusConnection*, const gchar*, const gchar*, gpointer data) {
        static_cast<StatusNotifierItem*>(data)->registerWithWatcher();
    }

    static void watcherVanished(GDBusConnection*, const gchar*, gpointer data) {
        auto* self = static_cast<StatusNotifierItem*>(data);
        self->registered_ = false;
        self->noteNoTray("no StatusNotifierWatcher on the session bus");
    }

    static void registered(GObject* source, GAsyncResult* result, gpointer data) {
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
        if (!reply) {
            // Cancelled means the item is being destroyed; `data` may be gone.
            if (!g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
                static_cast<StatusNotifierItem*>(data)->noteNoTray(
                    std::string("the StatusNotifierWatcher refused the item: ") + error->message);
            }
            g_error_free(error);
            return;
        }
        g_variant_unref(reply);
        auto* self = static_cast<StatusNotifierItem*>(data);
        self->registered_ = true;
        self->toldNoTray_ = false;
        Diag::log("tray: registered " + self->busName_ + " with the StatusNotifierWatcher");
    }
};

StatusNotifierItem::StatusNotifierItem(Options options)
    : options_(std::move(options)),
      busName_("org.kde.StatusNotifierItem-" + std::to_string(getpid()) + "-1") {
    iconName_ = options_.haveOwnIcons ? activeIcon : "preferences-system-windows";
    iconDescription_ = "Mavo";
    cancellable_ = g_cancellable_new();
}

StatusNotifierItem::~StatusNotifierItem() {
    g_cancellable_cancel(G_CANCELLABLE(cancellable_));
    if (watchID_) g_bus_unwatch_name(watchID_);
    if (objectID_ && connection_) g_dbus_connection_unregister_object(connection_, objectID_);
    if (ownerID_) g_bus_unown_name(ownerID_);
    if (connection_) g_object_unref(connection_);
    g_object_unref(cancellable_);
}

void StatusNotifierItem::start() {
    if (ownerID_) return;
    ownerID_ = g_bus_own_name(G_BUS_TYPE_SESSION, busName_.c_str(), G_BUS_NAME_OWNER_FLAGS_NONE,
                              Glue::busAcquired, Glue::nameAcquired, Glue::nameLost, this, nullptr);
}

void StatusNotifierItem::registerWithWatcher() {
    if (!connection_) return;
    g_dbus_connection_call(connection_, watcherName, "/StatusNotifierWatcher", watcherName,
                           "RegisterStatusNotifierItem", g_variant_new("(s)", busName_.c_str()),
                           nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, G_CANCELLABLE(cancellable_),
                           Glue::registered, this);
}

// Mavo works the same without an icon; it says so once until a tray takes the item.
void StatusNotifierItem::noteNoTray(const std::string& why) {
    if (toldNoTray_) return;
    toldNoTray_ = true;
    Diag::log("tray: " + why + "; running without an icon until a tray appears");
}

void StatusNotifierItem::emitSignal(const char* name, const char* arg) {
    if (!connection_) return;
    g_dbus_connection_emit_signal(connection_, nullptr, objectPath, itemInterface, name,
                                  arg ? g_variant_new("(s)", arg) : nullptr, nullptr);
}

// Hosts built on the generic properties interface watch this rather than the New* signals.
void StatusNotifierItem::propertiesChanged(const char* name) {
    if (!connection_) return;
    GVariant* value =
        Glue::getProperty(connection_, nullptr, objectPath, itemInterface, name, nullptr, this);
    GVariantBuilder changed;
    g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&changed, "{sv}", name, value);
    GVariantBuilder invalidated;
    g_variant_builder_init(&invalidated, G_VARIANT_TYPE("as"));
    g_dbus_connection_emit_signal(
        connection_, nullptr, objectPath, "org.freedesktop.DBus.Properties", "PropertiesChanged",
        g_variant_new("(sa{sv}as)", itemInterface, &changed, &invalidated), nullptr);
}

void StatusNotifierItem::setVisible(bool visible) {
    if (visible == visible_) return;
    visible_ = visible;
    emitSignal("NewStatus", status().c_str());
    propertiesChanged("Status");
}

void StatusNotifierItem::setIcon(const StatusIcon& icon) {
    std::string name;
    if (icon.state == "warn") {
        name = "dialog-warning";
    } else if (!options_.haveOwnIcons) {
        name = "preferences-system-windows";
    } else {
        name = icon.dimmed ? pausedIcon : activeIcon;
    }
    iconDescription_ = icon.description == "Mavo" ? "" : icon.description;
    if (name == iconName_) return;
    iconName_ = name;
    emitSignal("NewIcon", nullptr);
    emitSignal("NewToolTip", nullptr);
    propertiesChanged("IconName");
}

void StatusNotifierItem::setToolTip(const std::string& text) {
    toolTip_ = text;
    emitSignal("NewToolTip", nullptr);
}

void StatusNotifierItem::invalidateMenu() {
    if (menuInvalidated_) menuInvalidated_();
}

}  // namespace mavo

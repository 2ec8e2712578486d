#include "platform/linux/DbusControl.h"

#include <gio/gio.h>

#include <algorithm>
#include <cctype>

#include "app/Diag.h"

namespace mavo {

namespace {

constexpr const char* introspection = R"xml(
<node>
  <interface name="com.quastorn.mavo.Control">
    <method name="Pause"/>
    <method name="Resume"/>
    <method name="MaximizeAll"/>
    <method name="ReevaluateAll"/>
    <method name="Quit"/>
    <method name="GetAppSwitches">
      <arg name="app" type="s" direction="in"/>
      <arg name="managed" type="b" direction="out"/>
      <arg name="topCenter" type="b" direction="out"/>
      <arg name="alwaysMaximize" type="b" direction="out"/>
    </method>
    <method name="SetManaged"><arg name="app" type="s" direction="in"/><arg name="on" type="b" direction="in"/></method>
    <method name="SetTopCenter"><arg name="app" type="s" direction="in"/><arg name="on" type="b" direction="in"/></method>
    <method name="SetAlwaysMaximize"><arg name="app" type="s" direction="in"/><arg name="on" type="b" direction="in"/></method>
    <method name="ListPlacements">
      <arg name="placements" type="a(ssss(dddd))" direction="out"/>
    </method>
    <method name="ForgetPlacement">
      <arg name="key" type="s" direction="in"/>
      <arg name="forgotten" type="b" direction="out"/>
    </method>
    <method name="ForgetAllPlacements"><arg name="count" type="u" direction="out"/></method>
    <property name="State" type="s" access="read"/>
    <property name="WindowsMaximized" type="u" access="read"/>
    <property name="WindowsCannotBeMaximized" type="u" access="read"/>
    <property name="TrayPresent" type="b" access="read"/>
    <property name="DisplayArrangement" type="s" access="read"/>
    <property name="Display" type="s" access="read"/>
  </interface>
</node>)xml";

GDBusNodeInfo* nodeInfo() {
    static GDBusNodeInfo* info = g_dbus_node_info_new_for_xml(introspection, nullptr);
    return info;
}

GVariant* toVariant(const RemoteControl::Value& value) {
    if (auto* s = std::get_if<std::string>(&value)) return g_variant_new_string(s->c_str());
    if (auto* b = std::get_if<bool>(&value)) return g_variant_new_boolean(*b);
    return g_variant_new_uint32(static_cast<guint32>(std::max(0, std::get<int>(value))));
}

GVariant* placementList(const std::vector<RememberedPlacement>& placements) {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(ssss(dddd))"));
    for (const auto& p : placements) {
        g_variant_builder_add(&list, "(ssss(dddd))", p.key.c_str(), p.arrangement.c_str(),
                              p.application.c_str(), p.title.c_str(), p.frame.fx, p.frame.fy,
                              p.frame.fw, p.frame.fh);
    }
    return g_variant_new("(@a(ssss(dddd)))", g_variant_builder_end(&list));
}

}  // namespace

struct DbusControl::Glue {
    static GVariant* getProperty(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                 const gchar* name, GError** error, gpointer data) {
        auto* self = static_cast<DbusControl*>(data);
        if (std::string(name) == "Display") return g_variant_new_string(self->display_.c_str());
        if (auto value = self->control_.property(name)) return toVariant(*value);
        g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_PROPERTY, "no property %s", name);
        return nullptr;
    }

    static void methodCall(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                           const gchar* method, GVariant* params, GDBusMethodInvocation* invocation,
                           gpointer data) {
        auto* self = static_cast<DbusControl*>(data);
        RemoteControl& c = self->control_;
        const std::string m = method;
        GVariant* reply = nullptr;
        if (m == "Pause") {
            c.pause();
        } else if (m == "Resume") {
            c.resume();
        } else if (m == "MaximizeAll") {
            c.maximizeAll();
        } else if (m == "ReevaluateAll") {
            c.reevaluateAll();
        } else if (m == "Quit") {
            // Answered first: the termination handlers may take a while, and the loop ends after.
            g_dbus_method_invocation_return_value(invocation, nullptr);
            g_idle_add(
                [](gpointer d) -> gboolean {
                    auto* s = static_cast<DbusControl*>(d);
                    g_dbus_connection_flush_sync(s->connection_, nullptr, nullptr);
                    s->control_.quit();
                    return G_SOURCE_REMOVE;
                },
                self);
            return;
        } else if (m == "ListPlacements") {
            reply = placementList(c.placements());
        } else if (m == "ForgetPlacement") {
            const gchar* key = nullptr;
            g_variant_get(params, "(&s)", &key);
            reply = g_variant_new("(b)", c.forgetPlacement(key));
        } else if (m == "ForgetAllPlacements") {
            reply = g_variant_new("(u)", static_cast<guint32>(c.forgetAllPlacements()));
        } else {
            // The per-application switches: an application class first.
            const gchar* app = nullptr;
            gboolean on = FALSE;
            if (m == "GetAppSwitches") {
                g_variant_get(params, "(&s)", &app);
            } else {
                g_variant_get(params, "(&sb)", &app, &on);
            }
            if (!*app) {
                g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR,
                                                      G_DBUS_ERROR_INVALID_ARGS,
                                                      "an application class is needed");
                return;
            }
            if (m == "GetAppSwitches") {
                auto s = c.appSwitches(app);
                reply = g_variant_new("(bbb)", s.managed, s.topCenter, s.alwaysMaximize);
            } else if (m == "SetManaged") {
                c.setManaged(app, on);
            } else if (m == "SetTopCenter") {
                c.setTopCenter(app, on);
            } else {
                c.setAlwaysMaximize(app, on);
            }
        }
        g_dbus_method_invocation_return_value(invocation, reply);
        self->publishChanges();
    }
};

std::string DbusControl::displayBusName(const std::string& display) {
    std::string d = display;
    // ":0.1" and ":0" are the same display; a dot after the colon starts the screen number.
    if (size_t colon = d.rfind(':'); colon != std::string::npos) {
        if (size_t dot = d.find('.', colon); dot != std::string::npos) d.erase(dot);
    }
    if (!d.empty() && d[0] == ':') d.erase(0, 1);
    for (char& ch : d)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    return std::string(busName) + ".Display_" + d;
}

DbusControl::DbusControl(RemoteControl& control, std::string display)
    : control_(control), display_(std::move(display)) {}

DbusControl::~DbusControl() {
    if (timerID_) g_source_remove(timerID_);
    if (sharedNameID_) g_bus_unown_name(sharedNameID_);
    if (!connection_) return;
    if (objectID_) g_dbus_connection_unregister_object(connection_, objectID_);
    if (ownsDisplayName_) {
        GVariant* r = g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "ReleaseName", g_variant_new("(s)", displayBusName(display_).c_str()), nullptr,
            G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr);
        if (r) g_variant_unref(r);
    }
    g_object_unref(connection_);
}

bool DbusControl::start() {
    GError* error = nullptr;
    connection_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!connection_) {
        Diag::log(std::string("control: no session bus (") + error->message +
                  "); the mavo command cannot reach this Mavo");
        g_error_free(error);
        return false;
    }
    static const GDBusInterfaceVTable vtable = {Glue::methodCall, Glue::getProperty, nullptr, {}};
    objectID_ = g_dbus_connection_register_object(
        connection_, objectPath, nodeInfo()->interfaces[0], &vtable, this, nullptr, nullptr);
    // Asked for and answered before the launch completes; 4 = DBUS_NAME_FLAG_DO_NOT_QUEUE.
    const std::string name = displayBusName(display_);
    GVariant* reply = g_dbus_connection_call_sync(
        connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name.c_str(), 4u), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
    guint32 result = 0;
    if (reply) {
        g_variant_get(reply, "(u)", &result);
        g_variant_unref(reply);
    }
    ownsDisplayName_ = result == 1;  // DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER
    if (!ownsDisplayName_) {
        Diag::log("control: cannot own " + name + " on the session bus" +
                  (error ? std::string(" (") + error->message + ")" : std::string()));
        if (error) g_error_free(error);
        return false;
    }
    sharedNameID_ = g_bus_own_name_on_connection(connection_, busName, G_BUS_NAME_OWNER_FLAGS_NONE,
                                                 nullptr, nullptr, nullptr, nullptr);
    control_.changedProperties();  // the starting values are what a reader gets first
    timerID_ = g_timeout_add(
        1000,
        [](gpointer data) -> gboolean {
            static_cast<DbusControl*>(data)->publishChanges();
            return G_SOURCE_CONTINUE;
        },
        this);
    Diag::log("control: serving " + name + " on the session bus");
    return true;
}

void DbusControl::publishChanges() {
    if (!connection_) return;
    RemoteControl::Properties changed = control_.changedProperties();
    if (changed.empty()) return;
    GVariantBuilder values;
    g_variant_builder_init(&values, G_VARIANT_TYPE("a{sv}"));
    for (const auto& [name, value] : changed)
        g_variant_builder_add(&values, "{sv}", name.c_str(), toVariant(value));
    GVariantBuilder invalidated;
    g_variant_builder_init(&invalidated, G_VARIANT_TYPE("as"));
    g_dbus_connection_emit_signal(
        connection_, nullptr, objectPath, "org.freedesktop.DBus.Properties", "PropertiesChanged",
        g_variant_new("(sa{sv}as)", interfaceName, &values, &invalidated), nullptr);
}

}  // namespace mavo

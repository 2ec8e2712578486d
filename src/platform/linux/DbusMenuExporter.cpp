#include "platform/linux/DbusMenuExporter.h"

#include <libdbusmenu-glib/menuitem.h>
#include <libdbusmenu-glib/server.h>

#include <cmath>
#include <mutex>

#include "app/Diag.h"

namespace mavo {

namespace {

// The library warns on standard error when, say, there is no session bus; Mavo's only terminal
// line is the login-item failure, so its messages go to the diagnostic log instead.
void routeLibraryMessagesToDiag() {
    static std::once_flag once;
    std::call_once(once, [] {
        g_log_set_handler(
            "LIBDBUSMENU-GLIB",
            static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
            [](const gchar*, GLogLevelFlags, const gchar* message, gpointer) {
                Diag::log(std::string("tray: ") + (message ? message : ""));
            },
            nullptr);
    });
}

constexpr int delaySteps = 10;

}  // namespace

struct DbusMenuExporter::Glue {
    static void aboutToShow(DbusmenuMenuitem*, gpointer data) {
        static_cast<DbusMenuExporter*>(data)->rebuild();
    }

    static gboolean event(DbusmenuMenuitem*, gchar* name, GVariant*, guint, gpointer data) {
        auto* self = static_cast<DbusMenuExporter*>(data);
        const std::string n = name;
        if (n == DBUSMENU_MENUITEM_EVENT_OPENED && self->handlers_.opened) {
            self->handlers_.opened();
        } else if (n == DBUSMENU_MENUITEM_EVENT_CLOSED && self->handlers_.closed) {
            self->handlers_.closed();
        }
        return FALSE;
    }

    static void itemActivated(DbusmenuMenuitem* item, guint, gpointer data) {
        static_cast<DbusMenuExporter*>(data)->activated(item);
    }

    static gboolean idlePublish(gpointer data) {
        auto* self = static_cast<DbusMenuExporter*>(data);
        self->idleID_ = 0;
        MenuModel model = std::move(self->pending_);
        self->publish(model);
        return G_SOURCE_REMOVE;
    }
};

DbusMenuExporter::DbusMenuExporter(std::string objectPath, Handlers handlers)
    : objectPath_(std::move(objectPath)), handlers_(std::move(handlers)) {
    routeLibraryMessagesToDiag();
    server_ = dbusmenu_server_new(objectPath_.c_str());
    root_ = dbusmenu_menuitem_new_with_id(0);
    g_signal_connect(root_, DBUSMENU_MENUITEM_SIGNAL_ABOUT_TO_SHOW, G_CALLBACK(Glue::aboutToShow),
                     this);
    g_signal_connect(root_, DBUSMENU_MENUITEM_SIGNAL_EVENT, G_CALLBACK(Glue::event), this);
    dbusmenu_server_set_root(server_, root_);
    rebuild();
}

DbusMenuExporter::~DbusMenuExporter() {
    if (idleID_) g_source_remove(idleID_);
    g_signal_handlers_disconnect_by_data(root_, this);
    GList* children = dbusmenu_menuitem_take_children(root_);
    for (GList* l = children; l; l = l->next) {
        g_signal_handlers_disconnect_by_data(l->data, this);
        g_object_unref(l->data);
    }
    g_list_free(children);
    g_object_unref(server_);
    g_object_unref(root_);
}

void DbusMenuExporter::rebuild() {
    if (!handlers_.rebuild) return;
    publish(handlers_.rebuild());
}

void DbusMenuExporter::republish(const MenuModel& model) {
    pending_ = model;
    if (!idleID_) idleID_ = g_idle_add(Glue::idlePublish, this);
}

std::string DbusMenuExporter::label(const std::string& title) {
    std::string out;
    for (char c : title) {
        out += c;
        if (c == '_') out += '_';
    }
    return out;
}

std::string DbusMenuExporter::delayTitle(const MenuItem& delay) {
    return delay.title + ": " + delay.valueLabel;
}

void DbusMenuExporter::publish(const MenuModel& model) {
    published_ = model;
    actions_.clear();
    // Children of the old tree may still be in a signal emission; they are only released here,
    // after they have been detached from their handlers.
    GList* old = dbusmenu_menuitem_take_children(root_);
    for (GList* l = old; l; l = l->next) {
        std::function<void(DbusmenuMenuitem*)> detach = [&](DbusmenuMenuitem* mi) {
            g_signal_handlers_disconnect_by_data(mi, this);
            for (GList* c = dbusmenu_menuitem_get_children(mi); c; c = c->next)
                detach(DBUSMENU_MENUITEM(c->data));
        };
        detach(DBUSMENU_MENUITEM(l->data));
        g_object_unref(l->data);
    }
    g_list_free(old);
    fill(root_, model);
}

void DbusMenuExporter::fill(DbusmenuMenuitem* parent, const std::vector<MenuItem>& items) {
    for (const auto& item : items) {
        DbusmenuMenuitem* mi = makeItem(item);
        dbusmenu_menuitem_child_append(parent, mi);
        g_object_unref(mi);
    }
}

DbusmenuMenuitem* DbusMenuExporter::makeItem(const MenuItem& item) {
    DbusmenuMenuitem* mi = dbusmenu_menuitem_new();
    if (item.isSeparator()) {
        dbusmenu_menuitem_property_set(mi, DBUSMENU_MENUITEM_PROP_TYPE, "separator");
        return mi;
    }
    if (item.kind == MenuItem::Kind::delaySlider) {
        // No slider in dbusmenu: whole seconds as radio items, the current one marked.
        dbusmenu_menuitem_property_set(mi, DBUSMENU_MENUITEM_PROP_LABEL,
                                       label(delayTitle(item)).c_str());
        dbusmenu_menuitem_property_set(mi, DBUSMENU_MENUITEM_PROP_CHILD_DISPLAY,
                                       DBUSMENU_MENUITEM_CHILD_DISPLAY_SUBMENU);
        dbusmenu_menuitem_property_set_bool(mi, DBUSMENU_MENUITEM_PROP_ENABLED, item.enabled);
        const long current = std::lround(item.sliderValue);
        for (int s = 0; s <= delaySteps; ++s) {
            MenuItem choice = item;
            choice.kind = MenuItem::Kind::normal;
            choice.sliderValue = s;
            DbusmenuMenuitem* c = dbusmenu_menuitem_new();
            dbusmenu_menuitem_property_set(c, DBUSMENU_MENUITEM_PROP_LABEL,
                                           (std::to_string(s) + "s").c_str());
            dbusmenu_menuitem_property_set(c, DBUSMENU_MENUITEM_PROP_TOGGLE_TYPE,
                                           DBUSMENU_MENUITEM_TOGGLE_RADIO);
            dbusmenu_menuitem_property_set_int(c, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE,
                                               s == current
                                                   ? DBUSMENU_MENUITEM_TOGGLE_STATE_CHECKED
                                                   : DBUSMENU_MENUITEM_TOGGLE_STATE_UNCHECKED);
            actions_[dbusmenu_menuitem_get_id(c)] = choice;
            g_signal_connect(c, DBUSMENU_MENUITEM_SIGNAL_ITEM_ACTIVATED,
                             G_CALLBACK(Glue::itemActivated), this);
            dbusmenu_menuitem_child_append(mi, c);
            g_object_unref(c);
        }
        return mi;
    }
    dbusmenu_menuitem_property_set(mi, DBUSMENU_MENUITEM_PROP_LABEL, label(item.title).c_str());
    dbusmenu_menuitem_property_set_bool(mi, DBUSMENU_MENUITEM_PROP_ENABLED, item.enabled);
    if (item.checkable) {
        dbusmenu_menuitem_property_set(mi, DBUSMENU_MENUITEM_PROP_TOGGLE_TYPE,
                                       DBUSMENU_MENUITEM_TOGGLE_CHECK);
        dbusmenu_menuitem_property_set_int(mi, DBUSMENU_MENUITEM_PROP_TOGGLE_STATE,
                                           item.checked ? DBUSMENU_MENUITEM_TOGGLE_STATE_CHECKED
                                                        : DBUSMENU_MENUITEM_TOGGLE_STATE_UNCHECKED);
    }
    if (!item.keyEquivalent.empty()) {
        GVariantBuilder keys;
        g_variant_builder_init(&keys, G_VARIANT_TYPE("as"));
        g_variant_builder_add(&keys, "s", DBUSMENU_MENUITEM_SHORTCUT_CONTROL);
        g_variant_builder_add(&keys, "s", item.keyEquivalent.c_str());
        GVariantBuilder shortcut;
        g_variant_builder_init(&shortcut, G_VARIANT_TYPE("aas"));
        g_variant_builder_add_value(&shortcut, g_variant_builder_end(&keys));
        dbusmenu_menuitem_property_set_variant(mi, DBUSMENU_MENUITEM_PROP_SHORTCUT,
                                               g_variant_builder_end(&shortcut));
    }
    if (!item.submenu.empty()) {
        dbusmenu_menuitem_property_set(mi, DBUSMENU_MENUITEM_PROP_CHILD_DISPLAY,
                                       DBUSMENU_MENUITEM_CHILD_DISPLAY_SUBMENU);
        fill(mi, item.submenu);
    }
    if (item.action != MenuAction::none) {
        actions_[dbusmenu_menuitem_get_id(mi)] = item;
        g_signal_connect(mi, DBUSMENU_MENUITEM_SIGNAL_ITEM_ACTIVATED,
                         G_CALLBACK(Glue::itemActivated), this);
    }
    return mi;
}

void DbusMenuExporter::activated(DbusmenuMenuitem* mi) {
    auto it = actions_.find(dbusmenu_menuitem_get_id(mi));
    if (it == actions_.end() || !handlers_.perform) return;
    // Labels and disabled rows never act, even if a host sends a click for them.
    if (!it->second.enabled) return;
    MenuItem item = it->second;  // performing may republish and clear the table
    handlers_.perform(item);
}

}  // namespace mavo

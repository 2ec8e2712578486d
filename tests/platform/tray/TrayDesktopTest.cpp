// The real `mavo` program on a private desktop and GIO's test session bus, read and clicked by a
// tray host of the tests' own on the default main context.

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>

#include "support/TestDesktop.h"

namespace mavo::test {
namespace {

namespace fs = std::filesystem;
using Rows = std::vector<std::string>;

bool pump(const std::function<bool()>& condition, double seconds = 5) {
    return TestDesktop::waitUntil(
        [&] {
            while (g_main_context_iteration(nullptr, FALSE)) {
            }
            return condition();
        },
        seconds);
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
        static auto registered = [](GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                    const gchar*, GVariant* params, GDBusMethodInvocation* call,
                                    gpointer self) {
            const gchar* service = nullptr;
            g_variant_get(params, "(&s)", &service);
            static_cast<TestWatcher*>(self)->registrations.emplace_back(service);
            g_dbus_method_invocation_return_value(call, nullptr);
        };
        static const GDBusInterfaceVTable vtable = {registered, nullptr, nullptr, {}};
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
        g_autoptr(GVariant) props = nullptr;
        g_autoptr(GVariantIter) kids = nullptr;
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
                const gchar* arg = "";
                if (g_variant_is_of_type(params, G_VARIANT_TYPE("(s)")))
                    g_variant_get(params, "(&s)", &arg);
                static_cast<ItemView*>(self)->signals.push_back(std::string(signal) +
                                                                (*arg ? ":" : "") + arg);
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
        g_autoptr(GVariant) reply = call(path, "org.freedesktop.DBus.Properties", "Get",
                                         g_variant_new("(ss)", interface, name), "(v)");
        if (!reply) return std::nullopt;
        g_autoptr(GVariant) value = nullptr;
        g_variant_get(reply, "(v)", &value);
        g_autofree gchar* text = g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) ||
                                         g_variant_is_of_type(value, G_VARIANT_TYPE_OBJECT_PATH)
                                     ? g_variant_dup_string(value, nullptr)
                                     : g_variant_print(value, FALSE);
        return text;
    }
    bool becomes(const char* name, const std::string& value) {
        return pump([&] { return property(name) == value; });
    }
    // Asking first, as a panel does right before showing it.
    MenuNode menu(bool aboutToShow = false) {
        g_autoptr(GVariant) shown =
            aboutToShow ? call(kMenu, kMenuInterface, "AboutToShow", g_variant_new("(i)", 0), "(b)")
                        : nullptr;
        g_autoptr(GVariant) reply =
            call(kMenu, kMenuInterface, "GetLayout",
                 g_variant_new("(ii@as)", 0, -1, g_variant_new_strv(nullptr, 0)), "(u(ia{sv}av))");
        if (!reply || (aboutToShow && !shown)) return {};
        g_autoptr(GVariant) layout = g_variant_get_child_value(reply, 1);
        return MenuNode(layout);
    }
    void send(const MenuNode& item, const char* event = "clicked") {
        g_autoptr(GVariant) reply =
            call(kMenu, kMenuInterface, "Event",
                 g_variant_new("(isvu)", item.id, event, g_variant_new_int32(0),
                               static_cast<guint32>(g_get_monotonic_time() / 1000)),
                 nullptr);
    }

    std::vector<std::string> signals;  // "NewStatus:Passive", "NewIcon", ...

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

TEST(TrayDesktop, HostReadsTheItemAndMenuWhileThePointerAndClicksDriveTheRealProgram) {
    // Stopped at the end but never torn down: that would wait for GLib's own connection to go.
    std::unique_ptr<GTestDBus, void (*)(GTestDBus*)> bus(g_test_dbus_new(G_TEST_DBUS_NONE),
                                                         &g_test_dbus_stop);
    g_test_dbus_up(bus.get());
    TestDesktop desktop;
    ASSERT_EQ(desktop.failure(), "");
    const fs::path defaults = desktop.home() / "config/mavo/defaults.json",
                   diag = desktop.home() / "diag.log";
    fs::create_directories(defaults.parent_path());
    std::ofstream(defaults) << R"({"autoHideIcon": true, "unhideDelay": 0})";
    auto settings = [&] {
        auto j = nlohmann::json::parse(std::ifstream(defaults), nullptr, false);
        return j.is_object() ? j : nlohmann::json::object();  // half written
    };
    auto diagLines = [&](const std::string& text) {
        std::ifstream in(diag);
        int n = 0;
        for (std::string line; std::getline(in, line);) n += line.find(text) != std::string::npos;
        return n;
    };
    ASSERT_TRUE(desktop.xdotool("mousemove 800 600"));
    pid_t mavo = desktop.spawn(
        {MAVO_PROGRAM},
        {"DBUS_SESSION_BUS_ADDRESS=" + std::string(g_test_dbus_get_bus_address(bus.get())),
         "MAVO_DIAG_LOG=" + diag.string()});
    const std::string name = "org.kde.StatusNotifierItem-" + std::to_string(mavo) + "-1";

    // No panel yet: said once; then registered with each panel that appears.
    ASSERT_TRUE(pump([&] { return diagLines("without an icon") > 0; }, 10));
    EXPECT_FALSE(pump([&] { return diagLines("without an icon") > 1; }, 0.3));
    std::unique_ptr<TestWatcher> tray;
    for (int panel = 0; panel < 2; ++panel) {
        tray.reset();  // gives up the name before the next panel asks for it
        tray = std::make_unique<TestWatcher>();
        ASSERT_TRUE(pump([&] { return !tray->registrations.empty(); })) << panel;
        EXPECT_EQ(tray->registrations[0], name);
    }
    ItemView item(name);
    for (auto [property, value] : {std::pair{"IconName", "com.quastorn.mavo-symbolic"},
                                   {"Menu", "/MenuBar"},
                                   {"ItemIsMenu", "true"}})
        EXPECT_EQ(item.property(property), value) << property;
    fs::path theme = item.property("IconThemePath").value_or("");
    for (const char* icon :
         {"com.quastorn.mavo-symbolic.svg", "com.quastorn.mavo-paused-symbolic.svg"})
        EXPECT_TRUE(fs::exists(theme / "hicolor/symbolic/apps" / icon)) << theme << icon;
    EXPECT_TRUE(pump([&] {  // the remote control knows a tray took the item
        return item.property("TrayPresent", "/com/quastorn/mavo", "com.quastorn.mavo.Control") ==
               "true";
    }));

    // Hidden until the pointer is in the band at the top edge.
    ASSERT_TRUE(item.becomes("Status", "Passive"));
    ASSERT_TRUE(desktop.xdotool("mousemove 800 5"));
    EXPECT_TRUE(item.becomes("Status", "Active"));
    ASSERT_TRUE(desktop.xdotool("mousemove 300 40"));
    EXPECT_TRUE(item.becomes("Status", "Passive"));
    EXPECT_EQ(std::ranges::count(item.signals, "NewStatus:Active"), 1);
    // An open menu shows the icon with the pointer away, and closing it hides it again.
    MenuNode menu = item.menu(true);
    item.send(menu, "opened");
    EXPECT_TRUE(item.becomes("Status", "Active"));
    item.send(menu, "closed");
    EXPECT_TRUE(item.becomes("Status", "Passive"));

    Rows rows = menu.rows();
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0], "Mavo: active (off)");
    for (const char* row : {"---", "Pause", "Hide Icon Until Hover [x]", "Show/hide delay: 0s >"})
        EXPECT_GT(std::ranges::count(rows, row), 0) << row;
    Rows seconds{"0s (x)"};  // the slider becomes whole-second radio items
    for (int s = 1; s <= 10; ++s) seconds.push_back(std::to_string(s) + "s ( )");
    EXPECT_EQ(menu["Show/hide delay: 0s"].rows(), seconds);

    item.send(menu["Pause"]);
    ASSERT_TRUE(pump([&] { return settings().value("paused", false); }));
    EXPECT_TRUE(item.becomes("IconName", "com.quastorn.mavo-paused-symbolic"));
    EXPECT_TRUE(pump([&] { return std::ranges::count(item.signals, "NewIcon") > 0; }));
    // The menu is rebuilt for each opening: it names the frontmost application.
    ASSERT_TRUE(desktop.startClient({"--class", "TrayNotes"}));
    EXPECT_TRUE(pump([&] {
        rows = (menu = item.menu(true)).rows();
        return std::ranges::count(rows, "Don’t Manage “TrayNotes”") == 1;
    }));
    // A whole-second choice lands in the settings file and in the open menu's label.
    item.send(menu["Show/hide delay: 0s"]["3s"]);
    EXPECT_TRUE(pump([&] { return settings().value("unhideDelay", -1.0) == 3.0; }));
    EXPECT_TRUE(pump([&] { return item.menu()["Show/hide delay: 3s"].id >= 0; }));

    item.send(item.menu()["Quit Mavo"]);
    std::optional<int> status;
    EXPECT_TRUE(pump([&] { return (status = desktop.waitExit(mavo, 0.05)).has_value(); }));
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace mavo::test

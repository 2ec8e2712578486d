#include "platform/linux/ControlCommand.h"

#include <gio/gio.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <thread>

#include "app/Diag.h"
#include "platform/linux/DbusControl.h"

namespace mavo {

const char* const controlHelp =
    "Usage: mavo [VERB]\n"
    "Keeps your app windows maximized, except ones you’ve snapped.\n"
    "Without a verb, starts Mavo on this X display; it lives in the tray, whose menu holds every\n"
    "setting. The verbs steer the Mavo running on this display:\n"
    "  pause          pause automatic maximizing\n"
    "  resume         resume it\n"
    "  maximize-all   maximize every window now (and forget the placements of the current\n"
    "                 display arrangement)\n"
    "  status         state, windows maximized, windows that can't be maximized, tray\n"
    "  placements     list remembered placements (tab-separated, with their keys)\n"
    "  forget KEY     forget one remembered placement\n"
    "  forget --all   forget every remembered placement\n"
    "  log            print the diagnostic log\n"
    "  quit           quit Mavo (pending placements are written first)\n"
    "  --help, -h     show this help;  --version  print the version\n"
    "Exit status: 0 done, 1 Mavo is not running, 2 wrong usage.\n";

namespace {

const std::vector<std::string> verbs = {"pause",      "resume", "maximize-all", "status",
                                        "placements", "forget", "log",          "quit"};

int usageError(const std::string& message) {
    std::fprintf(stderr, "mavo: %s (try mavo --help)\n", message.c_str());
    return controlUsage;
}

std::string displayName() {
    const char* d = std::getenv("DISPLAY");
    return d ? d : "";
}

// The running Mavo on the session bus, or why there is none.
class Connection {
  public:
    explicit Connection(const std::string& display)
        : name_(display.empty() ? DbusControl::busName : DbusControl::displayBusName(display)),
          where_(display.empty() ? "" : " on display \"" + display + "\"") {
        GError* error = nullptr;
        bus_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
        if (!bus_) {
            problem_ = std::string("there is no session bus to reach it: ") + error->message;
            g_error_free(error);
        } else if (!nameHasOwner()) {
            problem_ = "";
        }
    }
    ~Connection() {
        if (bus_) g_object_unref(bus_);
    }

    bool reachable() const { return !problem_; }
    int notRunning() const {
        std::fprintf(stderr, "mavo: Mavo is not running%s%s.\n", where_.c_str(),
                     problem_ && !problem_->empty() ? (" (" + *problem_ + ")").c_str() : "");
        return controlNotRunning;
    }

    // The reply, or nothing after telling why on standard error.
    GVariant* call(const char* method, GVariant* params = nullptr,
                   const char* interface = DbusControl::interfaceName) {
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_sync(
            bus_, name_.c_str(), DbusControl::objectPath, interface, method, params, nullptr,
            G_DBUS_CALL_FLAGS_NONE, 30000, nullptr, &error);
        if (!reply) {
            std::fprintf(stderr, "mavo: Mavo%s did not answer: %s\n", where_.c_str(),
                         error->message);
            g_error_free(error);
        }
        return reply;
    }

    bool nameHasOwner() {
        GVariant* r = g_dbus_connection_call_sync(
            bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameHasOwner", g_variant_new("(s)", name_.c_str()), G_VARIANT_TYPE("(b)"),
            G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
        gboolean owned = FALSE;
        if (r) {
            g_variant_get(r, "(b)", &owned);
            g_variant_unref(r);
        }
        return owned;
    }

    const std::string& where() const { return where_; }

  private:
    GDBusConnection* bus_ = nullptr;
    std::string name_, where_;
    std::optional<std::string> problem_;  // set when Mavo cannot be reached; "" for not running
};

bool simpleCall(Connection& c, const char* method) {
    GVariant* reply = c.call(method);
    if (reply) g_variant_unref(reply);
    return reply != nullptr;
}

bool printStatusOf(Connection& c) {
    GVariant* reply = c.call("GetAll", g_variant_new("(s)", DbusControl::interfaceName),
                             "org.freedesktop.DBus.Properties");
    if (!reply) return false;
    GVariant* props = g_variant_get_child_value(reply, 0);
    const gchar* state = "unknown";
    guint32 maximized = 0, cannot = 0;
    gboolean tray = FALSE;
    g_variant_lookup(props, "State", "&s", &state);
    g_variant_lookup(props, "WindowsMaximized", "u", &maximized);
    g_variant_lookup(props, "WindowsCannotBeMaximized", "u", &cannot);
    g_variant_lookup(props, "TrayPresent", "b", &tray);
    std::string shown = state;
    std::replace(shown.begin(), shown.end(), '-', ' ');
    std::printf(
        "state: %s\nwindows maximized: %u\nwindows that can't be maximized: %u\n"
        "tray: %s\n",
        shown.c_str(), maximized, cannot, tray ? "present" : "none");
    g_variant_unref(props);
    g_variant_unref(reply);
    return true;
}

std::string percent(double fraction) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.4g%%", fraction * 100);
    return buf;
}

bool printPlacements(Connection& c) {
    GVariant* reply = c.call("ListPlacements");
    if (!reply) return false;
    GVariantIter* iter = nullptr;
    g_variant_get(reply, "(a(ssss(dddd)))", &iter);
    const gchar *key, *arrangement, *app, *title;
    double fx, fy, fw, fh;
    bool any = false;
    while (g_variant_iter_loop(iter, "(&s&s&s&s(dddd))", &key, &arrangement, &app, &title, &fx, &fy,
                               &fw, &fh)) {
        if (!any) std::printf("ARRANGEMENT\tAPPLICATION\tTITLE\tFRAME\tKEY\n");
        any = true;
        // The frame as parts of the visible frame of the display: left, top, width, height.
        std::printf("%s\t%s\t%s\tx=%s y=%s w=%s h=%s\t%s\n", arrangement, app, title,
                    percent(fx).c_str(), percent(fy).c_str(), percent(fw).c_str(),
                    percent(fh).c_str(), key);
    }
    if (!any) std::printf("No remembered placements.\n");
    g_variant_iter_free(iter);
    g_variant_unref(reply);
    return true;
}

int forget(Connection& c, const std::string& key) {
    if (key == "--all") {
        GVariant* reply = c.call("ForgetAllPlacements");
        if (!reply) return controlNotRunning;
        guint32 n = 0;
        g_variant_get(reply, "(u)", &n);
        g_variant_unref(reply);
        std::printf("Forgot %u remembered placement%s.\n", n, n == 1 ? "" : "s");
        return controlDone;
    }
    GVariant* reply = c.call("ForgetPlacement", g_variant_new("(s)", key.c_str()));
    if (!reply) return controlNotRunning;
    gboolean forgotten = FALSE;
    g_variant_get(reply, "(b)", &forgotten);
    g_variant_unref(reply);
    if (!forgotten) return usageError("no remembered placement has the key \"" + key + "\"");
    std::printf("Forgot the placement %s.\n", key.c_str());
    return controlDone;
}

int quit(Connection& c) {
    if (!simpleCall(c, "Quit")) return controlNotRunning;
    // Back only once it has gone, so that `mavo quit && mavo` starts a fresh one.
    for (int i = 0; i < 300 && c.nameHasOwner(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (c.nameHasOwner()) {
        std::fprintf(stderr, "mavo: Mavo%s was asked to quit and still runs.\n", c.where().c_str());
        return controlNotRunning;
    }
    std::printf("Mavo has quit.\n");
    return controlDone;
}

int printLog() {
    // The tests keep each run's log apart, as the program itself does.
    const char* custom = std::getenv("MAVO_DIAG_LOG");
    const std::string path = custom && *custom ? custom : Diag::defaultPath;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr,
                     "mavo: there is no diagnostic log at %s; Mavo writes it while it runs.\n",
                     path.c_str());
        return controlNotRunning;
    }
    std::cout << in.rdbuf() << std::flush;
    return controlDone;
}

}  // namespace

bool isControlVerb(const std::string& word) {
    return std::ranges::count(verbs, word) > 0;
}

bool printStatus(const std::string& display) {
    Connection c(display);
    return c.reachable() && printStatusOf(c);
}

int runControlVerb(const std::vector<std::string>& args) {
    const std::string& verb = args.at(0);
    if (!isControlVerb(verb)) return usageError("unknown verb \"" + verb + "\"");
    const size_t wanted = verb == "forget" ? 2 : 1;
    if (verb == "forget" && args.size() < 2) return usageError("forget needs a KEY or --all");
    if (args.size() > wanted) return usageError(verb + " takes no further words");
    if (verb == "log") return printLog();

    Connection c(displayName());
    if (!c.reachable()) return c.notRunning();
    bool ok = true;
    if (verb == "pause") {
        ok = simpleCall(c, "Pause") && std::printf("Mavo paused.\n");
    } else if (verb == "resume") {
        ok = simpleCall(c, "Resume") && std::printf("Mavo resumed.\n");
    } else if (verb == "maximize-all") {
        ok = simpleCall(c, "MaximizeAll") && std::printf("Maximizing every window.\n");
    } else if (verb == "status") {
        ok = printStatusOf(c);
    } else if (verb == "placements") {
        ok = printPlacements(c);
    } else if (verb == "forget") {
        return forget(c, args[1]);
    } else if (verb == "quit") {
        return quit(c);
    }
    return ok ? controlDone : controlNotRunning;
}

}  // namespace mavo

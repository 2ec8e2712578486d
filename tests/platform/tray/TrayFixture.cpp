// The item side of the tray protocol test: Mavo's real tray around a recording engine, on the
// bus DBUS_SESSION_BUS_ADDRESS names. Engine calls, events and "quit" are appended as lines to
// $TRAY_FIXTURE_DIR/calls.log, as is opening the diagnostic log; settings live in defaults.json
// there, placements in placements/, the diagnostic log in diag.log, and the pointer is read from
// the file "pointer" ("x y", bottom-left convention). The screen is 1920 x 1080 with a 25-point
// bar. SIGTERM or "Quit Mavo" ends it with status 0.

#include <glib-unix.h>

#include <cstdlib>
#include <fstream>

#include "app/Diag.h"
#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeMenuEngine.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeWorkspace.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/LinuxStatusTray.h"
#include "platform/linux/XdgAutostart.h"
#include "ui/RememberedPlacements.h"

using namespace mavo;

namespace {

const std::string dir = std::getenv("TRAY_FIXTURE_DIR") ? std::getenv("TRAY_FIXTURE_DIR") : "/tmp";

void logLine(const std::string& line) {
    std::ofstream(dir + "/calls.log", std::ios::app) << line << "\n";
}

class LoggingEvents final : public EventTracker {
  public:
    void trackEvent(const std::string& name, const nlohmann::json&) override {
        logLine("event:" + name);
    }
};

}  // namespace

int main() {
    Diag::setPath(dir + "/diag.log");
    Diag::reset();
    JsonFileDefaults defaults(dir + "/defaults.json");
    test::FakePermissions permissions(true);
    test::FakeWorkspace workspace;
    workspace.addRunning({100, "org.example.Editor", "Editor"});
    workspace.setFrontmost(100);
    test::FakeDisplaySource displays({test::primary1080()});
    XdgAutostart autostart(dir + "/autostart/mavo.desktop", "/usr/bin/true");
    LoginItem loginItem(autostart, defaults, [](const std::string&) {});
    LoggingEvents events;
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    // One placement on the fixture's displays ("A1"), one on others.
    PlacementStore store(dir + "/placements");
    store.put("A1|org.example.Editor|notes", {"A1", {0, 0, 0.5, 1}, 0, {}, {}});
    store.put("B2|org.example.Zeta|", {"B2", {0, 0, 0.5, 1}, 0, {}, {}});
    RememberedPlacements placements(store, [] { return std::string("A1"); });

    auto engine = std::make_unique<test::FakeMenuEngine>();
    engine->excluded = {"org.example.Zeta", "org.example.Alpha"};
    engine->isPaused = defaults.boolean("paused");
    engine->cannotFill = 2;
    engine->onCall = [](const std::string& call) { logLine("engine:" + call); };
    auto pointer = []() -> std::optional<Point> {
        double x, y;
        if (std::ifstream(dir + "/pointer") >> x >> y) return Point{x, y};
        return std::nullopt;
    };
    auto quit = [loop] {
        logLine("quit");
        g_main_loop_quit(loop);
    };
    auto controller = makeLinuxStatusController(
        std::move(engine),
        {permissions, workspace, loginItem, events, defaults, displays, pointer, quit,
         "com.quastorn.mavo", std::string("9.8.7"), "", &placements, [] { logLine("showLog"); }});
    g_unix_signal_add(SIGTERM, G_SOURCE_FUNC(+[](GMainLoop* l) {
                          g_main_loop_quit(l);
                          return G_SOURCE_REMOVE;
                      }),
                      loop);
    logLine("ready");
    g_main_loop_run(loop);
    controller.reset();
    Diag::drain();
    g_main_loop_unref(loop);
}

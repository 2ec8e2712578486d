// The item side of the tray protocol test: Mavo's real tray (StatusNotifierItem, dbusmenu
// exporter, status controller, settings file) around a recording engine, on whatever session
// bus DBUS_SESSION_BUS_ADDRESS names. Every engine call and analytics event is appended as one
// line to $TRAY_FIXTURE_LOG. The pointer is read from $TRAY_FIXTURE_POINTER ("x y" in the
// bottom-left convention; a missing file means no pointer). The single screen is 1920 x 1080
// with a 25-point bar at the top. SIGTERM or "Quit Mavo" ends it with status 0.

#include <glib-unix.h>
#include <glib.h>

#include <cstdlib>
#include <fstream>
#include <iostream>

#include "app/Diag.h"
#include "app/LoginItem.h"
#include "fakes/FakeDisplaySource.h"
#include "fakes/FakeMenuEngine.h"
#include "fakes/FakePermissions.h"
#include "fakes/FakeWorkspace.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/LinuxStatusTray.h"

using namespace mavo;

namespace {

std::string logPath() {
    const char* p = std::getenv("TRAY_FIXTURE_LOG");
    return p ? p : "/dev/null";
}

void logLine(const std::string& line) {
    std::ofstream out(logPath(), std::ios::app);
    out << line << "\n";
}

// Records every call so the test can see what a click did.
class LoggingEngine final : public MenuEngine {
  public:
    bool paused() const override { return inner_.paused(); }
    void setPaused(bool v) override {
        call([&] { inner_.setPaused(v); });
    }
    void persistPaused() override {
        call([&] { inner_.persistPaused(); });
    }
    bool excludesBundleID(const std::string& b) const override {
        return inner_.excludesBundleID(b);
    }
    std::vector<std::string> excludedBundleIDs() const override {
        return inner_.excludedBundleIDs();
    }
    void toggleExclusion(const std::string& b) override {
        call([&] { inner_.toggleExclusion(b); });
    }
    bool topCenterMode() const override { return inner_.topCenterMode(); }
    void setTopCenterMode(bool v) override {
        call([&] { inner_.setTopCenterMode(v); });
    }
    void persistTopCenterMode() override {
        call([&] { inner_.persistTopCenterMode(); });
    }
    bool topCentersBundleID(const std::string& b) const override {
        return inner_.topCentersBundleID(b);
    }
    void toggleTopCenter(const std::string& b) override {
        call([&] { inner_.toggleTopCenter(b); });
    }
    bool focusSizeBigDisplays() const override { return inner_.focusSizeBigDisplays(); }
    void setFocusSizeBigDisplays(bool v) override {
        call([&] { inner_.setFocusSizeBigDisplays(v); });
    }
    void persistFocusSizeBigDisplays() override {
        call([&] { inner_.persistFocusSizeBigDisplays(); });
    }
    bool maximizesBundleID(const std::string& b) const override {
        return inner_.maximizesBundleID(b);
    }
    void toggleMaximizeApp(const std::string& b) override {
        call([&] { inner_.toggleMaximizeApp(b); });
    }
    int cannotFillCount() const override { return 2; }
    void reevaluateAll() override {
        call([&] { inner_.reevaluateAll(); });
    }
    void maximizeAllNow() override {
        call([&] { inner_.maximizeAllNow(); });
    }

    test::FakeMenuEngine inner_;

  private:
    template <class F>
    void call(F f) {
        f();
        logLine("engine:" + inner_.calls.back());
    }
};

class LoggingEvents final : public EventTracker {
  public:
    void trackEvent(const std::string& name, const nlohmann::json&) override {
        logLine("event:" + name);
    }
};

class NoLogin final : public LoginService {
  public:
    Status status() override { return on_ ? Status::enabled : Status::notRegistered; }
    bool registerApp(std::string&) override { return on_ = true; }
    bool unregisterApp(std::string&) override {
        on_ = false;
        return true;
    }

  private:
    bool on_ = false;
};

}  // namespace

int main() {
    const char* defaultsPath = std::getenv("TRAY_FIXTURE_DEFAULTS");
    if (!defaultsPath) {
        std::cerr << "TRAY_FIXTURE_DEFAULTS is not set\n";
        return 2;
    }
    if (const char* diag = std::getenv("TRAY_FIXTURE_DIAG")) Diag::setPath(diag);
    Diag::reset();

    JsonFileDefaults defaults(defaultsPath);
    test::FakePermissions permissions(true);
    test::FakeWorkspace workspace;
    workspace.addRunning({100, "org.example.Editor", "Editor"});
    workspace.setFrontmost(100);
    test::FakeDisplaySource displays({test::primary1080()});
    NoLogin loginService;
    LoginItem loginItem(loginService, defaults, [](const std::string&) {});
    LoggingEvents events;
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);

    auto engine = std::make_unique<LoggingEngine>();
    engine->inner_.excluded = {"org.example.Zeta", "org.example.Alpha"};
    engine->inner_.isPaused = defaults.boolean("paused");

    LinuxTrayServices services{permissions,
                               workspace,
                               loginItem,
                               events,
                               defaults,
                               displays,
                               []() -> std::optional<Point> {
                                   const char* p = std::getenv("TRAY_FIXTURE_POINTER");
                                   std::ifstream in(p ? p : "");
                                   double x, y;
                                   if (in >> x >> y) return Point{x, y};
                                   return std::nullopt;
                               },
                               [loop] {
                                   logLine("quit");
                                   g_main_loop_quit(loop);
                               },
                               "com.quastorn.mavo",
                               std::string("9.8.7"),
                               ""};
    auto controller = makeLinuxStatusController(std::move(engine), std::move(services));

    g_unix_signal_add(
        SIGTERM,
        [](gpointer l) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(l));
            return G_SOURCE_REMOVE;
        },
        loop);
    logLine("ready");
    g_main_loop_run(loop);
    controller.reset();
    Diag::drain();
    g_main_loop_unref(loop);
    return 0;
}

// The `mavo` program: checks that there is an X display to manage and that no other Mavo runs on
// it, builds the X11 backend and the Linux services, hands them to the application delegate and
// runs the GLib main loop until the session ends, a terminating signal arrives or it is told to
// quit. With a verb (`mavo pause`, ...) it steers the running Mavo instead.

#include <glib-unix.h>
#include <glib.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "analytics/Analytics.h"
#include "app/AppDelegate.h"
#include "app/Diag.h"
#include "app/LoginItem.h"
#include "common/Clock.h"
#include "common/Version.h"
#include "engine/DragMonitor.h"
#include "geometry/ScreenCache.h"
#include "placements/PlacementStore.h"
#include "platform/linux/ControlCommand.h"
#include "platform/linux/DbusControl.h"
#include "platform/linux/DesktopApps.h"
#include "platform/linux/GLibShellLoop.h"
#include "platform/linux/GLibTimers.h"
#include "platform/linux/HelpPage.h"
#include "platform/linux/JsonFileDefaults.h"
#include "platform/linux/LinuxAnalytics.h"
#include "platform/linux/LinuxBuiltInApps.h"
#include "platform/linux/LinuxStatusTray.h"
#include "platform/linux/SessionCheck.h"
#include "platform/linux/XdgAutostart.h"
#include "platform/linux/shell/InstanceGuard.h"
#include "platform/linux/shell/TestHooks.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11DisplaySource.h"
#include "platform/x11/X11InputSource.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11WindowList.h"
#include "platform/x11/X11WindowModel.h"
#include "platform/x11/X11WindowServer.h"
#include "platform/x11/X11Workspace.h"
#include "ui/RememberedPlacements.h"
#include "ui/RemoteControl.h"

namespace {

using namespace mavo;

// Mavo's own "bundle id": the class it would give a window of its own.
constexpr const char* selfBundleID = "Mavo";

// Exit statuses besides 0: no X display to work on, a bad command line, and (in the strict mode
// of the tests) X errors that no vanished window explains.
enum ExitStatus { noDisplay = 1, usage = controlUsage, unexpectedXErrors = 3 };

bool envFlag(const char* name) {
    const char* v = std::getenv(name);
    return v && *v && std::strcmp(v, "0") != 0;
}

class SharedAnalytics final : public AnalyticsControl {
  public:
    void start() override { Analytics::shared().start(); }
    void trackEvent(const std::string& name, const nlohmann::json& props) override {
        Analytics::shared().trackEvent(name, props);
    }
    // Called at termination only: the batch must leave before the process does.
    void flush() override { Analytics::shared().appWillTerminate(); }
};

// Unexpected X errors are printed as they come and decide the exit status.
class StrictErrorReporter {
  public:
    explicit StrictErrorReporter(X11Connection& x11) : x11_(x11) {}
    void report() {
        auto errors = x11_.unexpectedErrors();
        for (size_t i = reported_; i < errors.size(); ++i) {
            std::fprintf(stderr, "Mavo: unexpected X error: %s\n", errors[i].c_str());
            Diag::log("unexpected X error: " + errors[i]);
        }
        reported_ = errors.size();
    }
    bool any() const { return reported_ > 0; }

  private:
    X11Connection& x11_;
    size_t reported_ = 0;
};

int runMavo() {
    if (auto problem =
            sessionProblem([](const char* n) -> const char* { return std::getenv(n); })) {
        std::fprintf(stderr, "%s\n", problem->c_str());
        return noDisplay;
    }
    const bool strict = envFlag("MAVO_STRICT_X_ERRORS");
    std::unique_ptr<X11Connection> x11 = X11Connection::open(nullptr, {.strictErrors = strict});
    if (!x11) {
        std::fprintf(stderr, "Mavo: cannot open the X display \"%s\"; Mavo needs an X11 session.\n",
                     std::getenv("DISPLAY"));
        return noDisplay;
    }
    std::unique_ptr<InstanceGuard> guard = InstanceGuard::claim(*x11);
    const std::string display = std::getenv("DISPLAY") ? std::getenv("DISPLAY") : "";
    if (!guard) {
        // Starting it again is no mistake (autostart and a hand may both do it): say what runs.
        std::fprintf(stderr, "Mavo: another Mavo is already running on display \"%s\".\n",
                     display.c_str());
        printStatus(display);
        return 0;
    }
    // The tests keep each run's log apart; everyone else gets the usual file.
    if (const char* diag = std::getenv("MAVO_DIAG_LOG"); diag && *diag) Diag::setPath(diag);

    GLibShellLoop loop;
    GLibTimers timers;
    loop.handleTerminationSignals();
    g_unix_fd_add(
        x11->fd(), G_IO_IN,
        [](int, GIOCondition, gpointer data) -> gboolean {
            static_cast<X11Connection*>(data)->dispatchPending();
            return G_SOURCE_CONTINUE;
        },
        x11.get());
    bool lostServer = false;
    x11->setConnectionLostHandler([&] {
        lostServer = true;
        loop.terminate(0);
    });

    JsonFileDefaults defaults(JsonFileDefaults::defaultPath());
    XdgAutostart autostart(XdgAutostart::defaultEntryPath(), XdgAutostart::currentProgram());
    LoginItem loginItem(autostart, defaults);
    LoginItem::setShared(&loginItem);
    installLinuxAnalytics(timers);
    SharedAnalytics analytics;

    X11WindowServer windowServer(*x11);
    AX ax(windowServer);
    X11DisplaySource displays(*x11);
    ScreenCache& screens = ScreenCache::shared();
    screens.setSource(&displays);
    displays.watchChanges([&loop] { loop.displaysChanged(); });
    X11Workspace workspace(*x11, [](const std::string& bid) { return DesktopApps::name(bid); });
    X11WindowList windowList(*x11);
    X11InputSource input(*x11);
    X11Permissions permissions(x11.get(), {}, helpPageURI());

    EngineEnvironment engineEnv{ax,
                                workspace,
                                screens,
                                PlacementStore::shared(),
                                DragMonitor::shared(),
                                Analytics::shared(),
                                defaults,
                                SystemClock::shared(),
                                windowList,
                                selfBundleID,
                                linuxBuiltInApps()};
    AppServices services{ax,
                         displays,
                         screens,
                         loop,
                         DragMonitor::shared(),
                         input,
                         loginItem,
                         permissions,
                         PlacementStore::shared(),
                         analytics,
                         {}};
    RememberedPlacements placements(PlacementStore::shared(),
                                    [&screens] { return screens.configSignature(); });
    services.makeStatusController = [&](const std::shared_ptr<MaximizeEngine>& engine) {
        LinuxTrayServices tray{permissions,
                               workspace,
                               loginItem,
                               Analytics::shared(),
                               defaults,
                               displays,
                               [&input] { return input.pointerLocation(); },
                               [&loop] { loop.terminate(0); },
                               selfBundleID,
                               std::string(appVersion),
                               {},
                               &placements,
                               {}};
        return makeLinuxStatusController(engine, std::move(tray));
    };

    std::shared_ptr<AppDelegate> delegate = AppDelegate::create(engineEnv, services);
    x11->windows().onChange([weak = std::weak_ptr<MaximizeEngine>(delegate->engine())] {
        if (auto engine = weak.lock()) engine->evaluateNewWindows();
    });
    std::unique_ptr<TestHooks> hooks;
    if (envFlag("MAVO_TEST_HOOKS")) hooks = std::make_unique<TestHooks>(*x11, delegate->engine());

    RemoteControl control({delegate->engine()->settings(), EngineActions::of(delegate->engine()),
                           permissions, placements, Analytics::shared(),
                           [&delegate] {
                               auto* tray = delegate->statusController();
                               return tray && tray->trayPresent();
                           },
                           [&loop] { loop.terminate(0); }});
    auto bus = std::make_unique<DbusControl>(control, display);

    StrictErrorReporter errors(*x11);
    std::unique_ptr<Timer> errorTimer;
    if (strict) errorTimer = timers.scheduleRepeating(0.2, 0.2, [&errors] { errors.report(); });

    delegate->applicationDidFinishLaunching();
    bus->start();
    if (hooks) hooks->announceReady();
    int status = loop.run();

    hooks.reset();
    delegate->engine()->drain();
    if (strict) errors.report();
    Diag::drain();
    if (lostServer) std::fprintf(stderr, "Mavo: the X display went away; quitting.\n");
    // The display is free before the bus names are, so whoever sees the names gone can start.
    guard.reset();
    bus.reset();
    if (strict && errors.any()) return unexpectedXErrors;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("mavo %s\n", mavo::appVersion);
            return 0;
        }
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(mavo::controlHelp, stdout);
            return 0;
        }
        if (argv[i][0] == '-' && std::strcmp(argv[i], "--all") != 0) {
            std::fprintf(stderr, "mavo: unknown option \"%s\" (try --help)\n", argv[i]);
            return usage;
        }
    }
    if (argc > 1) return mavo::runControlVerb({argv + 1, argv + argc});
    return runMavo();
}

#include "platform/linux/LinuxStatusTray.h"

#include <unistd.h>

#include <gio/gio.h>

#include <cstdlib>
#include <filesystem>

#include "app/Diag.h"

#include "platform/linux/DbusMenuExporter.h"
#include "platform/linux/GLibTimers.h"
#include "platform/linux/StatusNotifierItem.h"
#include "ui/PollingPointerSource.h"

namespace mavo {

namespace {

namespace fs = std::filesystem;

bool holdsIcons(const fs::path& dir) {
    std::error_code ec;
    return fs::exists(
        dir / "hicolor/symbolic/apps" / (std::string(StatusNotifierItem::activeIcon) + ".svg"), ec);
}

// Everything the controller leans on, destroyed in reverse order after it.
struct Tray {
    std::unique_ptr<FunctionLoginControl> login;
    GLibTimers timers;
    std::unique_ptr<PollingPointerSource> pointer;
    std::unique_ptr<StatusNotifierItem> item;
    std::unique_ptr<StatusItemController> controller;
    std::unique_ptr<DbusMenuExporter> menu;

    ~Tray() {
        menu.reset();
        controller.reset();
        item.reset();
    }
};

}  // namespace

std::string iconThemePath() {
    if (const char* env = std::getenv("MAVO_ICON_THEME_PATH"); env && *env) return env;
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        for (const fs::path& dir :
             {exe.parent_path() / "share/icons", exe.parent_path().parent_path() / "share/icons"}) {
            if (holdsIcons(dir)) return dir.lexically_normal().string();
        }
    }
#ifdef MAVO_BUILD_ICON_DIR
    // A program run from the build tree, wherever in it the executable sits.
    if (holdsIcons(MAVO_BUILD_ICON_DIR)) return MAVO_BUILD_ICON_DIR;
#endif
    return "";
}

bool openWithDefaultApplication(const std::string& path) {
    GError* error = nullptr;
    gchar* uri = g_filename_to_uri(path.c_str(), nullptr, &error);
    bool ok = uri && g_app_info_launch_default_for_uri(uri, nullptr, &error);
    if (!ok) {
        Diag::log("cannot open " + path + ": " + (error ? error->message : "no application"));
    }
    if (error) g_error_free(error);
    g_free(uri);
    return ok;
}

std::shared_ptr<StatusItemController> makeLinuxStatusController(
    const std::shared_ptr<MaximizeEngine>& engine, LinuxTrayServices services) {
    auto tray = std::make_shared<Tray>();
    LoginItem& loginItem = services.loginItem;
    tray->login = std::make_unique<FunctionLoginControl>(
        [&loginItem] { return loginItem.isEnabled(); }, [&loginItem] { loginItem.toggle(); });
    tray->pointer =
        std::make_unique<PollingPointerSource>(tray->timers, std::move(services.pointerLocation));

    StatusNotifierItem::Options options;
    options.iconThemePath =
        services.iconThemePath.empty() ? iconThemePath() : services.iconThemePath;
    options.haveOwnIcons = !options.iconThemePath.empty() && holdsIcons(options.iconThemePath);
    tray->item = std::make_unique<StatusNotifierItem>(options);

    std::function<void()> showLog = std::move(services.showLog);
    if (!showLog) showLog = [] { openWithDefaultApplication(Diag::path()); };
    tray->controller = std::make_unique<StatusItemController>(StatusControllerEnvironment{
        engine->settings(), EngineActions::of(engine), *tray->item, services.permissions,
        services.workspace, *tray->login, services.events, services.defaults, tray->timers,
        *tray->pointer, services.displays, services.selfBundleID, services.shortVersion,
        services.terminate, services.placements, std::move(showLog)});

    StatusItemController* c = tray->controller.get();
    tray->menu = std::make_unique<DbusMenuExporter>(
        options.menuPath,
        DbusMenuExporter::Handlers{[c]() -> const MenuModel& { return c->menuNeedsUpdate(); },
                                   [c](const MenuItem& item) { c->perform(item); },
                                   [c] { c->menuWillOpen(); }, [c] { c->menuDidClose(); }});
    DbusMenuExporter* menu = tray->menu.get();
    tray->item->onMenuInvalidated([menu, c] { menu->republish(c->menu()); });
    tray->item->start();

    return std::shared_ptr<StatusItemController>(tray, tray->controller.get());
}

}  // namespace mavo

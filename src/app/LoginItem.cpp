#include "app/LoginItem.h"

#include <cstdio>
#include <stdexcept>

namespace mavo {

namespace {
LoginItem* sharedItem = nullptr;
}

LoginItem::LoginItem(LoginService& service, UserDefaults& defaults, SystemLog systemLog)
    : service_(service), defaults_(defaults), systemLog_(std::move(systemLog)) {
    if (!systemLog_) {
        systemLog_ = [](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); };
    }
}

LoginItem& LoginItem::shared() {
    if (!sharedItem) throw std::logic_error("LoginItem::shared used before it was installed");
    return *sharedItem;
}

void LoginItem::setShared(LoginItem* item) {
    sharedItem = item;
}

bool LoginItem::isEnabled() {
    return service_.status() == LoginService::Status::enabled;
}

bool LoginItem::setEnabled(bool on) {
    std::string error;
    if (on) {
        if (service_.registerApp(error)) return true;
        systemLog_("Mavo: login-item register failed: " + error);
        return false;
    }
    if (service_.status() != LoginService::Status::enabled) return true;
    if (service_.unregisterApp(error)) return true;
    systemLog_("Mavo: login-item unregister failed: " + error);
    return false;
}

bool LoginItem::toggle() {
    return setEnabled(!isEnabled());
}

void LoginItem::configureAtLaunch() {
    if (!defaults_.boolean(appliedDefaultKey)) {
        // Marked first, so a failing registration is not retried at every launch.
        defaults_.set(appliedDefaultKey, true);
        setEnabled(true);
        return;
    }
    // Registering again refreshes an entry that points at an older copy of the program; any
    // other state is the user's choice and stays as it is.
    if (service_.status() == LoginService::Status::enabled) setEnabled(true);
}

}  // namespace mavo

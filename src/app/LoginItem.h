#pragma once

#include <functional>
#include <string>

#include "common/UserDefaults.h"

namespace mavo {

// The platform's "start this application when the user logs in" service.
class LoginService {
  public:
    enum class Status { notRegistered, enabled, requiresApproval, notFound };

    virtual ~LoginService() = default;
    virtual Status status() = 0;
    // Each returns true on success; on failure `error` receives a readable reason.
    virtual bool registerApp(std::string& error) = 0;
    virtual bool unregisterApp(std::string& error) = 0;
};

// Launch at login: on by default, applied once on the first launch; afterwards the user's choice
// (through the menu) is kept. Failures are written to the system log and reported by the result.
class LoginItem {
  public:
    using SystemLog = std::function<void(const std::string& line)>;

    // `systemLog` defaults to one line on standard error.
    LoginItem(LoginService& service, UserDefaults& defaults, SystemLog systemLog = {});

    // The process-wide instance, installed by the application's entry point before launch.
    static LoginItem& shared();
    static void setShared(LoginItem* item);

    static constexpr const char* appliedDefaultKey = "didApplyLoginItemDefault";

    bool isEnabled();
    bool setEnabled(bool on);
    bool toggle();
    void configureAtLaunch();

  private:
    LoginService& service_;
    UserDefaults& defaults_;
    SystemLog systemLog_;
};

}  // namespace mavo

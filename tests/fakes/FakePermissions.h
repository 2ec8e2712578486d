#pragma once

// FakePermissions: an accessibility grant the test switches.
//   FakePermissions perms(false);
//   perms.setTrusted(true);
//   perms.setGrantOnRequest(true);   // the next requestTrust() grants (as if the user said yes)
//   perms.requestTrustCount();  perms.openSettingsCount();  perms.isTrustedCount();

#include <atomic>

#include "windowaccess/Permissions.h"

namespace mavo::test {

class FakePermissions final : public Permissions {
  public:
    explicit FakePermissions(bool trusted = true) : trusted_(trusted) {}

    void setTrusted(bool trusted) { trusted_ = trusted; }
    void setGrantOnRequest(bool grant) { grantOnRequest_ = grant; }

    int requestTrustCount() const { return requests_; }
    int openSettingsCount() const { return opens_; }
    int isTrustedCount() const { return checks_; }

    bool isTrusted() override {
        ++checks_;
        return trusted_;
    }

    bool requestTrust() override {
        ++requests_;
        if (grantOnRequest_) trusted_ = true;
        return trusted_;
    }

    void openSettings() override { ++opens_; }

  private:
    std::atomic<bool> trusted_;
    std::atomic<bool> grantOnRequest_{false};
    std::atomic<int> requests_{0};
    std::atomic<int> opens_{0};
    std::atomic<int> checks_{0};
};

}  // namespace mavo::test

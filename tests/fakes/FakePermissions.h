#pragma once

#include <atomic>

#include "windowaccess/Permissions.h"

namespace mavo::test {

// An accessibility grant the test switches, counting requests and trips to the settings.
class FakePermissions final : public Permissions {
  public:
    explicit FakePermissions(bool trusted = true) : trusted_(trusted) {}
    void setTrusted(bool trusted) { trusted_ = trusted; }
    int requestTrustCount() const { return requests_; }
    int openSettingsCount() const { return opens_; }

    bool isTrusted() override { return trusted_; }
    bool requestTrust() override { return ++requests_, trusted_; }
    void openSettings() override { ++opens_; }

  private:
    std::atomic<bool> trusted_;
    std::atomic<int> requests_{0}, opens_{0};
};

}  // namespace mavo::test

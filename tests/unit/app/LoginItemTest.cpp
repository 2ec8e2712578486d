#include "app/LoginItem.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "fakes/FakeUserDefaults.h"

namespace mavo {
namespace {

using Status = LoginService::Status;
using Lines = std::vector<std::string>;

// The test is the login service: it scripts its state and failures and records every change.
class LoginItemTest : public ::testing::Test, public LoginService {
  protected:
    Status status() override { return state; }
    bool registerApp(std::string& error) override {
        return change("register", Status::enabled, error);
    }
    bool unregisterApp(std::string& error) override {
        return change("unregister", Status::notRegistered, error);
    }
    bool change(const std::string& call, Status to, std::string& error) {
        calls.push_back(call);
        if (!failure.empty()) return error = failure, false;
        return state = to, true;
    }
    LoginItem item() {
        return LoginItem(*this, defaults, [this](const std::string& l) { log.push_back(l); });
    }

    Status state = Status::notRegistered;
    std::string failure;  // the reason every change fails with, if any
    Lines calls, log;
    test::FakeUserDefaults defaults;
};

// Launch at login is turned on once, on the first launch; later launches keep the user's choice,
// registering anew only what is on so that the entry follows the current program.
TEST_F(LoginItemTest, FirstLaunchTurnsItOnOnceAndLaterLaunchesKeepTheUsersChoice) {
    const std::string refused = "The operation couldn’t be completed.";
    for (auto [firstLaunch, before, why, registers, after] : {
             std::tuple{true, Status::notRegistered, std::string(), 1, Status::enabled},
             {true, Status::notRegistered, refused, 1, Status::notRegistered},
             // Switched off by the user, or the failed first launch: not retried.
             {false, Status::notRegistered, std::string(), 0, Status::notRegistered},
             {false, Status::enabled, std::string(), 1, Status::enabled},
             {false, Status::requiresApproval, std::string(), 0, Status::requiresApproval},
         }) {
        SCOPED_TRACE(testing::Message() << firstLaunch << " " << int(before) << " " << why);
        defaults.remove(LoginItem::appliedDefaultKey);
        if (!firstLaunch) defaults.set(LoginItem::appliedDefaultKey, true);
        state = before, failure = why, calls.clear(), log.clear();
        item().configureAtLaunch();
        EXPECT_TRUE(defaults.boolean(LoginItem::appliedDefaultKey));
        EXPECT_EQ(calls, Lines(registers, "register"));
        EXPECT_EQ(state, after);
        EXPECT_EQ(log, why.empty() ? Lines{} : Lines{"Mavo: login-item register failed: " + why});
    }
}

TEST_F(LoginItemTest, SwitchingCallsTheServiceOnlyForAChangeAndReportsFailures) {
    EXPECT_TRUE(item().setEnabled(false));  // not registered: nothing to do
    for (bool on : {true, false}) EXPECT_TRUE(item().toggle() && item().isEnabled() == on);
    EXPECT_EQ(calls, (Lines{"register", "unregister"}));

    state = Status::enabled, failure = "entry is read-only";
    EXPECT_FALSE(item().setEnabled(false));
    EXPECT_TRUE(item().isEnabled());
    EXPECT_EQ(log, Lines{"Mavo: login-item unregister failed: entry is read-only"});
    // Without a log of its own the line goes to standard error.
    state = Status::notRegistered;
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(LoginItem(*this, defaults).setEnabled(true));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Mavo: login-item register failed: entry is read-only\n");
}

}  // namespace
}  // namespace mavo

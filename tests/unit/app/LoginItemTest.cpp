#include "app/LoginItem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace mavo {
namespace {

class MemoryDefaults final : public UserDefaults {
  public:
    std::optional<nlohmann::json> object(const std::string& key) const override {
        auto it = values.find(key);
        if (it == values.end()) return std::nullopt;
        return it->second;
    }
    void set(const std::string& key, const nlohmann::json& value) override { values[key] = value; }
    void remove(const std::string& key) override { values.erase(key); }

    std::map<std::string, nlohmann::json> values;
};

// A login service whose state and failures the test scripts; it records every call.
class ScriptedLoginService final : public LoginService {
  public:
    Status status() override {
        calls.push_back("status");
        return state;
    }
    bool registerApp(std::string& error) override {
        calls.push_back("register");
        if (!registerError.empty()) {
            error = registerError;
            return false;
        }
        state = Status::enabled;
        return true;
    }
    bool unregisterApp(std::string& error) override {
        calls.push_back("unregister");
        if (!unregisterError.empty()) {
            error = unregisterError;
            return false;
        }
        state = Status::notRegistered;
        return true;
    }

    int count(const std::string& call) const {
        return static_cast<int>(std::count(calls.begin(), calls.end(), call));
    }

    Status state = Status::notRegistered;
    std::string registerError;
    std::string unregisterError;
    std::vector<std::string> calls;
};

class LoginItemTest : public ::testing::Test {
  protected:
    LoginItem item() {
        return LoginItem(service, defaults, [this](const std::string& l) { log.push_back(l); });
    }

    MemoryDefaults defaults;
    ScriptedLoginService service;
    std::vector<std::string> log;
};

TEST_F(LoginItemTest, FirstLaunchMarksTheDefaultAndRegistersEvenWhenThatFails) {
    service.registerError = "The operation couldn’t be completed.";
    item().configureAtLaunch();

    EXPECT_EQ(defaults.values.at("didApplyLoginItemDefault"), true);
    EXPECT_EQ(service.count("register"), 1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], "Mavo: login-item register failed: The operation couldn’t be completed.");

    // The default is applied once: the failure is not retried on the next launch.
    service.calls.clear();
    item().configureAtLaunch();
    EXPECT_EQ(service.count("register"), 0);
    EXPECT_EQ(log.size(), 1u);
}

TEST_F(LoginItemTest, FirstLaunchTurnsLaunchAtLoginOn) {
    item().configureAtLaunch();
    EXPECT_TRUE(item().isEnabled());
    EXPECT_TRUE(log.empty());
}

TEST_F(LoginItemTest, LaterLaunchesKeepTheUsersChoice) {
    defaults.values["didApplyLoginItemDefault"] = true;

    // Switched off by the user: stays off, and nothing is unregistered either.
    item().configureAtLaunch();
    EXPECT_EQ(service.count("register"), 0);
    EXPECT_EQ(service.count("unregister"), 0);
    EXPECT_FALSE(item().isEnabled());

    // Switched on: registered anew so the entry follows the current program.
    service.state = LoginService::Status::enabled;
    service.calls.clear();
    item().configureAtLaunch();
    EXPECT_EQ(service.count("register"), 1);

    // Any state other than enabled counts as the user's "off".
    service.state = LoginService::Status::requiresApproval;
    service.calls.clear();
    item().configureAtLaunch();
    EXPECT_EQ(service.count("register"), 0);
}

TEST_F(LoginItemTest, TurningOffWhenNotRegisteredSucceedsWithoutCallingTheService) {
    EXPECT_TRUE(item().setEnabled(false));
    EXPECT_EQ(service.count("unregister"), 0);
    EXPECT_EQ(service.count("register"), 0);
}

TEST_F(LoginItemTest, UnregisterFailureIsLoggedAndReported) {
    service.state = LoginService::Status::enabled;
    service.unregisterError = "entry is read-only";
    EXPECT_FALSE(item().setEnabled(false));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], "Mavo: login-item unregister failed: entry is read-only");
    EXPECT_TRUE(item().isEnabled());
}

TEST_F(LoginItemTest, ToggleFlipsTheServiceState) {
    EXPECT_TRUE(item().toggle());
    EXPECT_TRUE(item().isEnabled());
    EXPECT_TRUE(item().toggle());
    EXPECT_FALSE(item().isEnabled());
    EXPECT_EQ(service.count("register"), 1);
    EXPECT_EQ(service.count("unregister"), 1);
}

TEST_F(LoginItemTest, FailureLineGoesToStandardErrorByDefault) {
    service.registerError = "Permission denied";
    LoginItem plain(service, defaults);
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(plain.setEnabled(true));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Mavo: login-item register failed: Permission denied\n");
}

}  // namespace
}  // namespace mavo

#pragma once

// The frame of every end-to-end test: the real `mavo` program, with its test hooks and strict X
// errors on, on a private desktop. Every test ends with the proof that Mavo survived, made no X
// error it could not explain, and exits with status 0 on SIGTERM.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <utility>

#include <nlohmann/json.hpp>

#include "support/TestDesktop.h"

namespace mavo::test {
inline std::ostream& operator<<(std::ostream& os, const std::optional<Frame>& f) {
    return f ? os << *f : os << "(no frame)";
}
}  // namespace mavo::test

namespace mavo::e2e {

using test::Frame;
using test::TestDesktop;
using Client = TestDesktop::Client;
using WM = TestDesktop::WindowManager;
inline const Frame kScreen{0, 0, 1920, 1080};
inline const auto npos = std::string::npos;

inline std::string readText(const std::filesystem::path& p) {
    std::ostringstream s;
    s << std::ifstream(p).rdbuf();
    return s.str();
}

inline nlohmann::json readJson(const std::filesystem::path& p) {
    auto j = nlohmann::json::parse(readText(p), nullptr, false);
    return j.is_discarded() ? nlohmann::json() : j;  // null when missing or broken
}

struct Output {
    int status = -1;
    std::string out, err;
};

class E2ETest : public ::testing::Test {
  protected:
    struct Tick {
        bool answered = false;
        uint32_t xErrors = 0, tracked = 0;
    };

    bool start(TestDesktop::Options options = {}, bool withMavo = true) {
        desktop = std::make_unique<TestDesktop>(std::move(options));
        return desktop->failure().empty() && (!withMavo || startMavo());
    }

    // True once Mavo announced that its launch is complete.
    bool startMavo() {
        std::vector<std::string> env = mavoEnv;
        env.insert(env.end(), {"MAVO_TEST_HOOKS=1", "MAVO_STRICT_X_ERRORS=1",
                               "MAVO_DIAG_LOG=" + path("mavo-diag.log").string()});
        mavo = desktop->spawn({MAVO_BINARY}, env);
        auto ready = [&] {
            auto r = desktop->property(desktop->root(), "_MAVO_READY");
            return !alive() || (!r.empty() && pid_t(r[0]) == mavo);
        };
        return TestDesktop::waitUntil(ready, 20) && alive();
    }

    // Leaves the child to be reaped by the desktop, and touches none of its state, so that a
    // ticking thread may ask.
    bool alive() {
        siginfo_t info{};
        return mavo > 0 && waitid(P_PID, id_t(mavo), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == 0;
    }

    // One whole tick of the running Mavo, asked for through the test hooks.
    Tick sync(int times = 1) {
        Tick tick;
        for (int i = 0; i < times; ++i) {
            uint32_t counter = ++syncs;
            desktop->setProperty(desktop->root(), "_MAVO_SYNC_REQUEST", XCB_ATOM_CARDINAL,
                                 {counter, 0});
            tick = {};
            TestDesktop::waitUntil(
                [&] {
                    auto done = desktop->property(desktop->root(), "_MAVO_SYNC_DONE");
                    if (done.size() >= 3 && done[0] == counter) tick = {true, done[1], done[2]};
                    return tick.answered || !alive();
                },
                30);
        }
        return tick;
    }

    bool syncUntil(const std::function<bool()>& condition, int ticks = 8) {
        for (int i = 0; i < ticks; ++i) {
            if (!sync().answered) return false;
            if (condition()) return true;
        }
        return false;
    }

    std::optional<Frame> frameOf(const Client& c) { return desktop->frame(c.window); }

    ::testing::AssertionResult becomes(const Client& c, Frame want) {
        if (syncUntil([&] { return frameOf(c) == want; })) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "the frame is " << frameOf(c);
    }

    // The project's test client, already managed by the window manager.
    Client client(const std::string& title, const std::string& geometry,
                  std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--title", title, "--geometry", geometry});
        auto c = desktop->startClient(options);
        if (!c) ADD_FAILURE() << "the client " << title << " did not come up";
        return c.value_or(Client{});
    }

    std::filesystem::path path(const std::string& inHome) { return desktop->home() / inHome; }
    std::string err() { return readText(path("mavo.log")); }
    std::string diag() { return readText(path("mavo-diag.log")); }
    bool diagHas(const std::string& text) { return diag().find(text) != npos; }

    void expectOrderlyExit(int signum = SIGTERM) {
        ASSERT_TRUE(alive()) << "Mavo died";
        Tick tick = sync();
        EXPECT_TRUE(tick.answered);
        EXPECT_EQ(tick.xErrors, 0u);
        EXPECT_EQ(desktop->stop(std::exchange(mavo, 0), signum), 0) << "signal " << signum;
        EXPECT_EQ(err().find("unexpected X error"), npos);
    }

    void TearDown() override {
        if (!desktop) return;
        if (mavo > 0) expectOrderlyExit();
        if (HasFailure())
            std::fprintf(stderr, "---- diagnostic log ----\n%s---- mavo's stderr ----\n%s\n",
                         diag().c_str(), err().c_str());
    }

    std::unique_ptr<TestDesktop> desktop;
    pid_t mavo = 0;
    uint32_t syncs = 0;
    std::vector<std::string> mavoEnv;  // besides the desktop's and the hooks'
};

}  // namespace mavo::e2e

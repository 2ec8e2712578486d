#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "Desktop.h"

namespace mavo::e2e {

// The usual frame of one test: a desktop, Mavo on it, and at the end the proof that Mavo
// survived everything, made no X error it could not explain, and exits with status 0 on SIGTERM.
class E2ETest : public ::testing::Test {
  protected:
    void startDesktop(Desktop::Options options = {}) {
        desktop = std::make_unique<Desktop>(std::move(options));
        ASSERT_EQ(desktop->failure(), "") << "the test desktop did not come up";
    }

    void startMavo() {
        ASSERT_TRUE(desktop->startMavo()) << "Mavo did not come up:\n" << desktop->mavoStderr();
    }

    // Ticks until `condition` holds; each sync is one whole tick of the running Mavo.
    bool syncUntil(const std::function<bool()>& condition, int maxTicks = 8, bool force = false) {
        for (int i = 0; i < maxTicks; ++i) {
            if (!desktop->sync(force).answered) return false;
            if (condition()) return true;
        }
        return false;
    }

    void expectSurvivesAndExitsCleanly() {
        ASSERT_TRUE(desktop->mavoAlive()) << "Mavo died:\n" << desktop->mavoStderr();
        auto reply = desktop->sync();
        EXPECT_TRUE(reply.answered);
        EXPECT_EQ(reply.unexpectedXErrors, 0u) << desktop->mavoStderr();
        EXPECT_EQ(desktop->stopMavo(), 0) << desktop->mavoStderr();
        EXPECT_EQ(desktop->mavoStderr().find("unexpected X error"), std::string::npos)
            << desktop->mavoStderr();
    }

    void TearDown() override {
        if (!HasFailure() || !desktop) return;
        std::fprintf(stderr, "---- diagnostic log ----\n");
        for (const auto& line : desktop->diagLines()) std::fprintf(stderr, "%s\n", line.c_str());
        std::fprintf(stderr, "---- mavo's standard error ----\n%s\n",
                     desktop->mavoStderr().c_str());
    }

    std::unique_ptr<Desktop> desktop;
};

}  // namespace mavo::e2e

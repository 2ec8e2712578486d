#include "common/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace mavo;
using namespace std::chrono_literals;

TEST(SerialQueue, RunsBlocksInSubmissionOrderFromManyThreads) {
    SerialQueue q("test.order");
    std::vector<int> seen;  // only touched on the queue
    std::vector<std::thread> producers;
    for (int t = 0; t < 4; ++t) {
        producers.emplace_back([&q, &seen, t] {
            for (int i = 0; i < 200; ++i) q.async([&seen, t, i] { seen.push_back(t * 1000 + i); });
        });
    }
    for (auto& p : producers) p.join();
    q.sync([] {});
    ASSERT_EQ(seen.size(), 800u);
    // Each producer's blocks keep their relative order.
    for (int t = 0; t < 4; ++t) {
        int last = -1;
        for (int v : seen) {
            if (v / 1000 != t) continue;
            EXPECT_GT(v % 1000, last);
            last = v % 1000;
        }
    }
}

TEST(SerialQueue, SyncFromTheQueueItselfRunsInline) {
    SerialQueue q("test.reentrant");
    bool inner = false;
    q.sync([&] { q.sync([&] { inner = q.isCurrent(); }); });
    EXPECT_TRUE(inner);
    EXPECT_FALSE(q.isCurrent());
}

TEST(SerialQueue, DelayedBlockWaitsAndDoesNotHoldUpLaterImmediateBlocks) {
    SerialQueue q("test.delay");
    std::atomic<int> order{0};
    int delayedAt = 0, immediateAt = 0;
    auto start = std::chrono::steady_clock::now();
    std::atomic<double> delayedAfter{0};
    q.asyncAfter(0.2, [&] {
        delayedAt = ++order;
        delayedAfter =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    });
    q.async([&] { immediateAt = ++order; });
    std::this_thread::sleep_for(400ms);
    q.sync([] {});
    EXPECT_EQ(immediateAt, 1);
    EXPECT_EQ(delayedAt, 2);
    EXPECT_GE(delayedAfter.load(), 0.19);
}

TEST(SerialQueue, RepeatingTimerFiresAtItsPeriodUntilCancelled) {
    SerialQueue q("test.timer");
    std::atomic<int> fired{0};
    auto timer = q.scheduleRepeating(0.05, 0.05, [&] { ++fired; });
    std::this_thread::sleep_for(330ms);
    timer->cancel();
    int atCancel = fired.load();
    EXPECT_GE(atCancel, 4);
    EXPECT_LE(atCancel, 7);
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(fired.load(), atCancel);
}

#include "common/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using namespace mavo;
using namespace std::chrono_literals;

TEST(SerialQueue, RunsEachProducersBlocksInOrderAndSyncFromItselfInline) {
    SerialQueue q("test.order");
    std::vector<int> seen;  // only touched on the queue
    std::vector<std::thread> producers;
    for (int t = 0; t < 4; ++t) {
        producers.emplace_back([&q, &seen, t] {
            for (int i = 0; i < 200; ++i) q.async([&seen, t, i] { seen.push_back(t * 1000 + i); });
        });
    }
    for (auto& p : producers) p.join();
    bool inner = false;
    q.sync([&] { q.sync([&] { inner = q.isCurrent(); }); });
    EXPECT_TRUE(inner);
    EXPECT_FALSE(q.isCurrent());
    ASSERT_EQ(seen.size(), 800u);
    std::vector<int> last(4, -1);
    for (int v : seen) {
        EXPECT_GT(v % 1000, last[v / 1000]);
        last[v / 1000] = v % 1000;
    }
}

// A repeating timer fires at its period until cancelled; a one-shot runs once unless cancelled or
// its handle is dropped; a delayed block holds up no later one.
TEST(SerialQueue, TimersAndDelayedBlocks) {
    SerialQueue q("test.timers");
    std::vector<int> ran;  // only touched on the queue
    std::atomic<int> fired{0};
    auto repeating = q.scheduleRepeating(0.05, 0.05, [&] { ++fired; });
    auto kept = q.scheduleOnce(0.02, [&] { ran.push_back(1); });
    q.scheduleOnce(0.01, [&] { ran.push_back(2); });
    q.scheduleOnce(0.01, [&] { ran.push_back(3); })->cancel();
    std::promise<void> done;
    q.asyncAfter(0.33, [&] { done.set_value(); });
    q.async([&] { ran.push_back(0); });
    done.get_future().wait();
    repeating->cancel();
    const int atCancel = fired.load();
    EXPECT_EQ(ran, (std::vector<int>{0, 1}));
    EXPECT_GE(atCancel, 4);
    EXPECT_LE(atCancel, 7);
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(fired.load(), atCancel);
}

// An owner whose last reference goes away inside one of its queue's blocks takes the queue with
// it; the worker must wind down without touching the destroyed queue (ASan/TSan watch this).
TEST(SerialQueue, QueueReleasedByItsOwnBlock) {
    for (int round = 0; round < 20; ++round) {
        auto queue = std::make_shared<std::unique_ptr<SerialQueue>>(
            std::make_unique<SerialQueue>("test.self-release"));
        std::promise<void> ran;
        auto done = ran.get_future();
        SerialQueue* q = queue->get();
        q->asyncAfter(0.3, [] { FAIL() << "a block queued behind the release must not run"; });
        q->async([queue, &ran]() mutable {
            queue->reset();  // the queue is destroyed here, on its own worker
            ran.set_value();
        });
        queue.reset();
        ASSERT_EQ(done.wait_for(2s), std::future_status::ready);
    }
    std::this_thread::sleep_for(400ms);  // past the dropped delayed block's deadline
}

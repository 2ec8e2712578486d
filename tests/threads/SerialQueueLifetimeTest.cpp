#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "common/SerialQueue.h"

using namespace mavo;
using namespace std::chrono_literals;

// An owner whose last reference goes away inside one of its queue's blocks takes the queue with
// it; the worker must wind down without touching the destroyed queue (ASan/TSan watch this).
TEST(SerialQueueLifetime, QueueReleasedByItsOwnBlock) {
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

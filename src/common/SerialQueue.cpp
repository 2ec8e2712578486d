#include "common/SerialQueue.h"

#include <future>

namespace mavo {

struct SerialQueue::Core {
    struct Key {
        TimePoint due;
        uint64_t seq;
        bool operator<(const Key& o) const { return due != o.due ? due < o.due : seq < o.seq; }
    };

    std::mutex mutex;
    std::condition_variable wake;
    std::map<Key, Block> pending;
    uint64_t nextSeq = 0;
    bool stopping = false;

    void run();
};

namespace {
thread_local const void* currentCore = nullptr;

std::chrono::steady_clock::duration toDuration(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds > 0 ? seconds : 0));
}
}  // namespace

void SerialQueue::Core::run() {
    currentCore = this;
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        if (pending.empty()) {
            wake.wait(lock);
            continue;
        }
        auto first = pending.begin();
        if (first->first.due > std::chrono::steady_clock::now()) {
            wake.wait_until(lock, first->first.due);
            continue;
        }
        Block block = std::move(first->second);
        pending.erase(first);
        lock.unlock();
        block();
        block = nullptr;  // release captures outside the lock too
        lock.lock();
    }
    auto dropped = std::move(pending);
    lock.unlock();  // blocks' captures may own queues of their own
}

SerialQueue::SerialQueue(std::string label)
    : label_(std::move(label)), core_(std::make_shared<Core>()) {
    worker_ = std::thread([core = core_] { core->run(); });
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard<std::mutex> lock(core_->mutex);
        core_->stopping = true;
    }
    core_->wake.notify_all();
    if (worker_.get_id() == std::this_thread::get_id()) {
        worker_.detach();  // released by one of its own blocks: the worker winds down by itself
    } else if (worker_.joinable()) {
        worker_.join();
    }
}

void SerialQueue::enqueue(TimePoint due, Block block) {
    // Once the block is queued it may release this queue, so only the local reference is used
    // after that.
    std::shared_ptr<Core> core = core_;
    {
        std::lock_guard<std::mutex> lock(core->mutex);
        if (core->stopping) return;
        core->pending.emplace(Core::Key{due, core->nextSeq++}, std::move(block));
    }
    core->wake.notify_all();
}

void SerialQueue::async(Block block) {
    enqueue(std::chrono::steady_clock::now(), std::move(block));
}

void SerialQueue::sync(const Block& block) {
    if (isCurrent()) {
        block();
        return;
    }
    auto done = std::make_shared<std::promise<void>>();
    auto finished = done->get_future();
    {
        std::lock_guard<std::mutex> lock(core_->mutex);
        if (core_->stopping) return;
        core_->pending.emplace(Core::Key{std::chrono::steady_clock::now(), core_->nextSeq++},
                               [&block, done] {
                                   block();
                                   done->set_value();
                               });
    }
    core_->wake.notify_all();
    finished.wait();
}

void SerialQueue::asyncAfter(double seconds, Block block) {
    enqueue(std::chrono::steady_clock::now() + toDuration(seconds), std::move(block));
}

std::unique_ptr<Timer> SerialQueue::scheduleOnce(double seconds, Block block) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    asyncAfter(seconds, [cancelled, block = std::move(block)] {
        if (!cancelled->load()) block();
    });
    return std::make_unique<Timer>([cancelled] { cancelled->store(true); });
}

std::unique_ptr<Timer> SerialQueue::scheduleRepeating(double firstDelay, double interval,
                                                      Block block) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    auto period = toDuration(interval);
    // Each firing schedules the next from its own deadline, so the period does not drift. The
    // chain holds the core weakly: a firing after the queue is gone does nothing.
    std::weak_ptr<Core> weakCore = core_;
    auto fire = std::make_shared<std::function<void(TimePoint)>>();
    std::weak_ptr<std::function<void(TimePoint)>> weakFire = fire;
    *fire = [weakCore, cancelled, period, block = std::move(block), weakFire](TimePoint due) {
        if (cancelled->load()) return;
        block();
        if (cancelled->load()) return;
        auto core = weakCore.lock();
        auto self = weakFire.lock();
        if (!core || !self) return;
        auto next = due + period;
        std::lock_guard<std::mutex> lock(core->mutex);
        if (core->stopping) return;
        core->pending.emplace(Core::Key{next, core->nextSeq++}, [self, next] { (*self)(next); });
        core->wake.notify_all();
    };
    auto due = std::chrono::steady_clock::now() + toDuration(firstDelay);
    enqueue(due, [fire, due] { (*fire)(due); });
    return std::make_unique<Timer>([cancelled] { cancelled->store(true); });
}

bool SerialQueue::isCurrent() const {
    return currentCore == core_.get();
}

}  // namespace mavo

#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "common/Timer.h"

namespace mavo::test {

// Timers on a clock that moves only in `advance`, which fires what falls due in deadline order.
// A block may cancel or destroy any timer, including its own, and may schedule new ones.
class FakeTimers final : public TimerScheduler {
  public:
    double now = 0;

    std::unique_ptr<Timer> scheduleOnce(double seconds, Block block) override {
        return add(seconds, 0, std::move(block));
    }
    std::unique_ptr<Timer> scheduleRepeating(double firstDelay, double interval,
                                             Block block) override {
        return add(firstDelay, interval, std::move(block));
    }
    void advance(double seconds) {
        const double end = now + seconds;
        for (;;) {
            auto next = std::min_element(entries_.begin(), entries_.end(), [](auto& a, auto& b) {
                return std::pair(a.second.due, a.first) < std::pair(b.second.due, b.first);
            });
            if (next == entries_.end() || next->second.due > end + 1e-9) break;
            now = std::max(now, next->second.due);
            auto block = next->second.block;  // the block may destroy its own entry
            if (next->second.interval > 0) {
                next->second.due += next->second.interval;
            } else {
                entries_.erase(next);
            }
            block();
        }
        now = end;
    }
    size_t pending() const { return entries_.size(); }
    // The blocks still scheduled, to run by hand as a late firing would.
    std::vector<Block> blocks() const {
        std::vector<Block> all;
        for (const auto& [id, entry] : entries_) all.push_back(entry.block);
        return all;
    }

  private:
    struct Entry {
        double due, interval;
        Block block;
    };
    std::unique_ptr<Timer> add(double delay, double interval, Block block) {
        entries_[nextID_] = Entry{now + delay, interval, std::move(block)};
        return std::make_unique<Timer>([this, id = nextID_++] { entries_.erase(id); });
    }
    std::map<uint64_t, Entry> entries_;
    uint64_t nextID_ = 1;
};

}  // namespace mavo::test

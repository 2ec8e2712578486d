#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "fakes/FakeDisplaySource.h"
#include "geometry/ScreenCache.h"

using namespace mavo;
using namespace mavo::test;

// One thread keeps swapping between two arrangements while others read. Each reader must see
// a list and a flip axis from the same snapshot: mixing them would put the primary's visible
// frame at a y that neither arrangement has.
TEST(ScreenCacheThreads, ReadersNeverSeeATornSnapshot) {
    const ScreenInfo small = primary1080("P");
    const std::vector<ScreenInfo> two = {small, rightOf(small, 2560, 1440, "R")};
    const std::vector<ScreenInfo> one = {makeScreen({0, 0, 2560, 1440}, "P", 25)};
    const Rect smallVf{0, 25, 1920, 1055};
    const Rect bigVf{0, 25, 2560, 1415};

    FakeDisplaySource source(two);
    ScreenCache cache(&source);
    cache.refresh();

    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::atomic<long> reads{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                auto vf = cache.visibleFrameAX("P");
                auto target = cache.maximizeTargetAX({100, 100, 400, 300});
                std::string sig = cache.configSignature();
                if (!vf || (*vf != smallVf && *vf != bigVf)) ++bad;
                if (!target || (*target != smallVf && *target != bigVf)) ++bad;
                if (sig != "P" && sig != "P+R") ++bad;
                if (!cache.isOnScreenAX({100, 100, 400, 300}, 1.0)) ++bad;
                ++reads;
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        source.setScreens(i % 2 ? two : one);
        cache.refresh();
    }
    // Keep swapping until every reader has had a fair share of turns.
    for (int i = 0; reads.load() < 3000 && i < 200000; ++i) {
        source.setScreens(i % 2 ? two : one);
        cache.refresh();
    }
    stop = true;
    for (auto& t : readers) t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_GT(reads.load(), 0);
}

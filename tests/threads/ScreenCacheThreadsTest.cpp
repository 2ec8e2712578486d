#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "fakes/FakeDisplaySource.h"
#include "geometry/ScreenCache.h"

using namespace mavo;
using namespace mavo::test;

// One thread swaps between two arrangements while others read. A reader that mixed one
// snapshot's list with the other's flip axis would see the primary's visible frame at a y that
// neither arrangement has.
TEST(ScreenCacheThreads, ReadersNeverSeeATornSnapshot) {
    const ScreenInfo small = primary1080("P");
    const std::vector<ScreenInfo> two = {small, rightOf(small, 2560, 1440, "R")};
    const std::vector<ScreenInfo> one = {makeScreen({0, 0, 2560, 1440}, "P", 25)};
    auto valid = [](const std::optional<Rect>& vf) {
        return vf == Rect{0, 25, 1920, 1055} || vf == Rect{0, 25, 2560, 1415};
    };
    FakeDisplaySource source(two);
    ScreenCache cache(&source);
    cache.refresh();
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0}, reads{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            for (; !stop; ++reads) {
                std::string sig = cache.configSignature();
                if (!valid(cache.visibleFrameAX("P")) ||
                    !valid(cache.maximizeTargetAX({100, 100, 400, 300})) ||
                    (sig != "P" && sig != "P+R") || !cache.isOnScreenAX({100, 100, 400, 300}, 1))
                    ++bad;
            }
        });
    }
    // Keep swapping until the readers have had a fair share of turns.
    for (int i = 0; i < 2000 || (reads < 3000 && i < 200000); ++i) {
        source.setScreens(i % 2 ? two : one);
        cache.refresh();
    }
    stop = true;
    for (auto& t : readers) t.join();
    EXPECT_EQ(bad, 0);
}

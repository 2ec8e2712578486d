#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "geometry/DisplaySource.h"

namespace mavo::test {

// Screens are in the bottom-left convention, as the platform reports them: the primary screen's
// frame starts at (0, 0) and y grows upward.

// A screen whose visible frame loses `menuBar` points at the top and `dock` at the bottom.
inline ScreenInfo makeScreen(const Rect& frame, std::string uuid, double menuBar = 0,
                             double dock = 0, bool builtIn = false, double physWidthMM = 0) {
    ScreenInfo s;
    s.frame = frame;
    s.visibleFrame = {frame.x, frame.y + dock, frame.width, frame.height - menuBar - dock};
    s.uuid = std::move(uuid);
    s.isBuiltIn = builtIn;
    s.physWidthMM = physWidthMM;
    return s;
}

// The usual primary: 1920 x 1080 with a 25-point menu bar and no dock.
inline ScreenInfo primary1080(std::string uuid = "PRIMARY") {
    return makeScreen({0, 0, 1920, 1080}, std::move(uuid), 25);
}

// A screen placed to the right of `left`, bottoms aligned.
inline ScreenInfo rightOf(const ScreenInfo& left, double width, double height, std::string uuid,
                          double menuBar = 0) {
    return makeScreen({left.frame.maxX(), left.frame.minY(), width, height}, std::move(uuid),
                      menuBar);
}

// A screen placed above `below`, left edges aligned.
inline ScreenInfo above(const ScreenInfo& below, double width, double height, std::string uuid,
                        double menuBar = 0) {
    return makeScreen({below.frame.minX(), below.frame.maxY(), width, height}, std::move(uuid),
                      menuBar);
}

// Serves whatever list the test last set; safe to change while another thread reads.
class FakeDisplaySource final : public DisplaySource {
  public:
    FakeDisplaySource() = default;
    explicit FakeDisplaySource(std::vector<ScreenInfo> screens) : screens_(std::move(screens)) {}
    void setScreens(std::vector<ScreenInfo> screens) {
        std::lock_guard<std::mutex> guard(mutex_);
        screens_ = std::move(screens);
    }

    std::vector<ScreenInfo> screens() override {
        std::lock_guard<std::mutex> guard(mutex_);
        return screens_;
    }

  private:
    std::mutex mutex_;
    std::vector<ScreenInfo> screens_;
};

}  // namespace mavo::test

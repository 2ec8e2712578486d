#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "geometry/DisplaySource.h"

namespace mavo::test {

// Screens as the platform reports them: bottom-left origin, y growing upward. The visible frame
// loses `menuBar` points at the top and `dock` at the bottom.
inline ScreenInfo makeScreen(const Rect& frame, std::string uuid, double menuBar = 0,
                             double dock = 0, bool builtIn = false, double physWidthMM = 0) {
    return {.frame = frame,
            .visibleFrame = {frame.x, frame.y + dock, frame.width, frame.height - menuBar - dock},
            .uuid = std::move(uuid),
            .isBuiltIn = builtIn,
            .physWidthMM = physWidthMM};
}
inline ScreenInfo primary1080(std::string uuid = "PRIMARY") {
    return makeScreen({0, 0, 1920, 1080}, std::move(uuid), 25);
}
// Bottoms aligned.
inline ScreenInfo rightOf(const ScreenInfo& left, double width, double height, std::string uuid,
                          double menuBar = 0) {
    return makeScreen({left.frame.maxX(), left.frame.minY(), width, height}, std::move(uuid),
                      menuBar);
}
// Left edges aligned.
inline ScreenInfo above(const ScreenInfo& below, double width, double height, std::string uuid,
                        double menuBar = 0) {
    return makeScreen({below.frame.minX(), below.frame.maxY(), width, height}, std::move(uuid),
                      menuBar);
}

class FakeDisplaySource final : public DisplaySource {
  public:
    explicit FakeDisplaySource(std::vector<ScreenInfo> screens = {})
        : screens_(std::move(screens)) {}
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

#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry/DisplayClass.h"
#include "geometry/DisplaySource.h"
#include "geometry/Rect.h"

namespace mavo {

struct Display {
    Rect frame;         // bottom-left convention
    Rect visibleFrame;  // bottom-left convention
    std::string uuid;
    DisplayClass displayClass = DisplayClass::builtInSmall;
};

struct OwningDisplay {
    std::string uuid;
    Rect visibleFrame;  // accessibility (top-left) coordinates
};

// A thread-safe snapshot of the displays, taken on the main thread and read from the engine.
// Every operation ending in AX takes and returns accessibility (top-left) coordinates.
class ScreenCache {
  public:
    explicit ScreenCache(DisplaySource* source = nullptr) : source_(source) {}

    static ScreenCache& shared();
    void setSource(DisplaySource* source);

    void refresh();
    std::string configSignature() const;
    std::optional<OwningDisplay> owningDisplayAX(const Rect& axFrame) const;
    std::optional<DisplayClass> owningClassAX(const Rect& axFrame) const;
    std::optional<Rect> visibleFrameAX(const std::string& uuid) const;
    std::optional<Rect> maximizeTargetAX(const Rect& axFrame) const;
    std::optional<Rect> smartPlaceTargetAX(const Rect& axFrame, bool sizeFixed, double topInset,
                                           double fillW, double fillH) const;
    bool isOnScreenAX(const Rect& frame, double minCoverage = 0.7) const;

    std::vector<Display> displays() const;
    double axisY() const;

  private:
    // The owning display together with the axis of the same snapshot.
    struct Owner {
        Display display;
        double axisY;
    };

    // Copies the list and its axis together, so readers never mix two snapshots.
    std::pair<std::vector<Display>, double> snapshot() const;
    std::optional<Owner> owningDisplay(const Rect& axFrame) const;

    mutable std::mutex lock_;  // guards the three fields below, held only to copy or swap
    DisplaySource* source_;
    std::vector<Display> displays_;
    double axisY_ = 0;
};

}  // namespace mavo

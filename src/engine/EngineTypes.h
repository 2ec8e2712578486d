#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/Rect.h"
#include "windowaccess/WindowHandle.h"

namespace mavo {

// What the engine currently does with a window. The order is the stored order.
enum class Disposition { managed, userArranged, cannotFill };

// The two shapes of a top-centred window: a smaller utility frame, or a reading-width focus frame
// on a large display.
enum class CenterKind { utility, focus };

std::string_view rawValue(Disposition d);
std::string_view rawValue(CenterKind k);

// A window's identity in the engine's maps: the platform element alone, never its app or title,
// so two handles for the same window are one key.
struct WindowKey {
    WindowHandle element;
    friend bool operator==(const WindowKey& a, const WindowKey& b) {
        return a.element == b.element;
    }
};

struct WindowKeyHash {
    size_t operator()(const WindowKey& k) const noexcept {
        return std::hash<WindowHandle>{}(k.element);
    }
};

// An application plus the target it was asked to take, rounded to whole points, so that the frame
// it accepted last time can be asked for again.
struct BestFitKey {
    std::string bid;
    int64_t x = 0;
    int64_t y = 0;
    int64_t w = 0;
    int64_t h = 0;

    // Rounds halves away from zero; a non-finite or out-of-range value stops the process, since
    // real window geometry never produces one.
    static BestFitKey make(const std::string& bid, const Rect& target);

    friend bool operator==(const BestFitKey&, const BestFitKey&) = default;
};

struct BestFitKeyHash {
    size_t operator()(const BestFitKey& k) const noexcept;
};

// Rounds to the nearest integer, halves away from zero; aborts on NaN, infinity or overflow.
int64_t roundedInt64(double value);

// Adds one to an engine counter; stops the process rather than wrap.
void incrementCounter(int& counter);

// The engine's memory of one window. Shared between the state table and the code that changes it
// during a tick; touched only on the engine queue.
struct ManagedState {
    Disposition disposition = Disposition::managed;
    Rect lastFrame;
    int stableTicks = 0;
    int resistCount = 0;
    std::vector<double> reassertStamps;  // uptimes of recent applies
    std::optional<Rect> lastTargetFrame;
    std::optional<Rect> bestFitFrame;
    std::optional<Size> recordedSize;  // size when given up as cannot-fill
    std::optional<Rect> rememberedTarget;
    std::optional<Size> topCenterSize;
    bool userMaximized = false;
    bool userPositioned = false;
    std::optional<Rect> expectedFrame;  // the engine's own last write
    double expectedFrameStamp = 0;
    bool needsStoreReadopt = false;
    // Seconds from the last press or drag to the tick that first saw the frame change not yet
    // judged (0 when the button was down then); infinite when there is none. A change is judged
    // a tick or two after it happened, when the press may already be older than the hand window.
    double changeDragAge = std::numeric_limits<double>::infinity();
};

// Fixed thresholds of the engine. They are part of the design, not settings.
struct EngineTunables {
    double interval = 0.75;          // s, polling period
    double firstTickDelay = 0.3;     // s, from start() to the first tick
    double driftEpsilon = 2.0;       // pt, "the same frame"
    double bestFitEpsilon = 4.0;     // pt, own write / accepted size / top-center target
    double overlapKeep = 0.92;       // an apply this close succeeded; existing windows this full
    double reengageOverlap = 0.6;    // a user-arranged window this full is managed again
    int resistLimit = 3;             // failed applies before giving up
    int oscillationLimit = 6;        // applies within oscillationWindow before giving up
    double oscillationWindow = 5.0;  // s
    double cellFitPosTol = 4.0;      // pt, also the probe tolerance
    double cellGapMax = 48.0;        // pt
    double selfWriteWindow = 1.8;    // s
    double maximizeReclaim = 0.9;    // below: remembered as custom; at or above: reclaimed
    double reconfigureSettle = 1.2;  // s, observe-only period; also "dragged by hand" window
    double userMaximizeDragWindow = 2.0;  // s
    double handResizeThreshold = 40.0;    // pt, resize that revives a cannot-fill window
    double topCenterInset = 2.0;          // pt
    double topCenterSizeTol = 6.0;        // pt
    double topCenterFillW = 0.62;
    double topCenterFillH = 0.8;
    double maximizeFillFraction = 0.94;
    double focusWidthDefault = 1280.0;  // pt
    double focusWidthWide = 1760.0;     // pt
    double focusMaxFraction = 0.9;
    double focusFillH = 0.88;
    double overshootSlack = 1.0;  // pt an application may exceed the target by
    int maxCorrections = 4;
    double onScreenCoverage = 0.7;  // a remembered frame less on screen than this is retired
    double zonePosTol = 30.0;       // pt
    double zoneSizeTol = 44.0;      // pt
};

}  // namespace mavo

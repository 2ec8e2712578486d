#pragma once

// The engine's judgement of one window as a value: what it knew, what it sees now, and what should
// happen next. It reads no window, store, clock or log, so every rule is checked as a table row.

#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "engine/EngineTypes.h"
#include "geometry/ScreenCache.h"
#include "placements/RelFrame.h"

namespace mavo {

// What a pass saw of one window and of the user's hands.
struct Observation {
    Rect frame{};
    std::string title{};
    bool sizeSettable = true;
    bool mouseDown = false;
    double secondsSinceDrag = std::numeric_limits<double>::infinity();
    bool recentlyKeyed = false;  // within the window in which a key counts as a user maximize
    // The placement remembered for the window with the displays attached now. Looked up only for a
    // window met for the first time or re-adopted after the displays changed: nothing else reads
    // it.
    std::optional<Rect> rememberedFrame{};
    std::optional<Size> rememberedTopCenterSize{};
};

// What the settings and the pass say about a window.
struct PolicySettings {
    bool topCenter = false;      // kept top-centred at a utility size
    bool focusEligible = false;  // kept at reading width on a large display
    bool wideFocus = false;      // its reading width is the wide one
    bool cellSnap = false;       // its application sizes windows in cells
    bool firstTick = false;
    bool force = false;
    bool maximizeExistingOnStartup = true;
    double reconfiguringUntil = 0;  // uptime until which the displays are still settling
};

namespace effect {
// Move and size the window; the applier verifies, corrects and learns.
struct Apply {
    Rect target;
    bool customRestore = false;
    friend bool operator==(const Apply&, const Apply&) = default;
};
// A frame the user chose, kept across launches relative to its display's visible frame.
struct RememberPlacement {
    std::string displayUUID;
    RelFrame rel;
    bool topCenter = false;
    friend bool operator==(const RememberPlacement&, const RememberPlacement&) = default;
};
struct ForgetPlacement {
    friend bool operator==(const ForgetPlacement&, const ForgetPlacement&) = default;
};
// The frame an application accepted for a target, asked for again next time.
struct RememberBestFit {
    Rect accepted, target;
    friend bool operator==(const RememberBestFit&, const RememberBestFit&) = default;
};
struct Log {
    std::string line;
    friend bool operator==(const Log&, const Log&) = default;
};
struct Track {
    std::string name;
    nlohmann::json props = nlohmann::json::object();
    friend bool operator==(const Track&, const Track&) = default;
};
}  // namespace effect

using Effect = std::variant<effect::Apply, effect::RememberPlacement, effect::ForgetPlacement,
                            effect::RememberBestFit, effect::Log, effect::Track>;

struct Decision {
    ManagedState state;
    std::vector<Effect> effects;  // in the order they are to happen
};

// `state` is nothing for a window met for the first time; `now` is the uptime of the pass.
Decision decide(std::optional<ManagedState> state, const Observation& seen,
                const PolicySettings& settings, const ScreenCache& displays, double now);

}  // namespace mavo

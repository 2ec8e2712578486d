#pragma once

#include <functional>
#include <memory>

#include "engine/MaximizeEngine.h"

namespace mavo {

// The engine's two bulk actions as the menu and the remote control start them; the settings they
// change are reached directly through EngineSettings.
struct EngineActions {
    std::function<void()> reevaluateAll;
    std::function<void()> maximizeAllNow;

    static EngineActions of(const std::shared_ptr<MaximizeEngine>& engine) {
        return {[engine] { engine->reevaluateAll(); }, [engine] { engine->maximizeAllNow(); }};
    }
};

}  // namespace mavo

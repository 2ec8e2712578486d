// Steering from outside the timer: a display change, and the two menu actions that make the
// engine forget what it knows and act on every window at once. Each runs on the engine queue.

#include "engine/MaximizeEngine.h"
#include "engine/RectStr.h"

namespace mavo {

void MaximizeEngine::noteDisplayConfigChange() {
    submit([](MaximizeEngine& self) {
        // A second change during the period pushes its end out again.
        double now = self.env_.clock.uptime();
        self.reconfiguringUntil_ = now + tunables.reconfigureSettle;
        self.diag("display reconfigure — observe-only for " +
                  shortestDecimal(tunables.reconfigureSettle) + "s");
    });
}

void MaximizeEngine::reevaluateAll() {
    submit([](MaximizeEngine& self) {
        self.states_.clear();
        self.tick(true);
    });
}

void MaximizeEngine::maximizeAllNow() {
    submit([](MaximizeEngine& self) {
        // Placements of other display arrangements are kept; so is the best-fit memory.
        self.env_.store.removeConfig(self.env_.screens.configSignature());
        self.states_.clear();
        self.tick(true);
    });
}

}  // namespace mavo

#include "platform/linux/GLibTimers.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace mavo {

namespace {

guint milliseconds(double seconds) {
    return static_cast<guint>(std::lround(std::max(0.0, seconds) * 1000.0));
}

struct TimerState {
    guint id = 0;  // the live source; 0 once cancelled or a one-shot has fired
    bool repeating = false;
    guint period = 0;       // ms
    bool onPeriod = false;  // the source already fires every `period`
    TimerScheduler::Block block;
};

using StateRef = std::shared_ptr<TimerState>;

gboolean fire(gpointer data);

guint addSource(const StateRef& state, guint ms) {
    return g_timeout_add_full(G_PRIORITY_DEFAULT, ms, fire, new StateRef(state),
                              [](gpointer data) { delete static_cast<StateRef*>(data); });
}

gboolean fire(gpointer data) {
    // A local reference keeps the block alive if it destroys its own handle.
    StateRef state = *static_cast<StateRef*>(data);
    if (!state->repeating) state->id = 0;
    state->block();
    if (!state->repeating || state->id == 0) return G_SOURCE_REMOVE;
    if (state->onPeriod) return G_SOURCE_CONTINUE;
    // The first delay differed from the period: a new source fires at the period from now on.
    state->onPeriod = true;
    state->id = addSource(state, state->period);
    return G_SOURCE_REMOVE;
}

std::unique_ptr<Timer> schedule(double firstDelay, bool repeating, double interval,
                                TimerScheduler::Block block) {
    auto state = std::make_shared<TimerState>();
    state->repeating = repeating;
    state->period = milliseconds(interval);
    state->onPeriod = milliseconds(firstDelay) == state->period;
    state->block = std::move(block);
    state->id = addSource(state, milliseconds(firstDelay));
    return std::make_unique<Timer>([state] {
        if (state->id != 0) g_source_remove(std::exchange(state->id, 0));
    });
}

}  // namespace

std::unique_ptr<Timer> GLibTimers::scheduleOnce(double seconds, Block block) {
    return schedule(seconds, false, 0, std::move(block));
}

std::unique_ptr<Timer> GLibTimers::scheduleRepeating(double firstDelay, double interval,
                                                     Block block) {
    return schedule(firstDelay, true, interval, std::move(block));
}

}  // namespace mavo

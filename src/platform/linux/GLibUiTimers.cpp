#include "platform/linux/GLibUiTimers.h"

#include <glib.h>

#include <cmath>

namespace mavo {

namespace {

struct TimerState {
    guint id = 0;
    bool repeating = false;
    std::function<void()> block;
};

using StateRef = std::shared_ptr<TimerState>;

gboolean fire(gpointer data) {
    // A local reference keeps the block alive if it destroys its own handle.
    StateRef state = *static_cast<StateRef*>(data);
    if (!state->repeating) state->id = 0;
    state->block();
    return state->repeating && state->id != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

class GLibTimer final : public UiTimer {
  public:
    explicit GLibTimer(StateRef state) : state_(std::move(state)) {}
    ~GLibTimer() override { invalidate(); }
    void invalidate() override {
        if (state_->id != 0) {
            g_source_remove(state_->id);
            state_->id = 0;
        }
    }

  private:
    StateRef state_;
};

std::unique_ptr<UiTimer> schedule(double seconds, bool repeating, std::function<void()> block) {
    auto state = std::make_shared<TimerState>();
    state->repeating = repeating;
    state->block = std::move(block);
    const guint ms = static_cast<guint>(std::lround(std::max(0.0, seconds) * 1000.0));
    state->id = g_timeout_add_full(G_PRIORITY_DEFAULT, ms, fire, new StateRef(state),
                                   [](gpointer data) { delete static_cast<StateRef*>(data); });
    return std::make_unique<GLibTimer>(std::move(state));
}

}  // namespace

std::unique_ptr<UiTimer> GLibUiTimers::scheduleOnce(double seconds, std::function<void()> block) {
    return schedule(seconds, false, std::move(block));
}

std::unique_ptr<UiTimer> GLibUiTimers::scheduleRepeating(double interval,
                                                         std::function<void()> block) {
    return schedule(interval, true, std::move(block));
}

}  // namespace mavo

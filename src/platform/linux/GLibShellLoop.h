#pragma once

#include <glib.h>

#include <functional>
#include <vector>

#include "app/ShellLoop.h"

namespace mavo {

// The application's event loop on Linux: the GLib main loop of the default context. SIGTERM,
// SIGINT and SIGHUP end it the orderly way: the termination handlers run once, then the loop
// stops and `run` returns.
class GLibShellLoop final : public ShellLoop {
  public:
    GLibShellLoop();
    ~GLibShellLoop() override;
    GLibShellLoop(const GLibShellLoop&) = delete;
    GLibShellLoop& operator=(const GLibShellLoop&) = delete;

    void observeDisplayChanges(Handler handler) override;
    void observeTermination(Handler handler) override;

    // Installs the handlers of the three terminating signals on the loop.
    void handleTerminationSignals();
    // Runs the loop until `terminate` (or a terminating signal); answers the exit status.
    int run();
    // The platform saw the displays change: every observer is told, in registration order.
    void displaysChanged();
    // Runs the termination handlers (once, however often it is called), then ends the loop with
    // `status`.
    void terminate(int status = 0);
    bool isTerminating() const { return terminating_; }

  private:
    GMainLoop* loop_;
    std::vector<Handler> displayHandlers_;
    std::vector<Handler> terminationHandlers_;
    std::vector<guint> signalSources_;
    bool terminating_ = false;
    int status_ = 0;
};

}  // namespace mavo

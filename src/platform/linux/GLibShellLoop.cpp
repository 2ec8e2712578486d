#include "platform/linux/GLibShellLoop.h"

#include <glib-unix.h>

#include <csignal>

namespace mavo {

GLibShellLoop::GLibShellLoop() : loop_(g_main_loop_new(nullptr, FALSE)) {}

GLibShellLoop::~GLibShellLoop() {
    for (guint id : signalSources_) g_source_remove(id);
    g_main_loop_unref(loop_);
}

void GLibShellLoop::observeDisplayChanges(Handler handler) {
    displayHandlers_.push_back(std::move(handler));
}

void GLibShellLoop::observeTermination(Handler handler) {
    terminationHandlers_.push_back(std::move(handler));
}

void GLibShellLoop::handleTerminationSignals() {
    for (int signum : {SIGTERM, SIGINT, SIGHUP}) {
        signalSources_.push_back(g_unix_signal_add(
            signum,
            [](gpointer data) -> gboolean {
                static_cast<GLibShellLoop*>(data)->terminate(0);
                return G_SOURCE_CONTINUE;  // a second signal while quitting changes nothing
            },
            this));
    }
}

int GLibShellLoop::run() {
    if (!terminating_) g_main_loop_run(loop_);
    return status_;
}

void GLibShellLoop::displaysChanged() {
    if (terminating_) return;
    // A handler may register another observer; iterate over the ones present now.
    std::vector<Handler> handlers = displayHandlers_;
    for (auto& h : handlers) h();
}

void GLibShellLoop::terminate(int status) {
    if (terminating_) return;
    terminating_ = true;
    status_ = status;
    std::vector<Handler> handlers = std::move(terminationHandlers_);
    for (auto& h : handlers) h();
    g_main_loop_quit(loop_);
}

}  // namespace mavo

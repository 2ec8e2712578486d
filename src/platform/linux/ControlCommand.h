#pragma once

#include <string>
#include <vector>

namespace mavo {

// The `mavo VERB` side of the remote control: each verb is one call to the running Mavo of this X
// display ($DISPLAY), or of the session when there is no display, over the session bus.
enum ControlExit { controlDone = 0, controlNotRunning = 1, controlUsage = 2 };

extern const char* const controlHelp;

bool isControlVerb(const std::string& word);
// `args` are the words after the program name, the verb first. Prints the outcome and answers the
// exit status.
int runControlVerb(const std::vector<std::string>& args);
// Prints the status of the Mavo of `display`, as `mavo status` does; false when none answers.
bool printStatus(const std::string& display);

}  // namespace mavo

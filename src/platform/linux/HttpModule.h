#pragma once

#include <memory>
#include <string>

#include "analytics/HttpSender.h"

namespace mavo {

// Where the HTTP module sits: lib/mavo/ beside the bin/ folder of the running program, in the
// build tree as once installed.
std::string httpModulePath();
// A sender from the module at `path`; nothing when it cannot be loaded. The module stays loaded
// for the life of the process.
std::shared_ptr<HttpSender> loadHttpSender(const std::string& path = httpModulePath());

}  // namespace mavo

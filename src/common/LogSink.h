#pragma once

#include <functional>
#include <string>

namespace mavo {

// Where a layer's diagnostic lines go, one line per call and from any thread. The application
// plugs in its log file; a layer given none keeps quiet.
using LogSink = std::function<void(const std::string& line)>;

}  // namespace mavo

#pragma once

#include <string>

// The diagnostic log: one plain line per entry, emptied at launch, appended off the caller's
// thread in call order.
namespace mavo::Diag {

inline constexpr const char* defaultPath = "/tmp/mavo-diag.log";

void reset();
void log(const std::string& line);
// Waits until every line queued so far is on disk.
void drain();
void setPath(const std::string& path);
std::string path();

}  // namespace mavo::Diag

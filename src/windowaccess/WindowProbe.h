#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "geometry/Rect.h"
#include "windowaccess/WindowListSource.h"

// Diagnosis only: compares a window's accessibility frame with the window server's own list to
// tell a genuine refusal to resize from a coordinate-space mismatch.
namespace mavo::WindowProbe {

std::optional<Rect> groundTruthBounds(WindowListSource& source, int32_t pid, const Rect& axFrame);
std::string spaceVerdict(WindowListSource& source, const Rect& axFrame, int32_t pid, double tol);

}  // namespace mavo::WindowProbe

#include "windowaccess/WindowProbe.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace mavo::WindowProbe {

namespace {

std::string rectText(const Rect& r) {
    char buf[160];
    std::snprintf(buf, sizeof buf, "(%.0f,%.0f %.0fx%.0f)", r.minX(), r.minY(), r.width, r.height);
    return buf;
}

// Nearest integer, halves away from zero. Real window geometry always fits; anything else is a
// bug upstream, so stop rather than print nonsense.
long long rounded(double v) {
    double r = std::round(v);
    if (!(r >= -9223372036854775808.0 && r < 9223372036854775808.0)) std::abort();
    return static_cast<long long>(r);
}

}  // namespace

std::optional<Rect> groundTruthBounds(WindowListSource& source, int32_t pid, const Rect& axFrame) {
    auto entries = source.onScreenWindows();
    if (!entries) return std::nullopt;
    double bestScore = std::numeric_limits<double>::max();
    std::optional<Rect> best;
    for (const auto& e : *entries) {
        if (!e.ownerPID || *e.ownerPID != pid) continue;
        // Panels and overlays sit on other layers; a missing layer is taken as a normal window.
        if (e.layer && *e.layer != 0) continue;
        if (!e.bounds) continue;
        // Position stays out of the score: it is what the caller wants to check.
        double score =
            std::abs(e.bounds->width - axFrame.width) + std::abs(e.bounds->height - axFrame.height);
        if (score < bestScore) {
            bestScore = score;
            best = e.bounds;
        }
    }
    return best;
}

std::string spaceVerdict(WindowListSource& source, const Rect& axFrame, int32_t pid, double tol) {
    auto cg = groundTruthBounds(source, pid, axFrame);
    if (!cg) {
        return "ax=" + rectText(axFrame) +
               " cg=none — no CG ground-truth window matched (can't classify space)";
    }
    double dx = axFrame.minX() - cg->minX();
    double dy = axFrame.minY() - cg->minY();
    double dw = axFrame.width - cg->width;
    double dh = axFrame.height - cg->height;
    auto within = [tol](double d) { return std::abs(d) <= tol; };

    if (within(dx) && within(dy) && within(dw) && within(dh)) {
        return "SPACE-OK ax=" + rectText(axFrame) + " cg=" + rectText(*cg) +
               " — globalTopLeft confirmed; genuine cannot-fill (app refused resize)";
    }
    const char* kind = within(dx) && within(dw) && within(dh) && std::abs(dy) > tol
                           ? "Y-FLIP/per-screen (likely non-globalTopLeft on a secondary display)"
                           : "POSITION-OFFSET";
    std::string delta = "Δ=(" + std::to_string(rounded(dx)) + "," + std::to_string(rounded(dy)) +
                        " " + std::to_string(rounded(dw)) + "x" + std::to_string(rounded(dh)) + ")";
    return std::string("SPACE-MISMATCH[") + kind + "] ax=" + rectText(axFrame) +
           " cg=" + rectText(*cg) + " " + delta;
}

}  // namespace mavo::WindowProbe

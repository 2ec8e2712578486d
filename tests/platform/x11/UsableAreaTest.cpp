#include "platform/x11/UsableArea.h"

#include <gtest/gtest.h>

namespace mavo {
namespace {

const Rect kRoot{0, 0, 1920, 1080}, kWide{0, 0, 3840, 1080};
const Rect kLeft{0, 0, 1920, 1080}, kRight{1920, 0, 1920, 1080};

Strut topOf(uint32_t height, uint32_t fromX, uint32_t toX) {
    return {0, 0, height, 0, 0, 0, 0, 0, fromX, toX, 0, 0};
}

struct Case {
    const char* what;
    UsableAreaInputs in;
    std::vector<Rect> want;
};

TEST(UsableArea, PerMonitorWorkAreasElseStrutsAndTheWorkAreaWhereItDescribesTheMonitor) {
    const Case cases[] = {
        {"bare monitor", {kRoot, {kRoot}}, {kRoot}},
        {"panel strut", {kRoot, {kRoot}, {topOf(30, 0, 1919)}}, {{0, 30, 1920, 1050}}},
        {"older strut form",
         {kRoot, {kRoot}, {wholeEdgeStrut(0, 0, 0, 40, kRoot)}},
         {{0, 0, 1920, 1040}}},
        {"toolbar in the work area only",
         {kRoot, {kRoot}, {}, Rect{0, 0, 1920, 1060}},
         {{0, 0, 1920, 1060}}},
        {"per-monitor work area wins over struts",
         {kRoot, {kRoot}, {topOf(60, 0, 1919)}, Rect{0, 60, 1920, 1020}, {{0, 27, 1920, 1053}}},
         {{0, 27, 1920, 1053}}},
        {"per-monitor work areas matched by overlap",
         {kWide, {kLeft, kRight}, {}, {}, {{1920, 0, 1920, 1050}, {40, 0, 1880, 1080}}},
         {{40, 0, 1880, 1080}, {1920, 0, 1920, 1050}}},
        {"strut on one monitor; a spanning work area speaks for none",
         {kWide, {kRight, kLeft}, {topOf(30, 0, 1919)}, Rect{0, 30, 3840, 1050}},
         {kRight, {0, 30, 1920, 1050}}},
        {"work area within the primary",
         {kWide, {kLeft, kRight}, {}, Rect{0, 0, 1920, 1060}},
         {{0, 0, 1920, 1060}, kRight}},
        {"work area within a secondary",
         {kWide, {kLeft, kRight}, {}, Rect{1920, 0, 1920, 1060}},
         {kLeft, kRight}},
        {"never empty: a strut over it all, a work area elsewhere",
         {kRoot, {kRoot}, {topOf(1080, 0, 1919)}, Rect{2000, 0, 100, 100}},
         {kRoot}},
    };
    for (const Case& c : cases) EXPECT_EQ(usableAreas(c.in), c.want) << c.what;
}

}  // namespace
}  // namespace mavo

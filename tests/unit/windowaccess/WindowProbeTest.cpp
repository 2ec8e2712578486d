#include "windowaccess/WindowProbe.h"

#include <gtest/gtest.h>

#include "fakes/FakeWindowList.h"

namespace mavo {
namespace {

constexpr int32_t kPid = 42;

std::optional<Rect> bounds(test::FakeWindowList& list, const Rect& ax) {
    return WindowProbe::groundTruthBounds(list, kPid, ax);
}

std::string verdict(const Rect& cg, const Rect& ax) {
    test::FakeWindowList list;
    list.setEntries({{kPid, 0, cg}});
    return WindowProbe::spaceVerdict(list, ax, kPid, 4);
}

TEST(WindowProbe, PicksTheOwnersNormalWindowClosestInSizeTheFirstOnATie) {
    test::FakeWindowList list;
    list.setEntries({{kPid, 0, Rect{0, 0, 800, 600}},
                     {kPid + 1, 0, Rect{0, 0, 1190, 900}},  // another process, exact size
                     {kPid, 0, Rect{5, 30, 1200, 900}},
                     {kPid, 0, Rect{9, 9, 1190, 910}}});  // as far off, but later
    EXPECT_EQ(bounds(list, {0, 25, 1190, 900}), (Rect{5, 30, 1200, 900}));
}

TEST(WindowProbe, SkipsOtherLayersAndEntriesWithoutBoundsButKeepsMissingLayers) {
    const Rect ax{0, 0, 1000, 800};
    test::FakeWindowList list;
    list.setEntries({{kPid, 3, ax}, {kPid, 0, std::nullopt}, {std::nullopt, 0, ax}});
    EXPECT_EQ(bounds(list, ax), std::nullopt);
    EXPECT_EQ(WindowProbe::spaceVerdict(list, ax, kPid, 4),
              "ax=(0,0 1000x800) cg=none — no CG ground-truth window matched (can't classify "
              "space)");
    list.setEntries({{kPid, 3, ax}, {kPid, std::nullopt, Rect{1, 2, 300, 200}}});
    EXPECT_EQ(bounds(list, ax), (Rect{1, 2, 300, 200}));
    list.setUnreadable();
    EXPECT_EQ(bounds(list, ax), std::nullopt);
}

TEST(WindowProbe, VerdictTellsARefusalFromAFlipAndFromAnOffset) {
    EXPECT_EQ(verdict({0, 25, 1436, 871}, {2, 27, 1440, 875}),
              "SPACE-OK ax=(2,27 1440x875) cg=(0,25 1436x871) — globalTopLeft confirmed; "
              "genuine cannot-fill (app refused resize)");
    EXPECT_EQ(verdict({1440, -1030, 1920, 1055}, {1440, 25, 1920, 1055}),
              "SPACE-MISMATCH[Y-FLIP/per-screen (likely non-globalTopLeft on a secondary "
              "display)] ax=(1440,25 1920x1055) cg=(1440,-1030 1920x1055) Δ=(0,1055 0x0)");
    // A vertical shift together with a size change is not a clean flip.
    EXPECT_EQ(verdict({0, 25, 800, 600}, {0, 1080, 800, 610}),
              "SPACE-MISMATCH[POSITION-OFFSET] ax=(0,1080 800x610) cg=(0,25 800x600) "
              "Δ=(0,1055 0x10)");
}

}  // namespace
}  // namespace mavo

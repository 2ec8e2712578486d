#include "windowaccess/WindowProbe.h"

#include <gtest/gtest.h>

#include "fakes/FakeWindowList.h"

namespace mavo {
namespace {

using test::FakeWindowList;

constexpr int32_t kPid = 42;

TEST(WindowProbeTest, MatchesTheOwnersNormalWindowClosestInSize) {
    FakeWindowList list;
    list.setEntries({
        {kPid, 0, Rect{0, 0, 800, 600}},
        {kPid + 1, 0, Rect{0, 0, 1190, 900}},  // another process, exact size
        {kPid, 0, Rect{5, 30, 1200, 900}},
    });
    EXPECT_EQ(WindowProbe::groundTruthBounds(list, kPid, {0, 25, 1190, 900}),
              (Rect{5, 30, 1200, 900}));
}

TEST(WindowProbeTest, SkipsOtherLayersAndEntriesWithoutBoundsButKeepsMissingLayers) {
    FakeWindowList list;
    list.setEntries({{kPid, 3, Rect{0, 0, 1000, 800}}});
    EXPECT_EQ(WindowProbe::groundTruthBounds(list, kPid, {0, 0, 1000, 800}), std::nullopt);
    EXPECT_EQ(WindowProbe::spaceVerdict(list, {0, 0, 1000, 800}, kPid, 4),
              "ax=(0,0 1000x800) cg=none — no CG ground-truth window matched (can't classify "
              "space)");

    list.add({kPid, 0, std::nullopt});
    list.add({std::nullopt, 0, Rect{0, 0, 1000, 800}});
    EXPECT_EQ(WindowProbe::groundTruthBounds(list, kPid, {0, 0, 1000, 800}), std::nullopt);

    list.add({kPid, std::nullopt, Rect{1, 2, 300, 200}});
    EXPECT_EQ(WindowProbe::groundTruthBounds(list, kPid, {0, 0, 1000, 800}),
              (Rect{1, 2, 300, 200}));

    list.setUnreadable();
    EXPECT_EQ(WindowProbe::groundTruthBounds(list, kPid, {0, 0, 1000, 800}), std::nullopt);
}

TEST(WindowProbeTest, FirstOfEquallyGoodCandidatesWins) {
    FakeWindowList list;
    // Both are 20 points off in total, one in width and one in height.
    list.setEntries({{kPid, 0, Rect{1, 1, 820, 600}}, {kPid, 0, Rect{2, 2, 800, 620}}});
    EXPECT_EQ(WindowProbe::groundTruthBounds(list, kPid, {0, 0, 800, 600}), (Rect{1, 1, 820, 600}));
}

TEST(WindowProbeTest, AgreementWithinToleranceIsAGenuineRefusal) {
    FakeWindowList list;
    list.setEntries({{kPid, 0, Rect{0, 25, 1436, 871}}});
    EXPECT_EQ(WindowProbe::spaceVerdict(list, {2, 27, 1440, 875}, kPid, 4),
              "SPACE-OK ax=(2,27 1440x875) cg=(0,25 1436x871) — globalTopLeft confirmed; "
              "genuine cannot-fill (app refused resize)");
}

TEST(WindowProbeTest, OnlyAVerticalDisagreementIsTheFlipKind) {
    FakeWindowList list;
    list.setEntries({{kPid, 0, Rect{1440, -1030, 1920, 1055}}});
    EXPECT_EQ(WindowProbe::spaceVerdict(list, {1440, 25, 1920, 1055}, kPid, 4),
              "SPACE-MISMATCH[Y-FLIP/per-screen (likely non-globalTopLeft on a secondary "
              "display)] ax=(1440,25 1920x1055) cg=(1440,-1030 1920x1055) Δ=(0,1055 0x0)");
}

TEST(WindowProbeTest, AnyOtherDisagreementIsAPositionOffset) {
    FakeWindowList list;
    list.setEntries({{kPid, 0, Rect{0, 25, 800, 600}}});
    EXPECT_EQ(WindowProbe::spaceVerdict(list, {10, 25, 800, 600}, kPid, 4),
              "SPACE-MISMATCH[POSITION-OFFSET] ax=(10,25 800x600) cg=(0,25 800x600) "
              "Δ=(10,0 0x0)");
    // A vertical shift together with a size change is not a clean flip.
    EXPECT_EQ(WindowProbe::spaceVerdict(list, {0, 1080, 800, 610}, kPid, 4),
              "SPACE-MISMATCH[POSITION-OFFSET] ax=(0,1080 800x610) cg=(0,25 800x600) "
              "Δ=(0,1055 0x10)");
}

TEST(WindowProbeTest, DeltasRoundHalvesAwayFromZero) {
    FakeWindowList list;
    list.setEntries({{kPid, 0, Rect{10.5, 20, 800, 600}}});
    // dx = -0.5, dy = 2.5, dw = 10, dh = -1.5; the loose dx keeps it an offset.
    EXPECT_EQ(WindowProbe::spaceVerdict(list, {10, 22.5, 810, 598.5}, kPid, 0.25),
              "SPACE-MISMATCH[POSITION-OFFSET] ax=(10,22 810x598) cg=(10,20 800x600) "
              "Δ=(-1,3 10x-2)");
}

TEST(WindowProbeDeathTest, ADeltaBeyondSixtyFourBitsStopsTheProcess) {
    FakeWindowList list;
    list.setEntries({{kPid, 0, Rect{0, 0, 800, 600}}});
    EXPECT_DEATH(WindowProbe::spaceVerdict(list, {1e19, 0, 800, 600}, kPid, 4), "");
}

}  // namespace
}  // namespace mavo

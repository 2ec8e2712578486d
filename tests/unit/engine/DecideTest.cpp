// The judgement of one window, rule by rule: what the engine knew and what it sees now, against
// what it then knows and does.

#include "engine/Decide.h"

#include <gtest/gtest.h>

#include <limits>

#include "engine/RectStr.h"
#include "fakes/FakeDisplaySource.h"

// GCC 12 takes the strings inside these long row tables for uninitialized (a known false positive).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wrestrict"
#endif

namespace mavo::test {
namespace {

using Lines = std::vector<std::string>;
constexpr double kNow = 100;
constexpr double kNoHand = std::numeric_limits<double>::infinity();
constexpr double kHand = 0.85;  // the gesture ended this long before the change was seen
const Rect kVisible{0, 25, 1920, 1055};
const Rect kSmall{200, 150, 800, 600};
const Rect kLeftHalf{0, 25, 960, 1055};
// 62 % × 80 % of the visible frame, centred, 2 points below its top.
const Rect kUtility{364.8, 27, 1190.4, 844};
const Rect kBigVisible{0, 25, 2560, 1415};
const Rect kFocus{640, 27, 1280, 0.88 * 1415};

const ScreenCache& displays(bool big) {
    static FakeDisplaySource primary{{primary1080()}},
        large{{makeScreen({0, 0, 2560, 1440}, "BIG", 25, 0, false, 600)}};
    static ScreenCache primaryCache{&primary}, largeCache{&large};
    static bool refreshed = (primaryCache.refresh(), largeCache.refresh(), true);
    (void)refreshed;
    return big ? largeCache : primaryCache;
}

Lines render(const std::vector<Effect>& effects) {
    Lines out;
    for (const Effect& effect : effects) {
        std::visit(
            [&](const auto& e) {
                using E = std::decay_t<decltype(e)>;
                if constexpr (std::is_same_v<E, effect::Apply>) {
                    out.push_back((e.customRestore ? "restore " : "apply ") + rectStr(e.target));
                } else if constexpr (std::is_same_v<E, effect::RememberPlacement>) {
                    out.push_back("remember " + e.displayUUID + (e.topCenter ? " top" : ""));
                } else if constexpr (std::is_same_v<E, effect::ForgetPlacement>) {
                    out.push_back("forget");
                } else if constexpr (std::is_same_v<E, effect::RememberBestFit>) {
                    out.push_back("best-fit " + rectStr(e.accepted));
                } else if constexpr (std::is_same_v<E, effect::Log>) {
                    out.push_back("log " + e.line);
                } else {
                    out.push_back("track " + e.name +
                                  (e.props.empty() ? "" : " " + e.props.dump()));
                }
            },
            effect);
    }
    return out;
}

ManagedState settledAt(const Rect& frame, Disposition d = Disposition::managed) {
    ManagedState s;
    s.disposition = d;
    s.lastFrame = frame;
    s.stableTicks = 3;
    s.lastTargetFrame = kVisible;
    s.bestFitFrame = frame;
    return s;
}
// The previous pass saw the window move to `to`; this one sees it there still and judges it.
ManagedState changedTo(ManagedState s, const Rect& to, double dragAge) {
    s.lastFrame = to;
    s.stableTicks = 0;
    s.changeDragAge = dragAge;
    return s;
}
template <typename F>
ManagedState with(ManagedState s, F change) {
    change(s);
    return s;
}

struct Row {
    const char* what;
    std::optional<ManagedState> before;
    Observation seen;
    PolicySettings settings;
    Disposition after;
    Lines effects;
    bool big = false;  // on a large display rather than the 1920×1080 one
};

void run(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        Decision d = decide(row.before, row.seen, row.settings, displays(row.big), kNow);
        EXPECT_EQ(d.state.disposition, row.after);
        EXPECT_EQ(render(d.effects), row.effects);
    }
}

Observation at(const Rect& frame) {
    return {.frame = frame};
}

using enum Disposition;
const PolicySettings kPlain{}, kUtilityApp{.topCenter = true}, kFocusApp{.focusEligible = true};
const std::string kApplyMax = "apply (0.0,25.0 1920.0×1055.0)";
const std::string kRecentre = "restore (364.8,27.0 1190.4×844.0)";
const std::string kFocusSized = R"(track focus_sized {"display_class":"largeExternal"})";

// clang-format off
TEST(Decide, FirstSight) {
    const Rect remembered{100, 100, 1000, 700}, cellShort{0, 25, 1910, 1040};
    const PolicySettings existingOff{.firstTick = true, .maximizeExistingOnStartup = false};
    run({
        {"in a snap zone", {}, at(kLeftHalf), kPlain, userArranged, {"log userArranged(zone,new) frame=(0.0,25.0 960.0×1055.0)"}},
        {"30 points off a zone and 44 short", {}, at({30, 55, 916, 1011}), kPlain, userArranged, {"log userArranged(zone,new) frame=(30.0,55.0 916.0×1011.0)"}},
        {"31 points off a zone", {}, at({31, 25, 960, 1055}), kPlain, managed, {kApplyMax}},
        {"filling its display already", {}, at(kVisible), kPlain, managed, {}},
        {"with a remembered placement", {}, {.frame = kSmall, .rememberedFrame = remembered}, kPlain, managed,
         {"restore (100.0,100.0 1000.0×700.0)", "log restore(persisted) frame=(100.0,100.0 1000.0×700.0)"}},
        {"a cell short, of an application that sizes in cells", {}, at(cellShort), {.cellSnap = true}, managed, {"best-fit (0.0,25.0 1910.0×1040.0)"}},
        {"a cell short, of any other application", {}, at(cellShort), kPlain, managed, {kApplyMax}},
        {"60 points short, of an application that sizes in cells", {}, at({2, 27, 1860, 1040}), {.cellSnap = true}, managed, {kApplyMax}},
        {"open at launch, nearly full, existing ones left alone", {}, at({48, 25, 1824, 1055}), existingOff, managed, {}},
        {"open at launch, half full, existing ones left alone", {}, at({300, 150, 1280, 791.25}), existingOff, userArranged, {}},
        {"open at launch, forced", {}, at(kSmall), {.firstTick = true, .force = true, .maximizeExistingOnStartup = false}, managed, {kApplyMax}},
        {"while the displays settle", {}, at(kSmall), {.reconfiguringUntil = kNow + 1}, managed, {}},
        {"top-centred", {}, at(kSmall), kUtilityApp, managed, {kRecentre}},
        {"top-centred at a remembered size", {}, {.frame = kSmall, .rememberedTopCenterSize = Size{1000, 700}}, kUtilityApp, managed,
         {"log restore(topcenter) size=1000.0×700.0", "restore (460.0,27.0 1000.0×700.0)"}},
        {"top-centred, size fixed", {}, {.frame = {100, 100, 600, 400}, .sizeSettable = false}, kUtilityApp, managed, {"restore (660.0,27.0 600.0×400.0)"}},
        {"focus-sized on a large display", {}, at(kSmall), kFocusApp, managed, {"restore (640.0,27.0 1280.0×1245.2)", kFocusSized}, true},
        {"focus-sized, already in place", {}, at(kFocus), kFocusApp, managed, {kFocusSized}, true},
        {"focus-sized at the wide width", {}, at(kSmall), {.focusEligible = true, .wideFocus = true}, managed, {"restore (400.0,27.0 1760.0×1245.2)", kFocusSized}, true},
        {"focus-eligible on a small display", {}, at(kSmall), kFocusApp, managed, {kApplyMax}},
    });
}

TEST(Decide, ChangesToAManagedWindow) {
    const ManagedState maxed = settledAt(kVisible);
    const ManagedState custom = with(settledAt(kSmall), [](auto& s) { s.rememberedTarget = kSmall; });
    // Its own write, 3 points from a hand move, made `ago` seconds before.
    auto ownWrite = [&](double ago) {
        return with(custom, [=](auto& s) { s.expectedFrame = kSmall, s.expectedFrameStamp = kNow - ago; });
    };
    const Rect nudged{203, 150, 800, 600}, ninetyFive{96, 25, 1824, 1055}, ninetyTwo{76.8, 25, 1766.4, 1055};
    const Rect settledShort{0, 25, 1900, 1040}, ninety{100, 25, 1728, 1055}, underNinety{0, 25, 1727.9, 1055};
    run({
        {"seen changing: judged on the next pass", maxed, at(kSmall), kPlain, managed, {}},
        {"still held", changedTo(maxed, kSmall, 0), {.frame = kSmall, .mouseDown = true}, kPlain, managed, {}},
        {"dragged smaller by hand", changedTo(maxed, kSmall, kHand), at(kSmall), kPlain, managed,
         {"remember PRIMARY", "log remember(custom) frame=(200.0,150.0 800.0×600.0)", "track placement_remembered"}},
        {"a custom window dragged again", changedTo(custom, nudged, kHand), at(nudged), kPlain, managed,
         {"remember PRIMARY", "log remember(custom) frame=(203.0,150.0 800.0×600.0)"}},
        {"3 points from its own write of 1 s ago", changedTo(ownWrite(1), nudged, kHand), at(nudged), kPlain, managed, {}},
        {"3 points from its own write of 2 s ago", changedTo(ownWrite(2), nudged, kHand), at(nudged), kPlain, managed,
         {"remember PRIMARY", "log remember(custom) frame=(203.0,150.0 800.0×600.0)"}},
        {"dragged over most of the display", changedTo(custom, ninetyFive, kHand), at(ninetyFive), kPlain, managed,
         {"forget", "log reclaim→max frame=(96.0,25.0 1824.0×1055.0)", kApplyMax}},
        {"dragged over exactly 90 %", changedTo(custom, ninety, kHand), at(ninety), kPlain, managed,
         {"forget", "log reclaim→max frame=(100.0,25.0 1728.0×1055.0)", kApplyMax}},
        {"dragged over just under 90 %", changedTo(maxed, underNinety, kHand), at(underNinety), kPlain, managed,
         {"remember PRIMARY", "log remember(custom) frame=(0.0,25.0 1727.9×1055.0)", "track placement_remembered"}},
        {"dragged over most of the display, top-centred", changedTo(with(custom, [](auto& s) { s.userPositioned = true; }), ninetyTwo, kHand),
         at(ninetyTwo), kUtilityApp, managed, {"forget", "log untop frame=(76.8,25.0 1766.4×1055.0)"}},
        {"moved by the application", changedTo(maxed, kSmall, kNoHand), at(kSmall), kPlain, managed, {kApplyMax}},
        {"a custom window moved by the application", changedTo(custom, kVisible, kNoHand), at(kVisible), kPlain, managed, {"restore (200.0,150.0 800.0×600.0)"}},
        {"moved 1.3 s after the hand let go", changedTo(maxed, kSmall, 1.3), at(kSmall), kPlain, managed, {kApplyMax}},
        {"snapped into a third", changedTo(maxed, {0, 25, 640, 1055}, kHand), at({0, 25, 640, 1055}), kPlain, userArranged,
         {"log userArranged(zone) frame=(0.0,25.0 640.0×1055.0)"}},
        {"a custom window snapped", changedTo(custom, kLeftHalf, kNoHand), at(kLeftHalf), kPlain, userArranged,
         {"forget", "log userArranged(zone) frame=(0.0,25.0 960.0×1055.0)"}},
        {"where the application settled last time", changedTo(with(maxed, [&](auto& s) { s.bestFitFrame = settledShort; }), {0, 25, 1902, 1040}, kNoHand),
         at({0, 25, 1902, 1040}), kPlain, managed, {}},
        {"while the displays settle", changedTo(maxed, kSmall, kHand), at(kSmall), {.reconfiguringUntil = kNow + 1}, managed, {}},
        {"remembered off screen", with(maxed, [](auto& s) { s.rememberedTarget = Rect{3000, 100, 800, 600}; }), at(kVisible), kPlain, managed,
         {"log retire(offscreen) frame=(3000.0,100.0 800.0×600.0)"}},
        {"re-adopted after the displays changed", with(custom, [](auto& s) { s.rememberedTarget.reset(), s.needsStoreReadopt = true; }),
         {.frame = kSmall, .rememberedFrame = kSmall}, kPlain, managed, {"log readopt(config) frame=(200.0,150.0 800.0×600.0)"}},
        {"re-adopted with nothing remembered", with(custom, [](auto& s) { s.needsStoreReadopt = true, s.lastTargetFrame = kBigVisible; }), at(kSmall), kPlain, managed, {kApplyMax}},
    });
}

TEST(Decide, WindowsTheUserArrangedOrTheEngineGaveUpOn) {
    const ManagedState arranged = settledAt(kLeftHalf, userArranged);
    const ManagedState givenUp = with(settledAt({0, 25, 1000, 700}, cannotFill), [](auto& s) { s.recordedSize = Size{1000, 700}; });
    const Rect sixty{100, 25, 1152, 1055}, fiftyNine{100, 25, 1132.8, 1055}, twoThirds{640, 25, 1280, 1055};
    const Rect wider{0, 25, 1041, 700}, taller{0, 25, 1000, 740}, moved{500, 25, 1000, 700};
    run({
        {"dragged back over 60 %", changedTo(arranged, sixty, kHand), at(sixty), kPlain, managed,
         {"log re-engage frame=(100.0,25.0 1152.0×1055.0) ov=60.0%", kApplyMax}},
        {"dragged back over 59 %", changedTo(arranged, fiftyNine, kHand), at(fiftyNine), kPlain, userArranged, {}},
        {"moved into another zone", changedTo(arranged, twoThirds, kHand), at(twoThirds), kPlain, userArranged, {}},
        {"held over most of the display", changedTo(arranged, sixty, 0), {.frame = sixty, .mouseDown = true}, kPlain, userArranged, {}},
        {"given up, resized 41 points by hand", changedTo(givenUp, wider, kHand), at(wider), kPlain, managed, {}},
        {"given up, resized 40 points by hand", changedTo(givenUp, taller, kHand), at(taller), kPlain, cannotFill, {}},
        {"given up, resized by the application", changedTo(givenUp, wider, kNoHand), at(wider), kPlain, cannotFill, {}},
        {"given up, moved by hand", changedTo(givenUp, moved, kHand), at(moved), kPlain, cannotFill, {}},
    });
}

TEST(Decide, TopCentredWindows) {
    const ManagedState utility = settledAt(kUtility), focus = settledAt(kFocus);
    const ManagedState maximized = with(settledAt(kVisible), [](auto& s) { s.userMaximized = true; });
    const Rect sixWider{364.8, 27, 1196.4, 844}, sevenWider{364.8, 27, 1197.4, 844};
    const Rect draggedOut{200, 100, 1000, 700}, nearlyFull{20, 45, 1900, 1030}, leftHalf{0, 25, 1280, 1415};
    const ManagedState readopted = with(utility, [](auto& s) { s.needsStoreReadopt = true; });
    const Lines userMaximized{kApplyMax, "track window_user_maximized", "log user-maximized frame=(0.0,25.0 1920.0×1055.0)"};
    run({
        {"widened 6 points by hand: a move", changedTo(utility, sixWider, kHand), at(sixWider), kUtilityApp, managed,
         {"log topcenter move→respect frame=(364.8,27.0 1196.4×844.0)"}},
        {"widened 7 points by hand: kept and centred", changedTo(utility, sevenWider, kHand), at(sevenWider), kUtilityApp, managed,
         {"remember PRIMARY top", "restore (361.3,27.0 1197.4×844.0)", "log topcenter resize→recenter 1197.4×844.0"}},
        {"moved by the application", changedTo(utility, kSmall, kNoHand), at(kSmall), kUtilityApp, managed, {kRecentre}},
        {"maximized by hand", changedTo(utility, kVisible, kHand), at(kVisible), kUtilityApp, managed, userMaximized},
        {"maximized by keyboard", changedTo(utility, kVisible, kNoHand), {.frame = kVisible, .recentlyKeyed = true}, kUtilityApp, managed, userMaximized},
        {"maximized by the application", changedTo(utility, kVisible, kNoHand), at(kVisible), kUtilityApp, managed, {kRecentre}},
        {"a focus window maximized by keyboard", changedTo(focus, kBigVisible, kNoHand), {.frame = kBigVisible, .recentlyKeyed = true}, kFocusApp, managed,
         {"restore (640.0,27.0 1280.0×1245.2)"}, true},
        {"a focus window snapped away", changedTo(focus, leftHalf, kHand), at(leftHalf), kFocusApp, userArranged,
         {"forget", "track focus_snapped_away", "log userArranged(zone,topcenter) frame=(0.0,25.0 1280.0×1415.0)"}, true},
        {"user-maximized, dragged out smaller", changedTo(maximized, draggedOut, kHand), at(draggedOut), kUtilityApp, managed,
         {"forget", "restore (460.0,27.0 1000.0×700.0)", "log revert(user-maximize) frame=(200.0,100.0 1000.0×700.0) keptSmaller=true"}},
        {"user-maximized, dragged less than 40 points out", changedTo(maximized, nearlyFull, kHand), at(nearlyFull), kUtilityApp, managed,
         {"forget", kRecentre, "log revert(user-maximize) frame=(20.0,45.0 1900.0×1030.0) keptSmaller=false"}},
        {"user-maximized, moved by the application", changedTo(maximized, draggedOut, kNoHand), at(draggedOut), kUtilityApp, managed, {kApplyMax}},
        {"re-adopted with a size for these displays", readopted, {.frame = kUtility, .rememberedTopCenterSize = Size{1000, 700}}, kUtilityApp, managed,
         {"restore (460.0,27.0 1000.0×700.0)"}},
        {"re-adopted with no size for these displays", with(readopted, [](auto& s) { s.topCenterSize = Size{1000, 700}; }), at(kUtility), kUtilityApp, managed, {}},
    });
}
// clang-format on

// A change is the hand's by when it was first seen, not by when a later pass judges it; once
// judged, it is never taken for a gesture again.
TEST(Decide, TheHandIsTimedFromWhenTheChangeWasFirstSeenAndCountsOnce) {
    auto pass = [](const ManagedState& s, const Rect& frame, double sinceDrag,
                   const PolicySettings& p) {
        return decide(s, {.frame = frame, .secondsSinceDrag = sinceDrag}, p, displays(false), kNow);
    };
    Decision seen = pass(settledAt(kVisible), kSmall, 0.7, kPlain);
    EXPECT_EQ(pass(seen.state, kSmall, 1.45, kPlain).state.rememberedTarget, kSmall);

    // Let go of over most of the display, a top-centred window is centred again by the next pass
    // at its default size, not kept at the size it was dragged to.
    const Rect ninetyTwo{76.8, 25, 1766.4, 1055};
    const ManagedState positioned = with(
        settledAt(kSmall), [](auto& s) { s.rememberedTarget = kSmall, s.userPositioned = true; });
    Decision untop = pass(changedTo(positioned, ninetyTwo, kHand), ninetyTwo, 1.6, kUtilityApp);
    EXPECT_EQ(render(pass(untop.state, ninetyTwo, 2.35, kUtilityApp).effects), Lines{kRecentre});
}

}  // namespace
}  // namespace mavo::test

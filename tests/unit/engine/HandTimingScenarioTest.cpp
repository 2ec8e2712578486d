// A gesture is the user's whenever in the tick period it was let go: the engine judges it one or
// two ticks later, and by then the press may be older than the hand window.

#include <gtest/gtest.h>

#include <functional>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const std::string kNotes = "com.example.notes";
const Rect kEightyFive{144, 25, 1632, 1055};

WindowHandle maximized(EngineHarness& h) {
    auto w = h.open(kEditor);
    h.tickAndStep(2.5);
    return w;
}

WindowHandle utility(EngineHarness& h) {
    h.engine->toggleTopCenter(kNotes);
    auto w = h.open(kNotes);
    h.tickAndStep(2.5);
    return w;
}

TEST(HandTimingScenario, GestureIsTheUsersWhateverThePhaseOfTheTickItEndedIn) {
    struct Row {
        const char* what;
        std::function<WindowHandle(EngineHarness&)> setUp;
        Rect draggedTo;
        Rect kept;           // where the window is once the gesture has been judged
        bool correctsDrift;  // afterwards the engine holds it there again
        std::function<void(const ManagedState&)> check;
    };
    const Row rows[] = {
        {"move to a custom frame", maximized, kEightyFive, kEightyFive, true,
         [](const ManagedState& s) { EXPECT_EQ(s.rememberedTarget, kEightyFive); }},
        {"resize of a top-centred window",
         utility,
         {364.8, 27, 1000, 700},
         {460, 27, 1000, 700},
         true,
         [](const ManagedState& s) {
             EXPECT_EQ(s.topCenterSize, (Size{1000, 700}));
         }},
        {"snap to the left half",
         maximized,
         {0, 25, 960, 1055},
         {0, 25, 960, 1055},
         false,
         [](const ManagedState& s) { EXPECT_EQ(s.disposition, Disposition::userArranged); }},
        {"drag back over 92 %",
         [](EngineHarness& h) {
             auto w = maximized(h);
             h.handMoveAndSettle(w, kEightyFive);
             h.step(2.5);
             return w;
         },
         {76.8, 25, 1766.4, 1055},
         kPrimaryVisibleAX,
         true,
         [](const ManagedState& s) { EXPECT_FALSE(s.rememberedTarget); }},
        {"drag out of a user maximize",
         [](EngineHarness& h) {
             auto w = utility(h);
             h.handMoveAndSettle(w, kPrimaryVisibleAX);
             h.step(2.5);
             EXPECT_TRUE(h.state(w)->userMaximized);
             return w;
         },
         {200, 100, 1000, 700},
         {460, 27, 1000, 700},
         true,
         [](const ManagedState& s) { EXPECT_FALSE(s.userMaximized); }},
    };
    for (const Row& row : rows) {
        for (int i = 1; i < 15; ++i) {
            double phase = 0.05 * i;  // from the last tick to the release
            SCOPED_TRACE(std::string(row.what) + " released " + std::to_string(phase) +
                         " s after a tick");
            EngineHarness h;
            h.launch();
            WindowHandle w = row.setUp(h);
            h.advance(phase);
            h.handMove(w, row.draggedTo);
            h.step(0.75 - phase);
            h.step(0.75, 3);
            auto frame = h.frame(w);
            ASSERT_TRUE(frame);
            EXPECT_NEAR(frame->x, row.kept.x, 1e-9);
            EXPECT_EQ(frame->size(), row.kept.size());
            row.check(*h.state(w));

            // Long after the gesture, a move the user did not make is still undone.
            h.step(2.5);
            h.server.setFrame(w, {frame->x + 10, frame->y + 10, frame->width, frame->height});
            h.step(0.75, 2);
            EXPECT_EQ(h.frame(w)->origin() == frame->origin(), row.correctsDrift);
        }
    }
}

}  // namespace
}  // namespace mavo::test

// A gesture is the user's whenever in the tick period it was let go: the engine judges it one or
// two ticks later, and by then the press may be older than the hand window.

#include <gtest/gtest.h>

#include <functional>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

const Rect kEightyFive{144, 25, 1632, 1055};

TEST(HandTimingScenario, GestureIsTheUsersWhateverThePhaseOfTheTickItEndedIn) {
    struct Row {
        const char* what;
        bool topCentred;            // else a maximized window
        std::optional<Rect> first;  // an earlier gesture, long settled
        Rect draggedTo;
        Rect kept;  // where the window is once the gesture has been judged
        std::function<void(const ManagedState&)> check;
    };
    const Row rows[] = {
        {"move to a custom frame",
         false,
         {},
         kEightyFive,
         kEightyFive,
         [](auto& s) { EXPECT_EQ(s.rememberedTarget, kEightyFive); }},
        {"resize of a top-centred window",
         true,
         {},
         {364.8, 27, 1000, 700},
         {460, 27, 1000, 700},
         [](auto& s) {
             EXPECT_EQ(s.topCenterSize, (Size{1000, 700}));
         }},
        {"drag out of a user maximize",
         true,
         kPrimaryVisibleAX,
         {200, 100, 1000, 700},
         {460, 27, 1000, 700},
         [](auto& s) { EXPECT_FALSE(s.userMaximized); }},
    };
    for (const Row& row : rows) {
        for (int i = 1; i < 15; ++i) {
            double phase = 0.05 * i;  // from the last tick to the release
            SCOPED_TRACE(std::string(row.what) + " released " + std::to_string(phase) +
                         " s after a tick");
            EngineHarness h;
            h.launch();
            std::string bid = row.topCentred ? "com.example.notes" : kEditor;
            if (row.topCentred) h.engine->settings().toggleTopCenter(bid);
            auto w = h.open(bid);
            h.tickAndStep(2.5);
            if (row.first) {
                h.handMoveAndSettle(w, *row.first);
                h.step(2.5);
            }
            h.advance(phase);
            h.handMove(w, row.draggedTo);
            h.step(0.75 - phase);
            h.step(0.75, 3);
            auto frame = h.frame(w);
            ASSERT_TRUE(frame);
            EXPECT_NEAR(frame->x, row.kept.x, 1e-9);
            EXPECT_EQ(frame->size(), row.kept.size());
            row.check(*h.state(w));

            // Long after the gesture, the engine holds the window there again.
            h.step(2.5);
            h.server.setFrame(w, {frame->x + 10, frame->y + 10, frame->width, frame->height});
            h.step(0.75, 2);
            EXPECT_EQ(h.frame(w)->origin(), frame->origin());
        }
    }
}

}  // namespace
}  // namespace mavo::test

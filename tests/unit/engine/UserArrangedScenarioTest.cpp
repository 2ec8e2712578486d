// A window the user arranged is taken back only once the hand has let go of it.

#include <gtest/gtest.h>

#include "fakes/EngineHarness.h"

namespace mavo::test {
namespace {

TEST(UserArrangedScenario, NoReengageWhileTheButtonIsHeld) {
    EngineHarness h;
    h.launch();
    auto w = h.open(kEditor, {0, 25, 960, 1055});  // left half
    h.tickAndStep();
    h.input.press();
    h.server.setFrame(w, {100, 25, 1500, 1055});
    h.input.drag();
    h.step(0.75, 4);  // held down for three seconds
    EXPECT_EQ(h.state(w)->disposition, Disposition::userArranged);
    EXPECT_EQ(h.server.writeCount(), 0u);

    h.input.release();
    h.step();
    EXPECT_EQ(h.state(w)->disposition, Disposition::managed);
    EXPECT_EQ(h.frame(w), kPrimaryVisibleAX);
}

}  // namespace
}  // namespace mavo::test

#include "X11Fixture.h"
#include "platform/x11/X11InputSource.h"

namespace mavo::test {
namespace {

using ::testing::ElementsAre;

class X11InputSourceTest : public X11Fixture {
  protected:
    void SetUp() override {
        X11Fixture::SetUp();
        if (!x11) return;
        input = std::make_unique<X11InputSource>(*x11);
        ASSERT_TRUE(input->start({[this] { seen.push_back("press"); },
                                  [this] { seen.push_back("release"); },
                                  [this] {
                                      // Many motion events make one drag for the test.
                                      if (seen.empty() || seen.back() != "drag") {
                                          seen.push_back("drag");
                                      }
                                  }}));
    }
    void TearDown() override {
        input.reset();
        X11Fixture::TearDown();
    }

    void xdotool(std::vector<std::string> args) {
        args.insert(args.begin(), "xdotool");
        ASSERT_EQ(desktop->run(args), 0);
    }

    std::unique_ptr<X11InputSource> input;
    std::vector<std::string> seen;
};

TEST_F(X11InputSourceTest, SeesALeftButtonDragAnywhere) {
    // Motion without the button is no drag.
    xdotool({"mousemove", "400", "400"});
    xdotool({"mousemove_relative", "--", "20", "20"});
    xdotool({"click", "3"});
    xdotool({"mousedown", "1"});
    xdotool({"mousemove_relative", "--", "30", "20"});
    xdotool({"mouseup", "1"});
    EXPECT_TRUE(pumpUntil([&] { return seen.size() >= 3; }));
    pumpFor(0.1);
    EXPECT_THAT(seen, ElementsAre("press", "drag", "release"));
}

TEST_F(X11InputSourceTest, KnowsWhenAKeyWasLastPressed) {
    EXPECT_FALSE(input->secondsSinceLastKeyPress());
    xdotool({"key", "a"});
    // Key times are kept without the main loop running.
    EXPECT_TRUE(
        TestDesktop::waitUntil([&] { return input->secondsSinceLastKeyPress().has_value(); }));
    EXPECT_LT(*input->secondsSinceLastKeyPress(), 2.0);
}

TEST_F(X11InputSourceTest, PointerLocationIsBottomLeft) {
    xdotool({"mousemove", "100", "200"});
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        return input->pointerLocation() == std::optional<Point>(Point{100, 880});
    }));
}

}  // namespace
}  // namespace mavo::test

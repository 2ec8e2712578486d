#include "windowaccess/AX.h"

#include <gtest/gtest.h>

#include "fakes/FakeWindowServer.h"

namespace mavo {
namespace {

struct AXTest : ::testing::Test {
    test::FakeWindowServer ws;
    AX ax{ws};
};

// Reads and writes of real windows are covered against a real X server; these are the guards.
TEST_F(AXTest, EmptyFactsAndValuesOfAnotherKindAreNoValueAndWrongWritesAreNeverSent) {
    WindowHandle w = ws.addWindow(7, "Doc", {10, 20, 300, 200});
    EXPECT_EQ(ax.point(w, Attr::size), std::nullopt);
    EXPECT_FALSE(ax.isSettable(w, Attr::title));
    EXPECT_FALSE(ax.set(w, Attr::title, Point{0, 0}));
    EXPECT_FALSE(ax.set(w, Attr::position, Size{1, 1}));
    EXPECT_EQ(ws.writeCount(), 0u);
    ws.change(w, [](WindowFacts& f) {
        f.subrole.clear();
        f.frame.reset();
    });
    EXPECT_EQ(ax.string(w, Attr::subrole), std::nullopt);
    EXPECT_EQ(ax.size(w, Attr::size), std::nullopt);
    EXPECT_EQ(ax.frame(w), std::nullopt);
}

// Titles and roles are other programs' bytes; they leave the string reader as UTF-8, with one
// U+FFFD for each ill-formed sequence and well-formed text untouched.
TEST_F(AXTest, StringsThatAreNotUtf8AreRepaired) {
    WindowHandle w = ws.addWindow(1, "", {0, 0, 10, 10});
    const std::string r = "\uFFFD";
    for (const auto& [raw, repaired] : std::vector<std::pair<std::string, std::string>>{
             {"naïve — “quoted” 😀 \U0010FFFF", "naïve — “quoted” 😀 \U0010FFFF"},
             {std::string("a\0b", 3), std::string("a\0b", 3)},
             {"Bad\xff\xfe"
              "Class",
              "Bad" + r + r + "Class"},
             {"\x80\xbfx", r + "x"},    // stray continuation bytes
             {"\xc0\xaf/", r + "/"},    // overlong
             {"\xed\xa0\x80", r},       // surrogate
             {"\xf4\x90\x80\x80", r},   // beyond U+10FFFF
             {"ab\xe2\x82", "ab" + r},  // cut short at the end
             {"\xe2\x82"
              "A\xf0\x9f\x98",
              r + "A" + r},  // cut short in the middle
         }) {
        ws.change(w, [&](WindowFacts& f) { f.title = raw; });
        EXPECT_EQ(ax.string(w, "AXTitle"), repaired) << raw;
    }
}

}  // namespace
}  // namespace mavo

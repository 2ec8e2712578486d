#include "windowaccess/AX.h"

#include <gtest/gtest.h>

#include "fakes/FakeWindowServer.h"

namespace mavo {
namespace {

struct AXTest : ::testing::Test {
    test::FakeWindowServer ws;
    AX ax{ws};
};

TEST_F(AXTest, WindowListFailuresFoldIntoAnEmptyList) {
    ws.addApp(1);
    ws.addWindow(2, "x", {0, 0, 10, 10});
    ws.setWindowsReadFails(2, true);
    ws.addApp(3);
    ws.setWindowsRawValue(3, std::string("not a list"));
    for (int32_t pid : {1, 2, 3, 99}) EXPECT_TRUE(ax.windows(pid).empty()) << pid;
    ws.setWindowsReadFails(2, false);
    EXPECT_EQ(ax.windows(2).size(), 1u);
}

TEST_F(AXTest, TypedReadersAnswerOnlyValuesOfTheirOwnKind) {
    WindowHandle w = ws.addBareWindow(1);
    const std::vector<std::pair<AttributeValue, bool>> booleans = {
        {true, true}, {1.0, true}, {0.0, false}, {std::string("true"), false}};
    for (const auto& [value, truth] : booleans) {
        ws.setAttribute(w, "AXMinimized", value);
        EXPECT_EQ(ax.boolean(w, "AXMinimized"), truth) << value.index();
    }
    ws.removeAttribute(w, "AXMinimized");
    EXPECT_FALSE(ax.boolean(w, "AXMinimized"));
    ws.setAttribute(w, "AXTitle", 3.0);
    ws.setAttribute(w, "AXPosition", Size{1, 2});
    ws.setAttribute(w, "AXSize", Point{1, 2});
    EXPECT_EQ(ax.string(w, "AXTitle"), std::nullopt);
    EXPECT_EQ(ax.point(w, "AXPosition"), std::nullopt);
    EXPECT_EQ(ax.size(w, "AXSize"), std::nullopt);
    EXPECT_EQ(ax.point(w, "AXSize"), (Point{1, 2}));
}

// Titles and roles are other programs' bytes; they leave the string reader as UTF-8, with one
// U+FFFD for each ill-formed sequence and well-formed text untouched.
TEST_F(AXTest, StringsThatAreNotUtf8AreRepaired) {
    WindowHandle w = ws.addBareWindow(1);
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
        ws.setAttribute(w, "AXTitle", raw);
        EXPECT_EQ(ax.string(w, "AXTitle"), repaired) << raw;
    }
}

TEST_F(AXTest, FrameNeedsBothPartsAndSkipsTheSizeWhenThePositionFails) {
    WindowHandle w = ws.addWindow(1, "x", {10, 20, 300, 200});
    ws.setAttribute(w, Attr::size, std::string("300x200"));
    EXPECT_EQ(ax.frame(w), std::nullopt);
    ws.setAttribute(w, Attr::size, Size{300, 200});
    ws.removeAttribute(w, Attr::position);
    ws.clearReadCounts();
    EXPECT_EQ(ax.frame(w), std::nullopt);
    EXPECT_EQ(ws.readCount(w, Attr::position), 1);
    EXPECT_EQ(ws.readCount(w, Attr::size), 0);
}

}  // namespace
}  // namespace mavo

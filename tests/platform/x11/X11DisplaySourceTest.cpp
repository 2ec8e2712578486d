#include <regex>

#include "X11Fixture.h"
#include "platform/x11/X11DisplaySource.h"

namespace mavo::test {
namespace {

using ::testing::SizeIs;

// A primary B of 1280×720 right of a taller A: A lies left of the origin and hangs below B.
class X11DisplaySourceTest : public X11Fixture {
  protected:
    TestDesktop::Options desktopOptions() override {
        return {
            3200, 1080, {{"A", 1920, 1080, 0, 0, 508, 286}, {"*B", 1280, 720, 1920, 0, 600, 340}}};
    }
    void SetUp() override {
        X11Fixture::SetUp();
        if (!x11) return;
        displays = std::make_unique<X11DisplaySource>(*x11);
        displays->watchChanges([this] { ++changes; });
    }
    // Waits for a change notification on the main loop, then reads the screens again.
    std::vector<ScreenInfo> afterChange() {
        EXPECT_TRUE(pumpUntil([&] { return changes > 0; }));
        changes = 0;
        return displays->screens();
    }
    std::unique_ptr<X11DisplaySource> displays;
    int changes = 0;
};

TEST_F(X11DisplaySourceTest, PrimaryFirstInBottomLeftCoordinatesAndStrutsAndUnplugAreReported) {
    pumpFor(0.2);
    EXPECT_EQ(changes, 0);
    auto screens = displays->screens();
    ASSERT_THAT(screens, SizeIs(2));
    EXPECT_EQ(screens[0].uuid, "did:B");
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1280, 720}));
    EXPECT_EQ(screens[0].physWidthMM, 600);
    EXPECT_EQ(screens[1].uuid, "did:A");
    EXPECT_EQ(screens[1].frame, (Rect{-1920, -360, 1920, 1080}));
    EXPECT_EQ(screens[1].physWidthMM, 508);

    // A panel across the top of A only takes A's top, and gives it back when it goes.
    auto dock = client({"--kind", "dock", "--geometry", "1920x30+0+0"});
    screens = afterChange();
    ASSERT_THAT(screens, SizeIs(2));
    EXPECT_EQ(screens[1].visibleFrame, (Rect{-1920, -360, 1920, 1050}));
    EXPECT_EQ(screens[0].visibleFrame, screens[0].frame);
    desktop->stop(dock.pid);
    EXPECT_EQ(afterChange()[1].visibleFrame, screens[1].frame);

    // Menus and tooltips come and go all the time; they cost the source no request.
    xcb_connection_t* c = desktop->connection();
    pumpFor(0.3);  // the panel's last echoes
    auto before = xcb_no_operation(x11->xcb()).sequence;
    for (int i = 0; i < 3; ++i) {
        xcb_window_t menu = xcb_generate_id(c);
        uint32_t overrideRedirect = 1;
        xcb_create_window(c, XCB_COPY_FROM_PARENT, menu, desktop->root(), 10, 10, 100, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
        xcb_map_window(c, menu);
        xcb_unmap_window(c, menu);
        xcb_destroy_window(c, menu);
    }
    xcb_flush(c);
    pumpFor(0.3);
    EXPECT_EQ(xcb_no_operation(x11->xcb()).sequence - before - 1, 0u);

    // Window positions start at the primary's top-left corner, also when written.
    auto onB = client({"--geometry", "400x300+2020+100"});
    WindowHandle w = win(onB.window);
    auto root = outer(onB.window);
    ASSERT_TRUE(root);
    EXPECT_EQ(ax->point(w, Attr::position), (Point{root->x - 1920, root->y}));
    EXPECT_TRUE(ax->set(w, Attr::position, Point{-1500, 200}));
    EXPECT_EQ(outer(onB.window)->origin(), (Point{420, 200}));
    EXPECT_EQ(ax->point(w, Attr::position), (Point{-1500, 200}));

    // B unplugged the way a real unplug looks to clients.
    ASSERT_EQ(desktop->run({"xrandr", "--delmonitor", "B"}), 0);
    desktop->run({"xrandr", "--fb", "1920x1080"});
    screens = afterChange();
    ASSERT_THAT(screens, SizeIs(1));
    EXPECT_EQ(screens[0].uuid, "did:A");
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
}

std::vector<uint8_t> edid(uint16_t product, uint32_t serial, const std::string& serialText = "") {
    std::vector<uint8_t> block{0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00, 0x10, 0xac};  // DEL
    block.resize(128);
    block[10] = uint8_t(product & 0xff);
    block[11] = uint8_t(product >> 8);
    for (int i = 0; i < 4; ++i) block[12 + i] = uint8_t(serial >> (8 * i));
    if (!serialText.empty()) {
        block[75] = 0xff;  // a serial-number descriptor
        std::string padded = serialText + "\n";
        std::copy(padded.begin(), padded.end(), block.begin() + 77);
    }
    return block;
}

TEST(X11DisplayIdentity, UuidFollowsVendorProductAndSerialAndPanelsAreBuiltIn) {
    auto uuid = [](const std::vector<uint8_t>& block, const std::string& connector = "") {
        return X11DisplaySource::uuidFromEdid(block, connector);
    };
    auto a = uuid(edid(0xa0b1, 0x01020304));
    ASSERT_TRUE(a);
    EXPECT_TRUE(std::regex_match(*a, std::regex("[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}")))
        << *a;
    EXPECT_EQ(a->substr(0, 8), "10ACA0B1");
    EXPECT_NE(uuid(edid(0xa0b1, 0x01020305)), a);
    EXPECT_NE(uuid(edid(0xa0b2, 0x01020304)), a);
    // Two panels of one model with a zero numeric serial differ by their serial text.
    EXPECT_NE(uuid(edid(0xa0b1, 0, "CN0ABC123")), uuid(edid(0xa0b1, 0, "CN0ABC124")));
    // Twins without any serial differ by connector, whatever the order they are listed in; a
    // monitor alone keeps the identity its EDID gives.
    auto unique = &X11DisplaySource::uniqueUuids;
    auto twin = edid(0xa0b1, 0);
    auto pair = unique({{twin, "DP-1", "A"}, {twin, "DP-2", "B"}, {{}, "", "C"}});
    EXPECT_EQ(pair, (std::vector<std::string>{*uuid(twin, "DP-1"), *uuid(twin, "DP-2"), "did:C"}));
    EXPECT_NE(pair[0], pair[1]);
    EXPECT_EQ(unique({{twin, "DP-2", "B"}, {twin, "DP-1", "A"}})[1], pair[0]);
    EXPECT_EQ(unique({{twin, "DP-1", "A"}})[0], uuid(twin));
    auto broken = edid(1, 1);
    broken[0] = 0x01;
    EXPECT_FALSE(uuid(broken));
    EXPECT_FALSE(uuid(std::vector<uint8_t>(64, 0)));

    for (auto [name, builtIn] : {std::pair{"eDP-1", true}, {"LVDS1", true}, {"DP-1", false}})
        EXPECT_EQ(X11DisplaySource::isBuiltInConnector(name), builtIn) << name;
}

}  // namespace
}  // namespace mavo::test

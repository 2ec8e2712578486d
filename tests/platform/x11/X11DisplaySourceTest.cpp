#include <regex>

#include "X11Fixture.h"
#include "platform/x11/X11DisplaySource.h"
#include "platform/x11/X11WindowServer.h"
#include "windowaccess/AX.h"

namespace mavo::test {
namespace {

using ::testing::SizeIs;

class X11DisplaySourceTest : public X11Fixture {
  protected:
    void SetUp() override {
        X11Fixture::SetUp();
        if (x11) displays = std::make_unique<X11DisplaySource>(*x11);
    }
    void TearDown() override {
        displays.reset();
        X11Fixture::TearDown();
    }

    // Counts the change notifications the main loop delivers.
    void watch() {
        displays->watchChanges([this] { ++changes; });
    }

    std::unique_ptr<X11DisplaySource> displays;
    int changes = 0;
};

TEST_F(X11DisplaySourceTest, OneMonitorLessAPanelsStrut) {
    watch();
    auto screens = displays->screens();
    ASSERT_THAT(screens, SizeIs(1));
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(screens[0].visibleFrame, screens[0].frame);
    EXPECT_EQ(screens[0].uuid, "did:screen");
    EXPECT_FALSE(screens[0].isBuiltIn);
    EXPECT_GT(screens[0].physWidthMM, 0);
    EXPECT_EQ(screens[0].backingScale, 1.0);

    // A 30-pixel panel at the top: in the bottom-left convention the visible frame keeps its
    // origin and loses 30 at its top.
    auto dock = client({"--kind", "dock", "--geometry", "1920x30+0+0"});
    EXPECT_TRUE(pumpUntil([&] { return changes > 0; }));
    EXPECT_EQ(displays->screens()[0].visibleFrame, (Rect{0, 0, 1920, 1050}));

    changes = 0;
    desktop->stop(dock.pid);
    EXPECT_TRUE(pumpUntil([&] { return changes > 0; }));
    EXPECT_EQ(displays->screens()[0].visibleFrame, (Rect{0, 0, 1920, 1080}));
}

// A primary monitor B of 1280×720 right of a taller A: A hangs below B's bottom edge in the
// bottom-left convention and lies left of the origin.
class X11TwoMonitorTest : public X11DisplaySourceTest {
  protected:
    TestDesktop::Options desktopOptions() override {
        TestDesktop::Options options;
        options.width = 3200;
        options.height = 1080;
        options.monitors = {{"A", 1920, 1080, 0, 0, 508, 286},
                            {"*B", 1280, 720, 1920, 0, 600, 340}};
        return options;
    }
};

TEST_F(X11TwoMonitorTest, ListsThePrimaryFirstInBottomLeftCoordinates) {
    watch();
    auto screens = displays->screens();
    ASSERT_THAT(screens, SizeIs(2));
    EXPECT_EQ(screens[0].uuid, "did:B");
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1280, 720}));
    EXPECT_EQ(screens[0].physWidthMM, 600);
    EXPECT_EQ(screens[1].uuid, "did:A");
    EXPECT_EQ(screens[1].frame, (Rect{-1920, -360, 1920, 1080}));
    EXPECT_EQ(screens[1].physWidthMM, 508);

    // A panel across the top of A only.
    client({"--kind", "dock", "--geometry", "1920x30+0+0"});
    EXPECT_TRUE(pumpUntil([&] { return changes > 0; }));
    screens = displays->screens();
    EXPECT_EQ(screens[1].visibleFrame, (Rect{-1920, -360, 1920, 1050}));
    EXPECT_EQ(screens[0].visibleFrame, screens[0].frame);
}

TEST_F(X11TwoMonitorTest, WindowCoordinatesStartAtThePrimarysCorner) {
    X11WindowServer server(*x11);
    AX ax(server);
    auto onB = client({"--geometry", "400x300+2020+100"});
    WindowHandle w{onB.window, nullptr};
    auto frame = ax.frame(w);
    ASSERT_TRUE(frame);
    auto root = desktop->frameWindowGeometry(onB.window);
    ASSERT_TRUE(root);
    EXPECT_EQ(frame->x, (*root)[0] - 1920);
    EXPECT_EQ(frame->y, (*root)[1]);

    // Onto A, left of the primary.
    EXPECT_TRUE(ax.set(w, Attr::position, Point{-1500, 200}));
    root = desktop->frameWindowGeometry(onB.window);
    ASSERT_TRUE(root);
    EXPECT_EQ((*root)[0], 420);
    EXPECT_EQ((*root)[1], 200);
    EXPECT_EQ(ax.point(w, Attr::position), (Point{-1500, 200}));
}

// Two side-by-side monitors, then B unplugged the way a real unplug looks to clients.
class X11HotplugTest : public X11DisplaySourceTest {
  protected:
    TestDesktop::Options desktopOptions() override {
        TestDesktop::Options options;
        options.width = 3840;
        options.height = 1080;
        options.monitors = {{"*A", 1920, 1080, 0, 0, 508, 286},
                            {"B", 1920, 1080, 1920, 0, 600, 340}};
        return options;
    }
};

TEST_F(X11HotplugTest, AnUnplugIsReportedOnTheMainLoop) {
    watch();
    ASSERT_THAT(displays->screens(), SizeIs(2));
    pumpFor(0.2);
    EXPECT_EQ(changes, 0);

    ASSERT_EQ(desktop->run({"xrandr", "--delmonitor", "B"}), 0);
    desktop->run({"xrandr", "--fb", "1920x1080"});
    EXPECT_TRUE(pumpUntil([&] { return changes > 0; }));
    auto screens = displays->screens();
    ASSERT_THAT(screens, SizeIs(1));
    EXPECT_EQ(screens[0].uuid, "did:A");
    EXPECT_EQ(screens[0].frame, (Rect{0, 0, 1920, 1080}));
}

std::vector<uint8_t> edid(uint16_t product, uint32_t serial, const std::string& serialText) {
    std::vector<uint8_t> block(128, 0);
    const uint8_t header[8] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    std::copy(header, header + 8, block.begin());
    block[8] = 0x10;  // "DEL"
    block[9] = 0xac;
    block[10] = uint8_t(product & 0xff);
    block[11] = uint8_t(product >> 8);
    for (int i = 0; i < 4; ++i) block[12 + i] = uint8_t(serial >> (8 * i));
    if (!serialText.empty()) {
        block[72 + 3] = 0xff;
        std::string padded = serialText + "\n";
        std::copy(padded.begin(), padded.end(), block.begin() + 72 + 5);
    }
    return block;
}

TEST(X11DisplayIdentity, UuidFollowsVendorProductAndSerial) {
    auto a = X11DisplaySource::uuidFromEdid(edid(0xa0b1, 0x01020304, ""));
    ASSERT_TRUE(a);
    EXPECT_TRUE(std::regex_match(*a, std::regex("[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}")))
        << *a;
    EXPECT_EQ(a->substr(0, 8), "10ACA0B1");
    EXPECT_EQ(X11DisplaySource::uuidFromEdid(edid(0xa0b1, 0x01020304, "")), a);
    EXPECT_NE(X11DisplaySource::uuidFromEdid(edid(0xa0b1, 0x01020305, "")), a);
    EXPECT_NE(X11DisplaySource::uuidFromEdid(edid(0xa0b2, 0x01020304, "")), a);
    // Two panels of one model with a zero numeric serial differ by their serial text.
    EXPECT_NE(X11DisplaySource::uuidFromEdid(edid(0xa0b1, 0, "CN0ABC123")),
              X11DisplaySource::uuidFromEdid(edid(0xa0b1, 0, "CN0ABC124")));

    auto broken = edid(1, 1, "");
    broken[0] = 0x01;
    EXPECT_FALSE(X11DisplaySource::uuidFromEdid(broken));
    EXPECT_FALSE(X11DisplaySource::uuidFromEdid(std::vector<uint8_t>(64, 0)));
}

TEST(X11DisplayIdentity, PanelConnectorsAreBuiltIn) {
    EXPECT_TRUE(X11DisplaySource::isBuiltInConnector("eDP-1"));
    EXPECT_TRUE(X11DisplaySource::isBuiltInConnector("LVDS1"));
    EXPECT_TRUE(X11DisplaySource::isBuiltInConnector("DSI-1"));
    EXPECT_FALSE(X11DisplaySource::isBuiltInConnector("HDMI-1"));
    EXPECT_FALSE(X11DisplaySource::isBuiltInConnector("DP-1"));
    EXPECT_FALSE(X11DisplaySource::isBuiltInConnector("screen"));
}

}  // namespace
}  // namespace mavo::test

#include <xcb/xcb_icccm.h>

#include "X11Fixture.h"
#include "platform/x11/X11InputSource.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11Workspace.h"

namespace mavo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using X11WorkspaceTest = X11Fixture;

TEST_F(X11WorkspaceTest, AppsAreClassesAcrossProcessesAndFrontmostOwnsTheActiveWindow) {
    std::vector<std::string> asked;
    X11Workspace workspace(*x11, [&](const std::string& bid) -> std::optional<std::string> {
        asked.push_back(bid);
        return bid == "XTerm" ? std::optional<std::string>("XTerm") : std::nullopt;
    });
    auto editor = client({"--class", "Editor", "--extra-windows", "2"});
    auto twin = client({"--class", "Editor"});  // another process of the same application
    auto panel = client({"--kind", "dock", "--class", "Panel", "--geometry", "1920x30+0+0"});
    auto hidden = client({"--class", "Tray", "--skip-taskbar"});
    auto nameless = client({"--no-class"});
    auto instanceOnly = client({"--class", "", "--instance", "helper"});
    std::map<pid_t, RunningApplication> apps;
    ASSERT_TRUE(TestDesktop::waitUntil([&] {
        apps.clear();
        for (const auto& a : workspace.runningApplications()) apps.emplace(a.pid, a);
        return apps.size() == 5;
    })) << "one application per class, whatever its number of windows and processes";
    struct Row {
        pid_t pid;
        std::optional<std::string> bundleID, name;
        ActivationPolicy policy;
    };
    for (const auto& row :
         {Row{std::min(editor.pid, twin.pid), "Editor", "Editor", ActivationPolicy::regular},
          Row{panel.pid, "Panel", "Panel", ActivationPolicy::accessory},
          Row{hidden.pid, "Tray", "Tray", ActivationPolicy::accessory},
          Row{nameless.pid, std::nullopt, std::nullopt, ActivationPolicy::regular},
          Row{instanceOnly.pid, std::nullopt, "helper", ActivationPolicy::regular}}) {
        SCOPED_TRACE(row.name.value_or("no name"));
        ASSERT_TRUE(apps.count(row.pid));
        EXPECT_EQ(apps[row.pid].bundleID, row.bundleID);
        EXPECT_EQ(apps[row.pid].localizedName, row.name);
        EXPECT_EQ(apps[row.pid].activationPolicy, row.policy);
    }

    for (auto [c, name] : {std::pair{editor, "Editor"}, {twin, "Editor"}, {hidden, "Tray"}}) {
        desktop->sendClientMessage(c.window, "_NET_ACTIVE_WINDOW", {2});
        EXPECT_TRUE(TestDesktop::waitUntil([&, c = c, name = name] {
            auto front = workspace.frontmostApplication();
            return front && front->pid == c.pid && front->bundleID == name;
        })) << name;
    }

    EXPECT_TRUE(workspace.isInstalled("XTerm"));
    EXPECT_FALSE(workspace.isInstalled("Nothing"));
    // A missing class is never an installed application, whatever the lookup would say.
    EXPECT_FALSE(workspace.isInstalled(""));
    EXPECT_THAT(asked, ::testing::Not(::testing::Contains("")));
    EXPECT_FALSE(X11Workspace(*x11).isInstalled("XTerm"));

    EXPECT_TRUE(X11Permissions(x11.get()).isTrusted());
    EXPECT_TRUE(
        x11->windowManagerRoundTrip(std::chrono::steady_clock::now() + std::chrono::seconds(2)));
}

TEST_F(X11WorkspaceTest, InputSeesDragsAnywhereKeyTimesAndThePointerBottomLeft) {
    X11InputSource input(*x11);
    std::vector<std::string> seen;
    auto note = [&](const char* what) {
        if (seen.empty() || seen.back() != what) seen.push_back(what);  // motions make one drag
    };
    ASSERT_TRUE(
        input.start({[&] { note("press"); }, [&] { note("release"); }, [&] { note("drag"); }}));
    EXPECT_FALSE(input.secondsSinceLastKeyPress());
    // Motion without the left button, and a right click, are no drag.
    ASSERT_TRUE(desktop->xdotool("mousemove 400 400 mousemove_relative -- 20 20 click 3"));
    ASSERT_TRUE(desktop->drag(420, 420, 30, 20));
    EXPECT_TRUE(pumpUntil([&] { return seen.size() >= 3; }));
    pumpFor(0.1);
    EXPECT_THAT(seen, ElementsAre("press", "drag", "release"));

    ASSERT_TRUE(desktop->xdotool("mousemove 100 200 key a"));
    // Key times and the pointer are kept without the main loop running.
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return input.secondsSinceLastKeyPress() < 2.0; }));
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return input.pointerLocation() == Point{100, 880}; }));
}

class X11NoWindowManagerTest : public X11Fixture {
    TestDesktop::Options desktopOptions() override {
        return {.windowManager = TestDesktop::WindowManager::none};
    }
};

TEST_F(X11NoWindowManagerTest, NothingTrustedOrListedAndWritesNobodyAnswersTakeOneTimeout) {
    EXPECT_FALSE(X11Permissions(x11.get()).isTrusted());
    EXPECT_FALSE(X11Permissions(nullptr).isTrusted());
    EXPECT_THAT(X11Workspace(*x11).runningApplications(), IsEmpty());
    EXPECT_FALSE(X11Workspace(*x11).frontmostApplication());
    EXPECT_FALSE(x11->windowManagerRoundTrip(std::chrono::steady_clock::now() +
                                             std::chrono::milliseconds(200)));

    xcb_connection_t* c = desktop->connection();
    xcb_window_t w = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, desktop->root(), 100, 100, 400, 300, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(c, w);
    // Listed, as a window manager does as it begins to manage a window, but not yet taken on.
    desktop->setProperty(desktop->root(), "_NET_CLIENT_LIST", XCB_ATOM_WINDOW, {w});
    X11WindowServer server(*x11);
    AX ax(server);
    EXPECT_EQ(ax.string(win(w), Attr::role), std::nullopt);
    desktop->setProperty(w, "WM_STATE", desktop->atom("WM_STATE"), {XCB_ICCCM_WM_STATE_NORMAL, 0});
    // Seen once the server's event about it has arrived.
    EXPECT_TRUE(
        TestDesktop::waitUntil([&] { return ax.string(win(w), Attr::role) == "AXWindow"; }));

    // Leaving the maximized state, then resizing: with nobody to act on either, the whole write
    // still ends at the one timeout, not at one per step (the margin is for a loaded machine).
    desktop->setProperty(w, "_NET_WM_STATE", XCB_ATOM_ATOM,
                         {desktop->atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                          desktop->atom("_NET_WM_STATE_MAXIMIZED_HORZ")});
    server.setGlobalMessagingTimeout(1.0);
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(ax.set(win(w), Attr::size, Size{800, 600}));
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took.count(), 1.0);
    EXPECT_LT(took.count(), 1.8);
    // Until someone acts on it, the frame is in flux: no value, rather than the old one.
    EXPECT_EQ(ax.frame(win(w)), std::nullopt);
    uint32_t size[] = {800, 600};
    xcb_configure_window(c, w, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
    xcb_flush(c);
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        return ax.frame(win(w)) == Rect{100, 100, 800, 600};
    }));
}

}  // namespace
}  // namespace mavo::test

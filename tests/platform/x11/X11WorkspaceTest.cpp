#include "X11Fixture.h"
#include "platform/x11/X11Permissions.h"
#include "platform/x11/X11Workspace.h"

namespace mavo::test {
namespace {

using ::testing::SizeIs;

class X11WorkspaceTest : public X11Fixture {
  protected:
    std::optional<RunningApplication> app(X11Workspace& workspace, pid_t pid) {
        for (const auto& a : workspace.runningApplications()) {
            if (a.pid == pid) return a;
        }
        return std::nullopt;
    }

    void activate(xcb_window_t window) {
        xcb_connection_t* c = desktop->probe();
        auto* atom =
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = atom->atom;
        message.data.data32[0] = 2;
        free(atom);
        xcb_send_event(c, 0, desktop->root(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(c);
    }
};

TEST_F(X11WorkspaceTest, GroupsClientsByProcessWithTheirClassAsBundleId) {
    X11Workspace workspace(*x11);
    auto editor = client({"--class", "Editor", "--extra-windows", "2"});
    auto panel = client({"--kind", "dock", "--class", "Panel", "--geometry", "1920x30+0+0"});
    auto hidden = client({"--class", "Tray", "--skip-taskbar"});
    auto nameless = client({"--no-class"});
    auto instanceOnly = client({"--class", "", "--instance", "helper"});
    ASSERT_TRUE(TestDesktop::waitUntil([&] {
        auto apps = workspace.runningApplications();
        return apps.size() == 5;
    })) << "one application per process, whatever its number of windows";

    auto editorApp = app(workspace, editor.pid);
    ASSERT_TRUE(editorApp);
    EXPECT_EQ(editorApp->bundleID, "Editor");
    EXPECT_EQ(editorApp->localizedName, "Editor");
    EXPECT_EQ(editorApp->activationPolicy, ActivationPolicy::regular);

    EXPECT_EQ(app(workspace, panel.pid)->activationPolicy, ActivationPolicy::accessory);
    EXPECT_EQ(app(workspace, panel.pid)->bundleID, "Panel");
    EXPECT_EQ(app(workspace, hidden.pid)->activationPolicy, ActivationPolicy::accessory);

    EXPECT_EQ(app(workspace, nameless.pid)->bundleID, std::nullopt);
    EXPECT_EQ(app(workspace, nameless.pid)->localizedName, std::nullopt);
    EXPECT_EQ(app(workspace, nameless.pid)->activationPolicy, ActivationPolicy::regular);
    EXPECT_EQ(app(workspace, instanceOnly.pid)->bundleID, std::nullopt);
    EXPECT_EQ(app(workspace, instanceOnly.pid)->localizedName, "helper");
}

TEST_F(X11WorkspaceTest, FrontmostIsTheOwnerOfTheActiveWindow) {
    X11Workspace workspace(*x11);
    auto first = client({"--class", "First"});
    auto second = client({"--class", "Second"});
    activate(first.window);
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        auto front = workspace.frontmostApplication();
        return front && front->pid == first.pid;
    }));
    EXPECT_EQ(workspace.frontmostApplication()->bundleID, "First");
    activate(second.window);
    EXPECT_TRUE(TestDesktop::waitUntil([&] {
        auto front = workspace.frontmostApplication();
        return front && front->bundleID == "Second";
    }));
}

TEST_F(X11WorkspaceTest, InstalledApplicationsComeFromTheLookup) {
    std::vector<std::string> asked;
    X11Workspace workspace(*x11, [&](const std::string& bid) -> std::optional<std::string> {
        asked.push_back(bid);
        if (bid == "XTerm") return "XTerm";
        return std::nullopt;
    });
    EXPECT_TRUE(workspace.isInstalled("XTerm"));
    EXPECT_EQ(workspace.installedAppName("XTerm"), "XTerm");
    EXPECT_FALSE(workspace.isInstalled("Nothing"));
    // A missing class is never an installed application, whatever the lookup would say.
    EXPECT_FALSE(workspace.isInstalled(""));
    EXPECT_THAT(asked, ::testing::Not(::testing::Contains("")));
    EXPECT_FALSE(X11Workspace(*x11).isInstalled("XTerm"));
}

TEST_F(X11WorkspaceTest, TrustedWhileAnEwmhWindowManagerAnswers) {
    X11Permissions permissions(x11.get(), [](const std::string&) {});
    EXPECT_TRUE(permissions.isTrusted());
    EXPECT_TRUE(permissions.requestTrust());
    EXPECT_FALSE(X11Permissions(nullptr).isTrusted());
    // The window manager answers round trips, which the backend's writes wait on.
    EXPECT_TRUE(
        x11->windowManagerRoundTrip(std::chrono::steady_clock::now() + std::chrono::seconds(2)));
}

class X11NoWindowManagerTest : public X11Fixture {
  protected:
    TestDesktop::Options desktopOptions() override {
        TestDesktop::Options options;
        options.windowManager = false;
        return options;
    }
};

TEST_F(X11NoWindowManagerTest, NotTrustedWithoutAWindowManager) {
    std::vector<std::string> opened;
    X11Permissions permissions(x11.get(), [&](const std::string& url) { opened.push_back(url); });
    EXPECT_FALSE(permissions.isTrusted());
    EXPECT_FALSE(permissions.requestTrust());
    permissions.openSettings();
    EXPECT_THAT(opened, ::testing::ElementsAre(X11Permissions::helpURL));
    // Nothing to list, and no failure either.
    EXPECT_THAT(X11Workspace(*x11).runningApplications(), SizeIs(0));
    EXPECT_FALSE(X11Workspace(*x11).frontmostApplication());
    EXPECT_FALSE(x11->windowManagerRoundTrip(std::chrono::steady_clock::now() +
                                             std::chrono::milliseconds(200)));
}

}  // namespace
}  // namespace mavo::test

#include "X11Fixture.h"
#include "platform/x11/X11WindowList.h"
#include "platform/x11/X11WindowServer.h"
#include "windowaccess/AX.h"
#include "windowaccess/WindowProbe.h"

namespace mavo::test {
namespace {

class X11WindowListTest : public X11Fixture {};

std::vector<WindowListEntry> entriesOf(X11WindowList& list, pid_t pid) {
    std::vector<WindowListEntry> found;
    for (const auto& entry : list.onScreenWindows().value_or(std::vector<WindowListEntry>{})) {
        if (entry.ownerPID == pid) found.push_back(entry);
    }
    return found;
}

TEST_F(X11WindowListTest, ServerGeometryMatchesTheAccessibilityFrame) {
    X11WindowList list(*x11);
    X11WindowServer server(*x11);
    AX ax(server);
    auto older = client({"--geometry", "500x400+100+100"});
    auto newer = client({"--geometry", "600x300+700+200"});
    auto panel = client({"--kind", "dock", "--geometry", "1920x30+0+0"});

    auto windows = list.onScreenWindows();
    ASSERT_TRUE(windows);
    auto indexOf = [&](pid_t pid) {
        for (size_t i = 0; i < windows->size(); ++i) {
            if ((*windows)[i].ownerPID == pid) return int(i);
        }
        return -1;
    };
    ASSERT_GE(indexOf(older.pid), 0);
    ASSERT_GE(indexOf(newer.pid), 0);
    EXPECT_LT(indexOf(newer.pid), indexOf(older.pid)) << "front to back";

    auto entries = entriesOf(list, newer.pid);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].layer, 0);
    EXPECT_EQ(entries[0].bounds, ax.frame(WindowHandle{newer.window, nullptr}));
    auto dock = entriesOf(list, panel.pid);
    ASSERT_EQ(dock.size(), 1u);
    EXPECT_NE(dock[0].layer, 0);

    // The probe agrees with the accessibility frame, so a refusal would be genuine.
    auto frame = ax.frame(WindowHandle{older.window, nullptr});
    ASSERT_TRUE(frame);
    EXPECT_EQ(WindowProbe::spaceVerdict(list, *frame, older.pid, 4).rfind("SPACE-OK", 0), 0u);
}

TEST_F(X11WindowListTest, MinimizedWindowsAreNotOnScreen) {
    X11WindowList list(*x11);
    auto plain = client({"--geometry", "500x400+100+100"});
    ASSERT_EQ(entriesOf(list, plain.pid).size(), 1u);
    xcb_connection_t* c = desktop->probe();
    auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 15, "WM_CHANGE_STATE"), nullptr);
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = plain.window;
    message.type = atom->atom;
    message.data.data32[0] = 3;  // IconicState
    free(atom);
    xcb_send_event(c, 0, desktop->root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(c);
    EXPECT_TRUE(TestDesktop::waitUntil([&] { return entriesOf(list, plain.pid).empty(); }));
}

}  // namespace
}  // namespace mavo::test

#include "platform/linux/DbusControl.h"

#include <gtest/gtest.h>

#include <gio/gio.h>

namespace {

// Two X displays may share a session bus: each display's Mavo has a name of its own, the same
// whatever screen number or spelling the command's DISPLAY uses.
TEST(DbusControl, EachDisplayHasItsOwnValidBusNameWhateverItsScreen) {
    using mavo::DbusControl;
    for (auto [display, name] : {std::pair{":0", "Display_0"},
                                 {":0.1", "Display_0"},
                                 {":12", "Display_12"},
                                 {"localhost:10.0", "Display_localhost_10"},
                                 {"host.example:1", "Display_host_example_1"},
                                 {"/tmp/.X11-unix/X3", "Display__tmp__X11_unix_X3"}}) {
        std::string full = DbusControl::displayBusName(display);
        EXPECT_EQ(full, std::string("com.quastorn.mavo.") + name) << display;
        EXPECT_TRUE(g_dbus_is_name(full.c_str())) << full;
    }
}

}  // namespace

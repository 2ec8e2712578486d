// The running Mavo steered from the command line and over the session bus: each verb's effect on
// the windows, the settings file and the placement file, and the bus announcing a change; one
// instance per display, launch at login on the first launch, and how it ends.

#include <fcntl.h>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

class ControlTest : public E2ETest {
  protected:
    // A program on the desktop and its bus, its output going to `out`; its standard error joins
    // Mavo's (err()) when it is Mavo.
    pid_t spawn(const std::vector<std::string>& argv, const std::filesystem::path& out) {
        int fd = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        pid_t pid = desktop->spawn(
            argv, {mavoEnv[0], "MAVO_DIAG_LOG=" + path("mavo-diag.log").string()}, fd);
        ::close(fd);
        return pid;
    }
    Output run(std::vector<std::string> argv, bool gdbus = false) {
        if (gdbus)
            argv.insert(argv.begin() + 1, {"--session", "--dest", "com.quastorn.mavo",
                                           "--object-path", "/com/quastorn/mavo"});
        argv.insert(argv.begin(), gdbus ? "gdbus" : MAVO_BINARY);
        auto out = path("out-" + std::to_string(++runs));
        int status = desktop->waitExit(spawn(argv, out), 30).value_or(-1);
        return {status, readText(out), ""};
    }
    bool busSays(const std::filesystem::path& signals, const std::string& text) {
        return TestDesktop::waitUntil([&] { return readText(signals).find(text) != npos; });
    }

    int runs = 0;
};

TEST_F(ControlTest, VerbsSteerTheRunningMavoTheBusAnnouncesItsStateAndEachEndIsOrderly) {
    ASSERT_TRUE(start({.sessionBus = true}, false));
    mavoEnv = {"DBUS_SESSION_BUS_ADDRESS=" + desktop->sessionBus()};
    // Placements of another display arrangement, which only forgetting removes.
    auto placements = path("data/Mavo/placements.json");
    std::filesystem::create_directories(placements.parent_path());
    std::ofstream(placements) << R"({"version":1,"records":{
        "did:gone|CtlApp|":{"displayUUID":"did:gone","rel":{"fx":0.1,"fy":0.2,"fw":0.5,"fh":0.6},"updatedAt":1},
        "did:gone|Other|report":{"displayUUID":"did:gone","rel":{"fx":0,"fy":0,"fw":0.5,"fh":1},"updatedAt":1}}})";
    // Paused in the settings file at start: everything is left alone.
    auto settings = path("config/mavo/defaults.json");
    std::filesystem::create_directories(settings.parent_path());
    std::ofstream(settings) << R"({"paused": true})";
    Client a = client("ctl-a", "400x300+50+50", {"--class", "CtlApp"});
    auto before = frameOf(a);
    ASSERT_TRUE(startMavo());

    auto signals = path("signals");
    pid_t monitor =
        spawn({"gdbus", "monitor", "--session", "--dest", "com.quastorn.mavo"}, signals);
    ASSERT_TRUE(busSays(signals, "is owned by"));

    Tick tick = sync(3);
    EXPECT_TRUE(tick.answered);
    EXPECT_EQ(tick.tracked, 0u);
    EXPECT_EQ(frameOf(a), before);
    EXPECT_EQ(readJson(settings)["paused"], true);
    // Starting Mavo again says what runs and leaves it be.
    Output second = run({});
    EXPECT_EQ(second.status, 0);
    EXPECT_TRUE(second.out.starts_with("state: paused\n")) << second.out;
    // Maximizing all works while paused.
    EXPECT_EQ(run({"maximize-all"}).status, 0);
    EXPECT_TRUE(becomes(a, kScreen));
    EXPECT_EQ(run({"resume"}).status, 0);
    Output status = run({"status"});
    EXPECT_EQ(status.status, 0);
    EXPECT_TRUE(status.out.starts_with("state: active\nwindows maximized: ")) << status.out;
    EXPECT_NE(status.out.find("\nwindows that can't be maximized: 0\ntray: none\n"), npos)
        << status.out;

    // Paused by the verb: the bus says so.
    EXPECT_EQ(run({"pause"}).status, 0);
    EXPECT_TRUE(busSays(signals, "'State': <'paused'>"));

    const std::string control = "com.quastorn.mavo.Control.";
    // A per-application switch of the menu, for an application that need not be in front.
    EXPECT_EQ(run({"call", "--method", control + "SetTopCenter", "CtlApp", "true"}, true).status,
              0);
    EXPECT_EQ(run({"call", "--method", control + "GetAppSwitches", "CtlApp"}, true).out,
              "(true, true, false)\n");

    // Remembered placements: listed with their keys, forgotten one by one, then all at once, the
    // last written before Mavo quits.
    Output listed = run({"placements"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_NE(listed.out.find("did:gone\tCtlApp\t\tx=10% y=20% w=50% h=60%\tdid:gone|CtlApp|\n"),
              npos)
        << listed.out;
    EXPECT_EQ(run({"forget", "did:gone|CtlApp|"}).status, 0);
    EXPECT_EQ(run({"forget", "did:gone|CtlApp|"}).status, 2);
    EXPECT_NE(err().find("no remembered placement has the key \"did:gone|CtlApp|\""), npos);
    EXPECT_TRUE(
        TestDesktop::waitUntil([&] { return readJson(placements)["records"].size() == 1; }));
    EXPECT_EQ(run({"forget", "--all"}).out, "Forgot 1 remembered placement.\n");
    EXPECT_NE(run({"log"}).out.find("screen[0] frame="), npos);

    EXPECT_EQ(sync().xErrors, 0u);
    EXPECT_EQ(run({"quit"}).status, 0);
    EXPECT_EQ(desktop->waitExit(std::exchange(mavo, 0), 10), 0);
    EXPECT_EQ(readJson(placements)["records"], nlohmann::json::object());
    EXPECT_EQ(run({"pause"}).status, 1);
    EXPECT_NE(err().find("mavo: Mavo is not running on display \"" + desktop->display() + "\".\n"),
              npos)
        << err();
    desktop->stop(monitor);

    // The first launch turned launch at login on, for this very program.
    auto entry = path("config/autostart/mavo.desktop");
    EXPECT_NE(readText(entry).find("Exec=" MAVO_BINARY "\n"), npos) << readText(entry);
    ASSERT_TRUE(startMavo());
    EXPECT_EQ(run({"resume"}).status, 0);
    // A second Mavo on the same display, even out of reach of the bus, says so and ends by itself;
    // the first works on.
    EXPECT_EQ(desktop->run({MAVO_BINARY}, 15), 0);
    EXPECT_NE(err().find("Mavo: another Mavo is already running on display"), npos);
    EXPECT_TRUE(becomes(client("ctl-d", "400x300+10+10"), kScreen));
    // An interrupt ends Mavo in order and frees the display for the next one.
    expectOrderlyExit(SIGINT);
    ASSERT_TRUE(startMavo());
    // The session ends under it: Mavo quits by itself.
    desktop->stopServer();
    EXPECT_GE(desktop->waitExit(std::exchange(mavo, 0), 10).value_or(-1), 0);
    EXPECT_NE(err().find("Mavo: the X display went away"), npos) << err();
}

}  // namespace
}  // namespace mavo::e2e

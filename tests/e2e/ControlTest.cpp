// The running Mavo steered from the command line and over the session bus: each verb's effect on
// the windows, the settings file and the placement file, and the bus announcing a change.

#include <fcntl.h>

#include "E2ETest.h"

namespace mavo::e2e {
namespace {

class ControlTest : public E2ETest {
  protected:
    struct Output {
        int status = -1;
        std::string out;
    };

    // A private session bus for Mavo and every command of the test.
    bool startBus() {
        auto socket = path("run/bus");
        desktop->spawn(
            {"dbus-daemon", "--session", "--nofork", "--address=unix:path=" + socket.string()});
        mavoEnv = {bus = "DBUS_SESSION_BUS_ADDRESS=unix:path=" + socket.string()};
        return TestDesktop::waitUntil([&] { return std::filesystem::exists(socket); }, 10);
    }

    // Starts a program on the desktop and its bus with its output going to `out`; its standard
    // error joins Mavo's (err()).
    pid_t spawn(const std::vector<std::string>& argv, const std::filesystem::path& out) {
        int fd = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        pid_t pid =
            desktop->spawn(argv, {bus, "MAVO_DIAG_LOG=" + path("mavo-diag.log").string()}, fd);
        ::close(fd);
        return pid;
    }
    Output run(const std::vector<std::string>& argv) {
        auto out = path("out-" + std::to_string(++runs));
        int status = desktop->waitExit(spawn(argv, out), 30).value_or(-1);
        return {status, readText(out)};
    }
    Output mavoDo(std::vector<std::string> words) {
        words.insert(words.begin(), MAVO_BINARY);
        return run(words);
    }
    Output gdbus(const std::string& command, const std::vector<std::string>& words = {}) {
        std::vector<std::string> argv{"gdbus",
                                      command,
                                      "--session",
                                      "--dest",
                                      "com.quastorn.mavo",
                                      "--object-path",
                                      "/com/quastorn/mavo"};
        argv.insert(argv.end(), words.begin(), words.end());
        return run(argv);
    }

    std::string bus;
    int runs = 0;
};

TEST_F(ControlTest, VerbsSteerTheRunningMavoAndTheBusAnnouncesItsState) {
    ASSERT_TRUE(start({}, false));
    ASSERT_TRUE(startBus());
    // Placements of another display arrangement, which only forgetting removes.
    auto placements = path("data/Mavo/placements.json");
    std::filesystem::create_directories(placements.parent_path());
    std::ofstream(placements) << R"({"version":1,"records":{
        "did:gone|CtlApp|":{"displayUUID":"did:gone","rel":{"fx":0.1,"fy":0.2,"fw":0.5,"fh":0.6},"updatedAt":1},
        "did:gone|Other|report":{"displayUUID":"did:gone","rel":{"fx":0,"fy":0,"fw":0.5,"fh":1},"updatedAt":1}}})";
    ASSERT_TRUE(startMavo());

    Output introspected = gdbus("introspect");
    EXPECT_EQ(introspected.status, 0);
    for (const char* part :
         {"interface com.quastorn.mavo.Control", "Pause();", "Quit();",
          "ForgetPlacement(in  s key,", "readonly s State", "readonly b TrayPresent"})
        EXPECT_NE(introspected.out.find(part), npos) << part << "\n" << introspected.out;
    auto signals = path("signals");
    pid_t monitor =
        spawn({"gdbus", "monitor", "--session", "--dest", "com.quastorn.mavo"}, signals);
    ASSERT_TRUE(
        TestDesktop::waitUntil([&] { return readText(signals).find("is owned by") != npos; }));

    Client a = client("ctl-a", "400x300+50+50", {"--class", "CtlApp"});
    EXPECT_TRUE(becomes(a, kScreen));
    Output status = mavoDo({"status"});
    EXPECT_EQ(status.status, 0);
    EXPECT_TRUE(status.out.starts_with("state: active\nwindows maximized: ")) << status.out;
    EXPECT_NE(status.out.find("\nwindows that can't be maximized: 0\ntray: none\n"), npos)
        << status.out;

    // Paused: the settings file and the bus say so, and a new window is left as it is.
    EXPECT_EQ(mavoDo({"pause"}).status, 0);
    EXPECT_EQ(readJson(path("config/mavo/defaults.json"))["paused"], true);
    EXPECT_TRUE(TestDesktop::waitUntil(
        [&] { return readText(signals).find("'State': <'paused'>") != npos; }));
    Client b = client("ctl-b", "400x300+100+100");
    sync();
    sync();
    EXPECT_LT(frameOf(b).value_or(kScreen).width, 1000);
    // Starting Mavo again says what runs and leaves it be.
    Output second = mavoDo({});
    EXPECT_EQ(second.status, 0);
    EXPECT_NE(second.out.find("state: paused\n"), npos) << second.out;
    EXPECT_TRUE(alive());
    // Maximizing all works while paused; resuming lets new windows be maximized again.
    EXPECT_EQ(mavoDo({"maximize-all"}).status, 0);
    EXPECT_TRUE(becomes(b, kScreen));
    EXPECT_EQ(mavoDo({"resume"}).status, 0);
    EXPECT_EQ(readJson(path("config/mavo/defaults.json"))["paused"], false);
    EXPECT_TRUE(becomes(client("ctl-c", "400x300+150+150"), kScreen));

    // A per-application switch of the menu, for an application that need not be in front.
    EXPECT_EQ(
        gdbus("call", {"--method", "com.quastorn.mavo.Control.SetTopCenter", "CtlApp", "true"})
            .status,
        0);
    EXPECT_EQ(readJson(path("config/mavo/defaults.json"))["topCenterApps"],
              nlohmann::json::array({"CtlApp"}));
    EXPECT_EQ(gdbus("call", {"--method", "com.quastorn.mavo.Control.GetAppSwitches", "CtlApp"}).out,
              "(true, true, false)\n");

    // Remembered placements: listed with their keys, forgotten one by one, then all at once, the
    // last written before Mavo quits.
    Output listed = mavoDo({"placements"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_NE(listed.out.find("did:gone\tCtlApp\t\tx=10% y=20% w=50% h=60%\tdid:gone|CtlApp|\n"),
              npos)
        << listed.out;
    EXPECT_EQ(mavoDo({"forget", "did:gone|CtlApp|"}).status, 0);
    EXPECT_EQ(mavoDo({"forget", "did:gone|CtlApp|"}).status, 2);
    EXPECT_NE(err().find("no remembered placement has the key \"did:gone|CtlApp|\""), npos);
    EXPECT_TRUE(
        TestDesktop::waitUntil([&] { return readJson(placements)["records"].size() == 1; }));
    EXPECT_EQ(mavoDo({"forget", "--all"}).out, "Forgot 1 remembered placement.\n");
    EXPECT_NE(mavoDo({"log"}).out.find("screen[0] frame="), npos);

    EXPECT_EQ(sync().xErrors, 0u);
    EXPECT_EQ(mavoDo({"quit"}).status, 0);
    EXPECT_EQ(desktop->waitExit(std::exchange(mavo, 0), 10), 0);
    EXPECT_EQ(readJson(placements)["records"], nlohmann::json::object());
    Output gone = mavoDo({"pause"});
    EXPECT_EQ(gone.status, 1);
    EXPECT_NE(err().find("mavo: Mavo is not running on display \"" + desktop->display() + "\".\n"),
              npos)
        << err();
    desktop->stop(monitor);
}

}  // namespace
}  // namespace mavo::e2e

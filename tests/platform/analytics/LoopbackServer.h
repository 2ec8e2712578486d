#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

extern char** environ;

namespace mavo::test {

// A real HTTP server on 127.0.0.1, one python3 process per test, that records what it receives.
class LoopbackServer {
  public:
    enum class Mode { ok, slow, hang };

    explicit LoopbackServer(Mode mode = Mode::ok, double delay = 0.0) {
        char tmpl[] = "/tmp/mavo-analytics-XXXXXX";
        if (!mkdtemp(tmpl)) throw std::runtime_error("mkdtemp failed");
        dir_ = tmpl;
        log_ = dir_ + "/requests.jsonl";
        std::string ready = dir_ + "/port";
        std::string modeName = mode == Mode::ok ? "ok" : mode == Mode::slow ? "slow" : "hang";
        std::string delayText = std::to_string(delay);
        std::vector<std::string> args = {"python3", MAVO_RECORDING_SERVER,
                                         "--log",   log_,
                                         "--ready", ready,
                                         "--mode",  modeName,
                                         "--delay", delayText};
        std::vector<char*> argv;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawnp(&pid_, "python3", nullptr, nullptr, argv.data(), environ) != 0) {
            throw std::runtime_error("cannot start python3");
        }
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        while (!std::filesystem::exists(ready)) {
            if (std::chrono::steady_clock::now() > deadline) {
                stop();
                throw std::runtime_error("the recording server did not start");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        std::ifstream(ready) >> port_;
    }

    ~LoopbackServer() {
        stop();
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    int port() const { return port_; }
    std::string baseUrl() const { return "http://127.0.0.1:" + std::to_string(port_); }

    // Every request recorded so far.
    std::vector<nlohmann::json> requests() const {
        std::vector<nlohmann::json> out;
        std::ifstream in(log_);
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty()) out.push_back(nlohmann::json::parse(line));
        }
        return out;
    }

    // Waits until at least `count` requests arrived or `seconds` passed.
    std::vector<nlohmann::json> waitForRequests(size_t count, double seconds) const {
        auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::milliseconds(static_cast<int>(seconds * 1000));
        while (true) {
            auto got = requests();
            if (got.size() >= count || std::chrono::steady_clock::now() > deadline) return got;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    void stop() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
    }

  private:
    pid_t pid_ = -1;
    int port_ = 0;
    std::string dir_;
    std::string log_;
};

// A loopback port nobody listens on: connecting to it is refused at once.
inline int unusedPort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    close(fd);
    return ntohs(addr.sin_port);
}

}  // namespace mavo::test

#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

namespace mavo::test {

// A FIFO planted where a file is expected. A reader that wrongly waits on it is fed `text` after a
// grace period instead of hanging the test, so the test fails on what it read.
class FifoFeeder {
  public:
    FifoFeeder(const std::filesystem::path& path, std::string text) {
        ::mkfifo(path.c_str(), 0600);
        feeder_ = std::thread([this, path, text = std::move(text)] {
            std::unique_lock lock(mu_);
            if (cv_.wait_for(lock, std::chrono::seconds(3), [this] { return done_; })) return;
            // Opens only while a reader is blocked on the FIFO.
            int fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            if (fd < 0) return;
            [[maybe_unused]] auto written = ::write(fd, text.data(), text.size());
            ::close(fd);
        });
    }
    ~FifoFeeder() {
        {
            std::lock_guard lock(mu_);
            done_ = true;
        }
        cv_.notify_all();
        feeder_.join();
    }
    FifoFeeder(const FifoFeeder&) = delete;
    FifoFeeder& operator=(const FifoFeeder&) = delete;

  private:
    std::mutex mu_;
    std::condition_variable cv_;
    bool done_ = false;
    std::thread feeder_;
};

}  // namespace mavo::test

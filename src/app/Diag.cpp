#include "app/Diag.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "common/SerialQueue.h"
#include "common/Utf8.h"

namespace mavo::Diag {

namespace {

std::mutex pathMutex;
std::string currentPath = defaultPath;

// Created on first use and never destroyed, so lines logged while the process exits have a
// queue to go to.
SerialQueue& queue() {
    static SerialQueue* q = new SerialQueue("com.quastorn.mavo.diag");
    return *q;
}

// The log sits in a world-writable directory and holds window titles: never follow a link
// planted at its path, never block on a FIFO, and write only into a regular file that is ours
// alone (not someone else's file, not a hard link to a file elsewhere). The checks are made on
// the open descriptor, and nothing is truncated before they pass.
int openLog(const std::string& path, int extraFlags) {
    int fd = ::open(
        path.c_str(),
        O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | extraFlags, 0600);
    if (fd < 0) return -1;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != ::geteuid() ||
        st.st_nlink != 1) {
        ::close(fd);
        return -1;
    }
    return fd;
}

void writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return;  // a full disk or an I/O error loses the line
        }
        done += static_cast<size_t>(n);
    }
}

}  // namespace

void setPath(const std::string& newPath) {
    std::lock_guard<std::mutex> lock(pathMutex);
    currentPath = newPath;
}

std::string path() {
    std::lock_guard<std::mutex> lock(pathMutex);
    return currentPath;
}

void reset() {
    std::string target = path();
    queue().sync([&target] {
        int fd = openLog(target, 0);
        if (fd < 0) return;
        ::fchmod(fd, 0600);  // an older, wider file becomes owner-only too
        if (::ftruncate(fd, 0) != 0) {
            // swallowed like every log failure: the old lines stay
        }
        ::close(fd);
    });
}

void log(const std::string& line) {
    // The path is taken at call time, so a line lands where the log was when it was written.
    queue().async([target = path(), line] {
        // Lines carry other applications' titles, which need not be UTF-8.
        const std::string data = validUtf8(line) + "\n";
        // Opened per line and appended in one write, so the file is whole up to the last line
        // even if the process dies.
        int fd = openLog(target, O_APPEND);
        if (fd < 0) return;
        writeAll(fd, data);
        ::close(fd);
    });
}

void drain() {
    queue().sync([] {});
}

}  // namespace mavo::Diag

#include "common/Files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace mavo {

std::filesystem::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/";
}

namespace {
bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}
}  // namespace

FileRead readRegularFile(const std::filesystem::path& path, size_t maxBytes) {
    using Status = FileRead::Status;
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a writer forever.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return {errno == ENOENT ? Status::absent : Status::unusable, {}};
    FileRead result{Status::unusable, {}};
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
        static_cast<size_t>(st.st_size) <= maxBytes) {
        std::string data;
        char buf[65536];
        bool ok = true;
        while (true) {
            ssize_t n = ::read(fd, buf, sizeof buf);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 || data.size() + static_cast<size_t>(n) > maxBytes) {
                ok = false;  // unreadable, or grew past the limit while being read
                break;
            }
            if (n == 0) break;
            data.append(buf, static_cast<size_t>(n));
        }
        if (ok) result = {Status::ok, std::move(data)};
    }
    ::close(fd);
    return result;
}

bool replaceFileAtomically(const std::filesystem::path& target, const std::filesystem::path& temp,
                           const std::string& data) {
    ::unlink(temp.c_str());  // a stale temporary may carry other permissions
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return false;
    bool ok = writeAll(fd, data) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok) ok = ::rename(temp.c_str(), target.c_str()) == 0;
    if (!ok) ::unlink(temp.c_str());
    return ok;
}

}  // namespace mavo

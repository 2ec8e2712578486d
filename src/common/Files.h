#pragma once

#include <filesystem>
#include <string>

namespace mavo {

struct FileRead {
    enum class Status {
        ok,
        absent,    // nothing at the path
        unusable,  // something is there but cannot be read as a file: set it aside, never reuse
    };
    Status status = Status::absent;
    std::string data;
};

// Reads a whole regular file of at most `maxBytes`. Never follows a link at the path and never
// blocks: a FIFO, socket, device or folder, an unreadable or oversized file is `unusable`.
FileRead readRegularFile(const std::filesystem::path& path, size_t maxBytes);

// $HOME, else the password database's home directory, else "/".
std::filesystem::path homeDirectory();

// Writes `data` to a fresh owner-only `temp` beside `target`, then renames it over `target`, so
// readers see the old contents or the new, never a torn file. False on any failure.
bool replaceFileAtomically(const std::filesystem::path& target, const std::filesystem::path& temp,
                           const std::string& data);

}  // namespace mavo

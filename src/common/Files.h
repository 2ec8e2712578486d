#pragma once

#include <filesystem>
#include <string>

namespace mavo {

// $HOME, else the password database's home directory, else "/".
std::filesystem::path homeDirectory();

// Writes `data` to a fresh owner-only `temp` beside `target`, then renames it over `target`, so
// readers see the old contents or the new, never a torn file. False on any failure.
bool replaceFileAtomically(const std::filesystem::path& target, const std::filesystem::path& temp,
                           const std::string& data);

}  // namespace mavo

#pragma once

#include <filesystem>
#include <string>

namespace mavo {

// The page on what Mavo needs (an X11 session, an EWMH window manager, a tray), as a file:// URI:
// the copy under the prefix the program `exe` is installed in (<prefix>/share/mavo/help), else
// the build tree's copy; "" when there is neither.
std::string helpPageURI(const std::filesystem::path& exe);
// The same for the running program.
std::string helpPageURI();

}  // namespace mavo

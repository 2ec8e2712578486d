#include "platform/linux/HelpPage.h"

#include <glib.h>

namespace mavo {

namespace fs = std::filesystem;

namespace {

std::string fileURI(const fs::path& path) {
    gchar* uri = g_filename_to_uri(path.c_str(), nullptr, nullptr);
    if (!uri) return "";
    std::string result = uri;
    g_free(uri);
    return result;
}

}  // namespace

std::string helpPageURI(const fs::path& exe) {
    std::error_code ec;
    fs::path page = exe.parent_path().parent_path() / "share/mavo/help/index.html";
    if (exe.is_absolute() && fs::is_regular_file(page, ec)) return fileURI(page.lexically_normal());
#ifdef MAVO_BUILD_HELP_PAGE
    // A program run from the build tree, wherever in it the executable sits.
    if (fs::is_regular_file(MAVO_BUILD_HELP_PAGE, ec)) return fileURI(MAVO_BUILD_HELP_PAGE);
#endif
    return "";
}

std::string helpPageURI() {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return helpPageURI(ec ? fs::path() : exe);
}

}  // namespace mavo

#include "platform/linux/HttpModule.h"

#include <dlfcn.h>

#include <filesystem>

namespace mavo {

std::string httpModulePath() {
    std::error_code error;
    auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return {};
    return (self.parent_path().parent_path() / "lib" / "mavo" / "mavo-http.so").string();
}

std::shared_ptr<HttpSender> loadHttpSender(const std::string& path) {
    if (path.empty()) return nullptr;
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) return nullptr;
    using Create = HttpSender* (*)();
    auto create = reinterpret_cast<Create>(dlsym(module, "mavo_create_http_sender"));
    if (!create) return nullptr;
    return std::shared_ptr<HttpSender>(create());
}

}  // namespace mavo

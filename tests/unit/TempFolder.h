#pragma once

// A private folder for one test, removed with all it holds when the test ends.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace mavo::test {

struct TempFolder {
    std::filesystem::path path = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "mavo-XXXXXX").string();
        return std::filesystem::path(::mkdtemp(pattern.data()));
    }();
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

inline std::string readText(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace mavo::test

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/Diag.h"

using namespace mavo;
namespace fs = std::filesystem;

TEST(DiagThreads, LinesFromManyThreadsLandWholeAndInEachThreadsOrder) {
    std::string tmpl = (fs::temp_directory_path() / "mavo-diag-threads-XXXXXX").string();
    fs::path dir = ::mkdtemp(tmpl.data());
    fs::path logPath = dir / "diag.log";
    Diag::setPath(logPath.string());
    Diag::reset();

    constexpr int kThreads = 6;
    constexpr int kLines = 300;
    // Long lines, so that a torn write would show as a broken line.
    auto lineFor = [](int t, int i) {
        return "thread " + std::to_string(t) + " line " + std::to_string(i) + " " +
               std::string(200 + t * 37, static_cast<char>('a' + t));
    };
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t, &lineFor] {
            for (int i = 0; i < kLines; ++i) Diag::log(lineFor(t, i));
        });
    }
    for (auto& w : writers) w.join();
    Diag::drain();

    std::ifstream in(logPath);
    std::string line;
    std::vector<int> nextIndex(kThreads, 0);
    int total = 0;
    while (std::getline(in, line)) {
        ++total;
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "thread %d line %d", &t, &i), 2) << line;
        ASSERT_GE(t, 0);
        ASSERT_LT(t, kThreads);
        ASSERT_EQ(line, lineFor(t, i));
        ASSERT_EQ(i, nextIndex[t]) << "thread " << t << " out of order";
        ++nextIndex[t];
    }
    EXPECT_EQ(total, kThreads * kLines);

    Diag::setPath(Diag::defaultPath);
    std::error_code ec;
    fs::remove_all(dir, ec);
}

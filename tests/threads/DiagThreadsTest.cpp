#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "app/Diag.h"
#include "unit/TempFolder.h"

using namespace mavo;
namespace fs = std::filesystem;

TEST(DiagThreads, LinesFromManyThreadsLandWholeAndInEachThreadsOrder) {
    test::TempFolder tmp;
    const fs::path log = tmp.path / "diag.log";
    Diag::setPath(log.string());
    Diag::reset();
    // Long lines, so that a torn write would show as a broken line.
    auto lineFor = [](int t, int i) {
        return "thread " + std::to_string(t) + " line " + std::to_string(i) + " " +
               std::string(200 + t * 37, static_cast<char>('a' + t));
    };
    std::vector<std::thread> writers;
    for (int t = 0; t < 6; ++t) {
        writers.emplace_back([t, &lineFor] {
            for (int i = 0; i < 300; ++i) Diag::log(lineFor(t, i));
        });
    }
    for (auto& w : writers) w.join();
    Diag::drain();

    std::ifstream in(log);
    std::vector<int> next(6, 0);
    int total = 0, t = -1, i = -1;
    for (std::string line; std::getline(in, line); ++total) {
        ASSERT_EQ(std::sscanf(line.c_str(), "thread %d line %d", &t, &i), 2) << line;
        ASSERT_TRUE(t >= 0 && t < 6) << line;
        ASSERT_EQ(line, lineFor(t, i));
        ASSERT_EQ(i, next[t]++) << "thread " << t << " out of order";
    }
    EXPECT_EQ(total, 6 * 300);
    Diag::setPath(Diag::defaultPath);
}

// What one engine tick costs on the fake platform as the number of windows grows: the steady
// state (every window already where it belongs) and a full re-evaluation (every window met afresh,
// as after a menu change). The ratio between sizes shows whether a tick stays linear in the window
// count.

#include <benchmark/benchmark.h>

#include "fakes/EngineHarness.h"
#include "geometry/Geo.h"

using namespace mavo;
using namespace mavo::test;

namespace {

// `windows` windows spread over apps of five windows each, all already maximized.
void populate(EngineHarness& h, int windows) {
    for (int i = 0; i < windows; i += 5) {
        auto pid = h.addApp("com.example.app" + std::to_string(i / 5));
        for (int k = 0; k < 5 && i + k < windows; ++k)
            h.addWindow(pid, "Window " + std::to_string(k), kPrimaryVisibleAX);
    }
}

void BM_SteadyTick(benchmark::State& state) {
    EngineHarness h;
    h.defaults.set("topCenterMode", false);
    h.launch();
    populate(h, static_cast<int>(state.range(0)));
    h.tick();
    for (auto _ : state) {
        h.advance(0.75);
        h.tick();
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_SteadyTick)->Arg(10)->Arg(50)->Arg(200)->Complexity(benchmark::oN)->UseRealTime();

void BM_ReevaluateAll(benchmark::State& state) {
    EngineHarness h;
    h.defaults.set("topCenterMode", false);
    h.launch();
    populate(h, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        h.server.clearWrites();  // keep the fake's write log from growing across iterations
        state.ResumeTiming();
        h.engine->reevaluateAll();
        h.engine->drain();
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_ReevaluateAll)->Arg(10)->Arg(50)->Arg(200)->Complexity(benchmark::oN)->UseRealTime();

void BM_SnapZoneTest(benchmark::State& state) {
    Rect work{0, 25, 2560, 1415};
    Rect frame{0, 25, 1707, 1415};
    for (auto _ : state) benchmark::DoNotOptimize(Geo::isAtSnapZone(frame, work, 30, 44));
}
BENCHMARK(BM_SnapZoneTest);

}  // namespace

BENCHMARK_MAIN();

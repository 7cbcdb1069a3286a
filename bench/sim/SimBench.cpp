// Virtual time over wall time: networks of demo devices on one virtual bus,
// all in one simulation, each iteration a virtual second. The counter
// virtual_ms_per_wall_ms is how many times faster than real time they run.
#include "DemoNetwork.h"

#include <ferrow/Ferrow_Sim_c.h>

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <string>

namespace {

constexpr unsigned long kStepMs = 1000;
// A hundred devices that start together fight over addresses for about eight
// virtual seconds; what is measured is the network after that.
constexpr unsigned long kSettleMs = 10000;

void BM_DemoDevicesInVirtualTime(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    Ferrow_Sim_c sim;
    DemoNetwork network("sim_" + std::to_string(count), count,
                        "vbus:bench_sim_" + std::to_string(count) + "_" + std::to_string(::getpid()),
                        &sim);
    const auto started = std::chrono::steady_clock::now();
    if (!network.Start() || sim.Start(0, nullptr) != 0 || sim.Run(kSettleMs) != 0) {
        state.SkipWithError("the demo devices did not start");
        return;
    }
    const double settleWallMs = 1000.0 * SecondsBetween(started, std::chrono::steady_clock::now());
    unsigned long virtualMs = 0;
    const uint64_t sentBefore = network.Sent();
    const auto from = std::chrono::steady_clock::now();
    for (auto _ : state) {
        sim.Run(kStepMs);
        virtualMs += kStepMs;
    }
    const double wallMs = 1000.0 * SecondsBetween(from, std::chrono::steady_clock::now());
    state.counters["virtual_ms_per_wall_ms"] = virtualMs / wallMs;
    state.counters["start_virtual_ms_per_wall_ms"] = kSettleMs / settleWallMs;
    state.counters["messages_per_virtual_s"] = 1000.0 * double(network.Sent() - sentBefore) / virtualMs;
}
BENCHMARK(BM_DemoDevicesInVirtualTime)
    ->ArgName("devices")
    ->Arg(1)
    ->Arg(20)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

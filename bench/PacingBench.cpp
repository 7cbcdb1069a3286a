// Loop pacing: how many times a second the worker calls an empty loop at
// paces of 1, 5 and 20 ms, against the nominal 1000 / pace, over 10 s each,
// and what the host spends on each call.
//
// The host's time is the worker thread's own CPU clock: it stands still
// while the thread sleeps, so the pacing sleep drops out by construction,
// while the burst, the loop dispatch and waking from the sleep are counted.
// It is read from this thread, so the worker runs exactly as firmware sees it.
#include "BenchEmulator.h"

#include <benchmark/benchmark.h>

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr auto kMeasured = std::chrono::seconds(10);

std::atomic<long> g_calls{0};
std::atomic<clockid_t> g_workerClock{0};

void Main(void*) {}

void Loop(void*) {
    if (g_calls.load(std::memory_order_relaxed) == 0) {
        clockid_t clock{};
        if (pthread_getcpuclockid(pthread_self(), &clock) == 0) g_workerClock = clock;
    }
    g_calls.fetch_add(1, std::memory_order_release);
}

double WorkerCpuSeconds() {
    timespec t{};
    if (clock_gettime(g_workerClock.load(), &t) != 0) return 0;
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

void BM_LoopPacing(benchmark::State& state) {
    const int pace = static_cast<int>(state.range(0));
    auto emu = BenchEmulator("pacing");
    emu->SetDeviceFunction(Main, Loop, pace);
    for (auto _ : state) {
        g_calls = 0;
        g_workerClock = 0;
        if (emu->Start() != 0) {
            state.SkipWithError("Start failed");
            return;
        }
        // The window opens at the first call, so Start's own cost stays out.
        while (g_calls.load(std::memory_order_acquire) == 0) std::this_thread::yield();
        const auto from = std::chrono::steady_clock::now();
        const long callsFrom = g_calls.load();
        const double cpuFrom = WorkerCpuSeconds();
        std::this_thread::sleep_for(kMeasured);
        const double cpuTo = WorkerCpuSeconds();
        const long callsTo = g_calls.load();
        const auto to = std::chrono::steady_clock::now();
        emu->Stop();

        const double seconds = SecondsBetween(from, to);
        const double calls = static_cast<double>(callsTo - callsFrom);
        state.SetIterationTime(seconds);
        state.counters["calls_per_s"] = calls / seconds;
        state.counters["nominal_per_s"] = 1000.0 / pace;
        state.counters["ratio"] = calls / seconds / (1000.0 / pace);
        const double perCall = calls > 0 ? (cpuTo - cpuFrom) / calls * 1e6 : 0;
        state.counters["host_us_per_call"] = perCall;
        // A cycle is the burst of ceil(20 / pace) calls and one wake-up.
        state.counters["host_us_per_cycle"] = perCall * ((20 + pace - 1) / pace);
    }
}
BENCHMARK(BM_LoopPacing)
    ->ArgName("pace_ms")
    ->Arg(1)
    ->Arg(5)
    ->Arg(20)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

}  // namespace

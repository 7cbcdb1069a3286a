// How long the worker takes to come and go with a trivial loop paced at
// 5 ms: from Start until the loop's first call, and the whole Stop call.
// Each is the mean over many starts and stops of one emulator.
#include "BenchEmulator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPace = 5;
constexpr int kRounds = 40;

std::atomic<bool> g_called{false};
// Stamped by the loop itself, so that how this thread polls does not count.
std::atomic<Clock::rep> g_firstCall{0};

void Main(void*) {}

void Loop(void*) {
    if (!g_called.load(std::memory_order_relaxed)) {
        g_firstCall = Clock::now().time_since_epoch().count();
        g_called.store(true, std::memory_order_release);
    }
}

// Starts the worker and waits for its first loop call; when that came.
bool StartAndWait(Ferrow_c& emu, Clock::time_point& firstCall) {
    g_called = false;
    if (emu.Start() != 0) return false;
    while (!g_called.load(std::memory_order_acquire)) std::this_thread::yield();
    firstCall = Clock::time_point(Clock::duration(g_firstCall.load()));
    return true;
}

// The mean is the benchmark's time; the longest shows a worker that missed
// the start of a cycle.
void RecordRound(benchmark::State& state, double& longest, double seconds) {
    state.SetIterationTime(seconds);
    longest = std::max(longest, seconds);
    state.counters["longest_ms"] = longest * 1e3;
}

void BM_StartToFirstLoopCall(benchmark::State& state) {
    auto emu = BenchEmulator("start");
    emu->SetDeviceFunction(Main, Loop, kPace);
    double longest = 0;
    for (auto _ : state) {
        const auto from = Clock::now();
        Clock::time_point firstCall;
        if (!StartAndWait(*emu, firstCall)) {
            state.SkipWithError("Start failed");
            return;
        }
        RecordRound(state, longest, SecondsBetween(from, firstCall));
        emu->Stop();
    }
}
BENCHMARK(BM_StartToFirstLoopCall)->Iterations(kRounds)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_StopReturn(benchmark::State& state) {
    auto emu = BenchEmulator("stop");
    emu->SetDeviceFunction(Main, Loop, kPace);
    double longest = 0;
    for (auto _ : state) {
        Clock::time_point firstCall;
        if (!StartAndWait(*emu, firstCall)) {
            state.SkipWithError("Start failed");
            return;
        }
        const auto from = Clock::now();
        const int stopped = emu->Stop();
        RecordRound(state, longest, SecondsBetween(from, Clock::now()));
        if (stopped != 0) {
            state.SkipWithError("Stop gave up");
            return;
        }
    }
}
BENCHMARK(BM_StopReturn)->Iterations(kRounds)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

// The periodic interrupt without a host window, from the library's timer
// thread: ticks per second against the nominal 1000 / period for periods of
// 1 and 10 ms over 10 s each, and the longest gap between two ticks.
#include "BenchEmulator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr auto kMeasured = std::chrono::seconds(10);
using Clock = std::chrono::steady_clock;

std::atomic<long> g_ticks{0};
// Written by the timer thread only, read after the timer is killed.
Clock::time_point g_lastTick;
Clock::duration g_longestGap{};

void OnTick(void*) {
    const auto now = Clock::now();
    if (g_ticks.load(std::memory_order_relaxed) > 0) g_longestGap = std::max(g_longestGap, now - g_lastTick);
    g_lastTick = now;
    g_ticks.fetch_add(1, std::memory_order_release);
}

void BM_PeriodicInterrupt(benchmark::State& state) {
    const unsigned long period = static_cast<unsigned long>(state.range(0));
    for (auto _ : state) {
        // A fresh emulator: t_init sets the timer up once per emulator.
        auto emu = BenchEmulator("timer");
        g_ticks = 0;
        g_longestGap = {};
        emu->t_init(1, period);
        emu->t_interrupt_set(OnTick);
        while (g_ticks.load(std::memory_order_acquire) == 0) std::this_thread::yield();
        const auto from = Clock::now();
        const long ticksFrom = g_ticks.load();
        std::this_thread::sleep_for(kMeasured);
        const long ticksTo = g_ticks.load();
        const auto to = Clock::now();
        emu->t_disable_int();

        const double seconds = SecondsBetween(from, to);
        const double perSecond = static_cast<double>(ticksTo - ticksFrom) / seconds;
        state.SetIterationTime(seconds);
        state.counters["ticks_per_s"] = perSecond;
        state.counters["nominal_per_s"] = 1000.0 / static_cast<double>(period);
        state.counters["ratio"] = perSecond / (1000.0 / static_cast<double>(period));
        state.counters["longest_gap_ms"] = std::chrono::duration<double, std::milli>(g_longestGap).count();
    }
}
BENCHMARK(BM_PeriodicInterrupt)
    ->ArgName("period_ms")
    ->Arg(1)
    ->Arg(10)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

}  // namespace

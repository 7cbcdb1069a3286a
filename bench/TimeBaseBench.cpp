// Cost of an exported call against a plain function call: what a firmware
// pays for reading its time base through the emulator.
#include "BenchEmulator.h"

#include <ferrow/ferrow.h>

#include <benchmark/benchmark.h>

namespace {

__attribute__((noinline)) unsigned long PlainCall(unsigned long x) { return x + 1; }

// Called through a volatile pointer so the compiler cannot fold the call away.
unsigned long (*volatile g_plainCall)(unsigned long) = PlainCall;

void BM_PlainFunctionCall(benchmark::State& state) {
    unsigned long x = 0;
    for (auto _ : state) benchmark::DoNotOptimize(x = g_plainCall(x));
}
BENCHMARK(BM_PlainFunctionCall);

Ferrow_c& Emulator() {
    static const std::unique_ptr<Ferrow_c> emu = BenchEmulator("timebase");
    return *emu;
}

void BM_t_get_1ms_ProcessClock(benchmark::State& state) {
    Ferrow_c& emu = Emulator();
    emu.t_set_overwrite(0);
    for (auto _ : state) benchmark::DoNotOptimize(emu.t_get_1ms());
}
BENCHMARK(BM_t_get_1ms_ProcessClock);

void BM_t_get_1ms_ManualTime(benchmark::State& state) {
    Ferrow_c& emu = Emulator();
    emu.t_set_overwrite(1);
    for (auto _ : state) benchmark::DoNotOptimize(emu.t_get_1ms());
    emu.t_set_overwrite(0);
}
BENCHMARK(BM_t_get_1ms_ManualTime);

}  // namespace

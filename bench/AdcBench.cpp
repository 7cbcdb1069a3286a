// ADC sample queue throughput through the exported API: puts, reads and
// averages per second on one channel, and on the first and last of 64
// channels in 8 groups, where every id lookup walks the groups.
#include "BenchEmulator.h"

#include <ferrow/Ferrow_ADC_c.h>
#include <ferrow/Ferrow_c.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

// An emulator with an ADC of `groups` groups of `perGroup` 12-bit channels.
struct Adc {
    Adc(int groups, unsigned char perGroup, unsigned long queueLength, unsigned long window) {
        emu = BenchEmulator("adc");
        adc = std::make_unique<Ferrow_ADC_c>(emu.get(), 0, 1);
        for (int g = 0; g < groups; ++g) adc->AddChannel(perGroup, 12, queueLength, 1, 0);
        for (int id = 0; id < adc->GetTotalChannel(-1); ++id) adc->QSetup(id, window);
    }
    std::unique_ptr<Ferrow_c> emu;
    std::unique_ptr<Ferrow_ADC_c> adc;
};

// range(0): channels (1, or 64 in 8 groups); range(1): the id used.
std::unique_ptr<Adc> Layout(const benchmark::State& state, unsigned long queueLength,
                            unsigned long window) {
    return state.range(0) == 1 ? std::make_unique<Adc>(1, 1, queueLength, window)
                               : std::make_unique<Adc>(8, 8, queueLength, window);
}

void Layouts(benchmark::internal::Benchmark* b) {
    b->ArgNames({"channels", "id"})->Args({1, 0})->Args({64, 0})->Args({64, 63});
}

// A one-slot queue takes every put, so each iteration is one whole put:
// lookup, clamp, window update, ring.
void BM_QPut(benchmark::State& state) {
    auto adc = Layout(state, 1, 1);
    const int id = static_cast<int>(state.range(1));
    long v = 0;
    for (auto _ : state) benchmark::DoNotOptimize(adc->adc->QPut(id, v++ & 4095));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QPut)->Apply(Layouts);

// The firmware's pattern: a put, then the reader takes it and steps on.
void BM_QPutThenQGet(benchmark::State& state) {
    auto adc = Layout(state, 64, 16);
    const int id = static_cast<int>(state.range(1));
    long v = 0;
    long out = 0;
    for (auto _ : state) {
        adc->adc->QPut(id, v++ & 4095);
        benchmark::DoNotOptimize(adc->adc->QGet(id, &out, 1, 1));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QPutThenQGet)->Apply(Layouts);

void BM_QGetAvg(benchmark::State& state) {
    auto adc = Layout(state, 64, 16);
    const int id = static_cast<int>(state.range(1));
    for (long v = 0; v < 32; ++v) adc->adc->QPut(id, v * 100);
    long average = 0;
    for (auto _ : state) benchmark::DoNotOptimize(adc->adc->QGetAvg(id, &average));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QGetAvg)->Apply(Layouts);

}  // namespace

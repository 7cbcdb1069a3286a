// Bytes per second through a serial port's transmit ring: the firmware's
// PutTX and the line's GetTX on one thread, in chunks of 1, 64 and 4,096
// bytes.
#include "BenchEmulator.h"

#include <ferrow/Ferrow_Serial_c.h>
#include <ferrow/Ferrow_c.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

// One port for every run: the process's port slots are never given back.
struct Port {
    Port() {
        emu = BenchEmulator("serial");
        serial = std::make_unique<Ferrow_Serial_c>(emu.get(), 0, 1);
    }
    std::unique_ptr<Ferrow_c> emu;
    std::unique_ptr<Ferrow_Serial_c> serial;
};

void BM_PutTXGetTX(benchmark::State& state) {
    static Port port;
    const int chunk = static_cast<int>(state.range(0));
    std::vector<unsigned char> out(size_t(chunk), 0);
    std::vector<unsigned char> in(size_t(chunk), 0x5A);
    for (auto _ : state) {
        benchmark::DoNotOptimize(port.serial->PutTX(in.data(), chunk));
        benchmark::DoNotOptimize(port.serial->GetTX(out.data(), chunk));
    }
    state.SetBytesProcessed(state.iterations() * chunk);
}
BENCHMARK(BM_PutTXGetTX)->Arg(1)->Arg(64)->Arg(4096);

}  // namespace

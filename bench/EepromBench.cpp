// EEPROM writes per second as firmware makes them, each rewriting its
// records in the image file at once (one byte: one record; 4 KB: 256), and
// the full load of a 64 KB image file.
#include "BenchEmulator.h"

#include <ferrow/Ferrow_EEPROM_c.h>
#include <ferrow/Ferrow_c.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Device {
    Device(const std::string& name, unsigned long size) {
        const std::string hex = (BenchFolder("eeprom_" + name) / "dev.hex").string();
        std::filesystem::remove(hex);
        emu = BenchEmulator("eeprom_" + name, "", hex.c_str());
        eeprom = std::make_unique<Ferrow_EEPROM_c>(emu.get(), 0, size, 1);
        eeprom->Init();
    }
    std::unique_ptr<Ferrow_c> emu;
    std::unique_ptr<Ferrow_EEPROM_c> eeprom;
};

void BM_WN(benchmark::State& state) {
    static Device device("wn", 32768);
    std::vector<unsigned char> data(static_cast<size_t>(state.range(0)), 0x5A);
    unsigned short address = 0;
    for (auto _ : state) {
        device.eeprom->WN(address, data.data(), static_cast<unsigned short>(data.size()));
        address = static_cast<unsigned short>((address + 4096) % 32768);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WN)->Arg(1)->Arg(4096);

void BM_Init64K(benchmark::State& state) {
    static Device device("init", 65536);
    for (auto _ : state) device.eeprom->Init();
    state.SetBytesProcessed(state.iterations() * 65536);
}
BENCHMARK(BM_Init64K);

}  // namespace

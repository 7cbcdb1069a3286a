// Virtual time over wall time: networks of demo devices on one virtual bus,
// all in one simulation, each iteration a virtual second. The counter
// virtual_ms_per_wall_ms is how many times faster than real time they run.
#include "../BenchEmulator.h"

#include "MonitorDevice.h"

#include <ferrow/Ferrow_Sim_c.h>

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr unsigned long kStepMs = 1000;
// A hundred devices that start together fight over addresses for about eight
// virtual seconds; what is measured is the network after that.
constexpr unsigned long kSettleMs = 10000;

class DemoNetwork {
public:
    explicit DemoNetwork(int count) {
        const std::string name = "sim_" + std::to_string(count);
        const std::string bus = "vbus:bench_" + name + "_" + std::to_string(::getpid());
        for (int i = 0; i < count; ++i) {
            const auto dir = BenchFolder(name + "_" + std::to_string(i));
            // A fresh EEPROM each run: every run claims from the same start.
            std::filesystem::remove(dir / "Ferrow.hex");
            files_.push_back({(dir / "Ferrow.hex").string(), (dir / "Ferrow.cfg").string()});
            std::ofstream(files_.back().config) << "GW_PORT_NAME=\"" << bus << "\"\nEEPROM_NAME=\""
                                                << files_.back().eeprom << "\"\nAUTO_CONN=1\n";
        }
        for (int i = 0; i < count; ++i) {
            MonitorOptions options;
            options.eepromFile = files_[i].eeprom.c_str();
            options.configFile = files_[i].config.c_str();
            options.simulation = &sim;
            devices_.push_back(std::make_unique<MonitorDevice>(options));
            devices_.back()->Emulator()->AddPutMsgMonitor(&sent, &CountSent);
            std::string program = "bench", flag = "--unique", unique = std::to_string(1000 + i);
            char* argv[] = {program.data(), flag.data(), unique.data(), nullptr};
            if (devices_.back()->Start(3, argv) != 0) ok = false;
        }
        const auto from = std::chrono::steady_clock::now();
        if (sim.Start(0, nullptr) != 0 || sim.Run(kSettleMs) != 0) ok = false;
        settleWallMs = 1000.0 * SecondsBetween(from, std::chrono::steady_clock::now());
    }

    Ferrow_Sim_c sim;
    bool ok = true;
    // Messages the devices have put on the bus.
    uint64_t sent = 0;
    // Wall time of the start and the address claims.
    double settleWallMs = 0;

private:
    static int CountSent(void* count, N2KMsg*) {
        ++*static_cast<uint64_t*>(count);
        return 0;
    }

    struct Files {
        std::string eeprom, config;
    };
    std::vector<Files> files_;
    std::vector<std::unique_ptr<MonitorDevice>> devices_;
};

void BM_DemoDevicesInVirtualTime(benchmark::State& state) {
    DemoNetwork network(static_cast<int>(state.range(0)));
    if (!network.ok) {
        state.SkipWithError("the demo devices did not start");
        return;
    }
    unsigned long virtualMs = 0;
    const uint64_t sentBefore = network.sent;
    const auto from = std::chrono::steady_clock::now();
    for (auto _ : state) {
        network.sim.Run(kStepMs);
        virtualMs += kStepMs;
    }
    const double wallMs = 1000.0 * SecondsBetween(from, std::chrono::steady_clock::now());
    state.counters["virtual_ms_per_wall_ms"] = virtualMs / wallMs;
    state.counters["start_virtual_ms_per_wall_ms"] = kSettleMs / network.settleWallMs;
    state.counters["messages_per_virtual_s"] = 1000.0 * double(network.sent - sentBefore) / virtualMs;
}
BENCHMARK(BM_DemoDevicesInVirtualTime)
    ->ArgName("devices")
    ->Arg(1)
    ->Arg(20)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

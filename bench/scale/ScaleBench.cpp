// Networks of demo devices at the sizes users run, up to a full bus of 252:
// each freshly flashed, so all start at one address and fight for their own.
// In real time every device is an emulator with its worker thread; in virtual
// time all run in one simulation. The bus is the ideal virtual bus or the
// CAN-like one that times frames at 250 kbit/s. A run settles, then is
// measured over a steady stretch.
//
// Run one configuration per process (--benchmark_filter), so that the peak
// memory is that run's own: one benchmark per configuration, one iteration.
#include "../sim/DemoNetwork.h"

#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/Ferrow_Sim_c.h>
#include <ferrow/Ferrow_c.h>

#include <benchmark/benchmark.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr int kSizes[] = {1, 10, 50, 100, 252};
constexpr int kPaceMs = 5;
constexpr double kNominalLoopsPerSecond = 1000.0 / kPaceMs;
// How often the network is looked at for its settling.
constexpr unsigned long kCheckMs = 10;
constexpr double kBusBitsPerSecond = 250000;

struct Config {
    int devices;
    bool virtualTime;
    bool can;
    // Settling, then the steady stretch measured, in the run's own time.
    unsigned long settleMs;
    unsigned long measureMs;
};

// A /proc/self/status figure in MB; 0 when it cannot be read.
double StatusMegabytes(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, key.size() + 1, key + ":") == 0) {
            return std::stod(line.substr(key.size() + 1)) / 1024.0;
        }
    }
    return 0;
}

double ProcessCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec + now.tv_nsec * 1e-9;
}

// The network's time: a simulation's virtual clock, advanced here, or the
// wall clock, waited for.
class RunClock {
public:
    explicit RunClock(Ferrow_Sim_c* simulation) : simulation_(simulation) {}

    void Begin() { begun_ = std::chrono::steady_clock::now(); }
    unsigned long NowMs() const {
        if (simulation_ != nullptr) return simulation_->Now();
        return static_cast<unsigned long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                              std::chrono::steady_clock::now() - begun_)
                                              .count());
    }
    // On to `ms` of the run; false when the simulation refused.
    bool AdvanceTo(unsigned long ms) {
        if (simulation_ != nullptr) return ms <= NowMs() || simulation_->Run(ms - NowMs()) == 0;
        std::this_thread::sleep_until(begun_ + std::chrono::milliseconds(ms));
        return true;
    }

private:
    Ferrow_Sim_c* const simulation_;
    std::chrono::steady_clock::time_point begun_;
};

// What every device's gateway has counted, summed, and the most bus bits any
// one of them has seen: each sees the whole bus, save what it lost.
struct Snapshot {
    explicit Snapshot(DemoNetwork& network) {
        for (std::size_t i = 0; i < network.Size(); ++i) {
            FerrowGatewayStats stats{};
            network.Device(i).Emulator()->GetGatewayStats(&stats);
            messagesOut += stats.messagesOut;
            messagesIn += stats.messagesIn;
            dropped += stats.dropped;
            refused += stats.refused;
            busBits = std::max(busBits, stats.busBits);
            loops += network.Device(i).LoopCount();
        }
        cpuSeconds = ProcessCpuSeconds();
        wall = std::chrono::steady_clock::now();
    }

    uint64_t messagesOut = 0, messagesIn = 0, dropped = 0, refused = 0, busBits = 0, loops = 0;
    double cpuSeconds = 0;
    std::chrono::steady_clock::time_point wall;
};

void BM_DemoNetwork(benchmark::State& state, Config config) {
    for (auto _ : state) {
        // What the process held before the network: the rest is the devices'.
        const double baseMB = StatusMegabytes("VmRSS");
        std::unique_ptr<Ferrow_Sim_c> simulation;
        if (config.virtualTime) simulation = std::make_unique<Ferrow_Sim_c>();
        const std::string name = "scale_" + std::to_string(config.devices);
        DemoNetwork network(name, config.devices,
                            "vbus:" + name + "_" + std::to_string(::getpid()) +
                                (config.can ? ":can" : ""),
                            simulation.get());
        RunClock clock(simulation.get());
        const auto wallBegun = std::chrono::steady_clock::now();
        clock.Begin();
        if (!network.Start() || (simulation && simulation->Start(0, nullptr) != 0)) {
            state.SkipWithError("the demo devices did not start");
            break;
        }
        const Snapshot begun(network);
        long settledMs = -1;
        const auto runTo = [&](unsigned long endMs) {
            for (unsigned long ms = clock.NowMs(); ms < endMs;) {
                ms = std::min(endMs, ms + kCheckMs);
                if (!clock.AdvanceTo(ms)) return false;
                if (settledMs < 0 && network.Settled()) settledMs = static_cast<long>(clock.NowMs());
            }
            return true;
        };
        if (!runTo(config.settleMs)) {
            state.SkipWithError("the simulation refused to run");
            break;
        }
        const unsigned long steadyFromMs = clock.NowMs();
        const Snapshot from(network);
        if (!runTo(config.settleMs + config.measureMs)) {
            state.SkipWithError("the simulation refused to run");
            break;
        }
        const Snapshot to(network);
        const double seconds = (clock.NowMs() - steadyFromMs) / 1000.0;
        const double wallSeconds = SecondsBetween(from.wall, to.wall);
        const double perDeviceSecond = 1.0 / (config.devices * seconds);

        state.counters["cores"] = (to.cpuSeconds - from.cpuSeconds) / wallSeconds;
        const double peakMB = StatusMegabytes("VmHWM"), steadyMB = StatusMegabytes("VmRSS");
        state.counters["peak_MB"] = peakMB;
        state.counters["steady_MB"] = steadyMB;
        state.counters["peak_kB_per_device"] = 1024 * (peakMB - baseMB) / config.devices;
        state.counters["steady_kB_per_device"] = 1024 * (steadyMB - baseMB) / config.devices;
        state.counters["sent_per_device_s"] = (to.messagesOut - from.messagesOut) * perDeviceSecond;
        state.counters["received_per_device_s"] = (to.messagesIn - from.messagesIn) * perDeviceSecond;
        state.counters["dropped"] = static_cast<double>(to.dropped - begun.dropped);
        state.counters["dropped_steady"] = static_cast<double>(to.dropped - from.dropped);
        state.counters["refused"] = static_cast<double>(to.refused - begun.refused);
        state.counters["settle_s"] = settledMs < 0 ? -1.0 : settledMs / 1000.0;
        state.counters["duplicate_addresses"] = network.Duplicates();
        state.counters["without_address"] = network.WithoutAddress();
        state.counters["loop_rate"] =
            (to.loops - from.loops) * perDeviceSecond / kNominalLoopsPerSecond;
        state.counters["bus_load_percent"] =
            100.0 * (to.busBits - from.busBits) / seconds / kBusBitsPerSecond;
        state.counters["run_s"] = SecondsBetween(wallBegun, std::chrono::steady_clock::now());
        state.counters["settle_window_s"] = config.settleMs / 1000.0;
        state.counters["measured_s"] = seconds;
        state.SetIterationTime(wallSeconds);
    }
}

}  // namespace

int main(int argc, char** argv) {
    // Real time costs its own length, so it settles for less; a full bus
    // takes nearly 20 s to settle.
    for (const bool virtualTime : {false, true}) {
        for (const bool can : {false, true}) {
            for (const int devices : kSizes) {
                const Config config{devices, virtualTime, can, virtualTime ? 30000ul : 20000ul,
                                    10000ul};
                const std::string name = std::string("BM_DemoNetwork/") +
                                         (virtualTime ? "virtual" : "real") + "/" +
                                         (can ? "can" : "ideal") + "/devices:" +
                                         std::to_string(devices);
                benchmark::RegisterBenchmark(name.c_str(), BM_DemoNetwork, config)
                    ->Iterations(1)
                    ->UseManualTime()
                    ->Unit(benchmark::kSecond);
            }
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

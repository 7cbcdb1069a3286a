// Messages per second through the emulator's message path: the firmware's
// PutMsg, the gateway, the virtual bus and the monitor's transmit store on
// one side, GetMsg on the other.
#include "BenchEmulator.h"
#include "BenchMessage.h"

#include <ferrow/ferrow.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace {

struct Node {
    Node(const std::string& name, const std::string& bus) {
        emu = BenchEmulator(name, "GW_PORT_NAME=\"" + bus + "\"\n");
        mon = std::make_unique<Ferrow_N2K_Mon_c>(emu.get(), 0, 1024, 1);
        emu->Connect();
    }
    std::unique_ptr<Ferrow_c> emu;
    std::unique_ptr<Ferrow_N2K_Mon_c> mon;
};

// The sending side alone: stamp, gateway, bus (no other member), monitor.
void BM_PutMsg(benchmark::State& state) {
    static Node sender("alone", "vbus:bench-alone");
    N2KMsg msg = BenchMessage(static_cast<uint16_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(sender.emu->PutMsg(&msg));
        sender.mon->GetTxMsg(nullptr);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PutMsg)->Arg(8)->Arg(223);

void BM_PutMsgThroughBusToGetMsg(benchmark::State& state) {
    static Node sender("sender", "vbus:bench");
    static Node receiver("receiver", "vbus:bench");
    N2KMsg out = BenchMessage(0);
    N2KMsg msg = BenchMessage(static_cast<uint16_t>(state.range(0)));
    for (auto _ : state) {
        sender.emu->PutMsg(&msg);
        benchmark::DoNotOptimize(receiver.emu->GetMsg(&out));
        sender.mon->GetTxMsg(nullptr);
        receiver.mon->GetRxMsg(nullptr);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PutMsgThroughBusToGetMsg)->Arg(8)->Arg(223);

}  // namespace

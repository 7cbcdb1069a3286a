// Messages per second through the emulator's message path: the firmware's
// PutMsg, the gateway, the virtual bus and the monitor's transmit store on
// one side, GetMsg on the other.
#include <ferrow/ferrow.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

struct Node {
    Node(const std::string& name, const std::string& bus) {
        const auto dir = std::filesystem::temp_directory_path() / ("ferrow_bench_" + name);
        std::filesystem::create_directories(dir);
        const std::string cfg = (dir / "Ferrow.cfg").string();
        std::ofstream(cfg) << "GW_PORT_NAME=\"" << bus << "\"\n";
        emu = std::make_unique<Ferrow_c>(nullptr, nullptr, nullptr, cfg.c_str(), 0);
        mon = std::make_unique<Ferrow_N2K_Mon_c>(emu.get(), 0, 1024, 1);
        emu->Connect();
    }
    std::unique_ptr<Ferrow_c> emu;
    std::unique_ptr<Ferrow_N2K_Mon_c> mon;
};

N2KMsg Message(uint16_t length) {
    N2KMsg msg{};
    msg.pgn = length <= 8 ? 127250 : 126996;
    msg.priority = 2;
    msg.transport = length <= 8 ? 1 : 2;
    msg.length = length;
    for (uint16_t i = 0; i < length; ++i) msg.data[i] = uint8_t(i);
    return msg;
}

// The sending side alone: stamp, gateway, bus (no other member), monitor.
void BM_PutMsg(benchmark::State& state) {
    static Node sender("alone", "vbus:bench-alone");
    N2KMsg msg = Message(static_cast<uint16_t>(state.range(0)));
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
    N2KMsg out = Message(0);
    N2KMsg msg = Message(static_cast<uint16_t>(state.range(0)));
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

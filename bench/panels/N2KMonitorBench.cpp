// The monitor window at full bus load: about 1,900 messages a second each
// way, from some 40 senders of groups. What one refresh costs for a second
// of traffic, and whether an hour of it, fed as fast as it goes, leaves the
// memory where it was. Needs a display (xvfb-run).
#include <ferrow/ferrow.h>
#include <ferrow/panels/N2KMonDlg_c.h>

#include <benchmark/benchmark.h>

#include <wx/app.h>
#include <wx/init.h>
#include <wx/listctrl.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kPerSecond = 1900;
constexpr int kSecondsPerHour = 3600;
constexpr uint32_t kTicksPerSecond = 100;
constexpr unsigned long kStoreSize = 2048;

struct Sender {
    uint32_t pgn;
    uint8_t source;
    uint16_t length;
    int perSecond;
};

// Navigation, engine and environment groups at their usual rates, sent by
// two devices each, scaled so that a second holds kPerSecond messages.
std::vector<Sender> Mix() {
    const struct {
        uint32_t pgn;
        uint16_t length;
        int hz;
    } groups[] = {{127250, 8, 10}, {127251, 8, 10}, {127257, 8, 10}, {127488, 8, 10},
                  {129025, 8, 10}, {129026, 8, 4},  {130306, 8, 10}, {127245, 8, 10},
                  {127508, 8, 1},  {128259, 8, 1},  {128267, 8, 1},  {129029, 43, 1},
                  {126992, 8, 1},  {127489, 26, 2}, {130310, 8, 1},  {130312, 8, 2},
                  {127505, 8, 2},  {129539, 8, 1},  {129540, 200, 1}, {126993, 8, 1}};
    int nominal = 0;
    for (const auto& g : groups) nominal += 2 * g.hz;
    std::vector<Sender> mix;
    int total = 0;
    for (uint8_t source : {uint8_t{0x05}, uint8_t{0x30}}) {
        for (const auto& g : groups) {
            const int rate = (g.hz * kPerSecond + nominal / 2) / nominal;
            mix.push_back({g.pgn, source, g.length, rate});
            total += rate;
        }
    }
    mix.front().perSecond += kPerSecond - total;
    return mix;
}

// A monitor and a generator on an unconnected emulator that monitors every
// message it sends, and the monitor's window. The generator's queue stands
// in for the network on the receive side.
struct Rig {
    Rig() : dir(std::filesystem::temp_directory_path() / "ferrow_bench_n2kmon"), mix(Mix()) {
        std::filesystem::create_directories(dir);
        emu = std::make_unique<Ferrow_c>(nullptr, nullptr, (dir / "image.hex").c_str(),
                                         (dir / "Ferrow.cfg").c_str(), 0);
        emu->dispAllPgn = 1;
        mon = std::make_unique<Ferrow_N2K_Mon_c>(emu.get(), 0, kStoreSize, 1);
        gen = std::make_unique<Ferrow_N2K_Gen_c>(emu.get(), 0, kStoreSize, 1);
        panel = std::make_unique<N2KMonDlg_c>(nullptr, mon.get());
        panel->Create(nullptr, 10);
    }

    // One second of traffic each way, spread over the second.
    void FeedSecond() {
        N2KMsg msg{};
        N2KMsg in{};
        for (const Sender& s : mix) {
            msg.pgn = s.pgn;
            msg.priority = 2;
            msg.addressA = s.source;
            msg.addressB = 255;
            msg.length = s.length;
            msg.transport = s.length <= 8 ? 1 : 2;
            for (int i = 0; i < s.perSecond; ++i) {
                msg.data[0] = static_cast<uint8_t>(i);
                msg.timeStamp =
                    second * kTicksPerSecond + uint32_t(i) * kTicksPerSecond / s.perSecond;
                gen->PutMsg(&msg, 0);
                emu->GetMsg(&in);
                emu->PutMsg(&msg);
            }
        }
        ++second;
    }

    int Rows() const {
        return static_cast<int>(
            static_cast<wxListCtrl*>(panel->FindWindow(N2KMonDlg_c::kRxListId))->GetItemCount() +
            static_cast<wxListCtrl*>(panel->FindWindow(N2KMonDlg_c::kTxListId))->GetItemCount());
    }

    std::filesystem::path dir;
    std::vector<Sender> mix;
    std::unique_ptr<Ferrow_c> emu;
    std::unique_ptr<Ferrow_N2K_Mon_c> mon;
    std::unique_ptr<Ferrow_N2K_Gen_c> gen;
    std::unique_ptr<N2KMonDlg_c> panel;
    uint32_t second = 0;
};

double ResidentMiB() {
    long pages = 0;
    long resident = 0;
    if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(statm);
    }
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

// CPU time of the refresh that lists one second of traffic, both ways.
void BM_RefreshASecondOfFullLoad(benchmark::State& state) {
    Rig rig;
    for (auto _ : state) {
        state.PauseTiming();
        rig.FeedSecond();
        state.ResumeTiming();
        rig.panel->RefreshLists();
    }
    state.SetItemsProcessed(state.iterations() * 2 * kPerSecond);
    state.counters["rows"] = rig.Rows();
}
BENCHMARK(BM_RefreshASecondOfFullLoad)->Unit(benchmark::kMillisecond)->MinTime(5);

// An hour of traffic, a refresh after each second's worth.
void BM_AnHourOfFullLoad(benchmark::State& state) {
    Rig rig;
    rig.FeedSecond();
    rig.panel->RefreshLists();
    const double before = ResidentMiB();
    for (auto _ : state) {
        for (int s = 0; s < kSecondsPerHour; ++s) {
            rig.FeedSecond();
            rig.panel->RefreshLists();
        }
    }
    state.SetItemsProcessed(state.iterations() * 2 * kPerSecond * kSecondsPerHour);
    state.counters["rows"] = rig.Rows();
    state.counters["rss_before_MiB"] = before;
    state.counters["rss_growth_MiB"] = ResidentMiB() - before;
}
BENCHMARK(BM_AnHourOfFullLoad)->Unit(benchmark::kSecond)->Iterations(1);

}  // namespace

int main(int argc, char** argv) {
    wxApp::SetInstance(new wxApp());
    if (!wxEntryStart(argc, argv)) {
        std::fprintf(stderr, "the panels need a display: run under xvfb-run\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    wxEntryCleanup();
    return 0;
}

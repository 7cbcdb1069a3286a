// Frames per second through the frame transport replaying a recorded log of
// a million frames as fast as it is read, and the process's peak resident
// memory before and after: the log waits in its file, not in memory, so the
// peak stays flat however long the log is.
#include "net/formats/CandumpLineFormat.h"
#include "net/links/FrameTransport.h"
#include "net/links/LogReplayLink.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::FrameTransport;
using ferrow::net::LogReplayLink;

constexpr uint32_t kFrames = 1000000;

// A candump log of kFrames eight-byte frames a millisecond apart, written
// once and removed at exit.
class GeneratedLog {
public:
    GeneratedLog()
        : path_((std::filesystem::temp_directory_path() /
                 ("ferrow_replay_bench_" + std::to_string(::getpid()) + ".log"))
                    .string()) {
        std::ofstream out(path_, std::ios::binary);
        const ferrow::net::CandumpLineFormat format;
        CanFrame frame;
        frame.id = 0x09F11223;
        frame.length = CanFrame::kMaxLength;
        for (uint32_t n = 0; n < kFrames; ++n) {
            std::memcpy(frame.data.data(), &n, sizeof n);
            out << format.Format(frame, ferrow::net::LineFormat::Direction::Received,
                                 std::chrono::microseconds(1700000000000000LL + 1000LL * n));
        }
    }
    ~GeneratedLog() { std::filesystem::remove(path_); }
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

double PeakRssMiB() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

void BM_ReplayALogThroughTheFrameTransport(benchmark::State& state) {
    static const GeneratedLog log;
    const double before = PeakRssMiB();
    int64_t frames = 0;
    for (auto _ : state) {
        LogReplayLink::Options options;
        options.pace = LogReplayLink::Pace::AsFastAsPossible;
        FrameTransport replay(std::make_unique<LogReplayLink>(log.Path(), options));
        if (replay.Open() != 0) {
            state.SkipWithError("the generated log does not open");
            return;
        }
        N2KMsg msg{};
        while (replay.Fetch(msg) == N2K_OK) ++frames;
        if (replay.Dropped() != 0) state.SkipWithError("frames were dropped");
    }
    if (frames != static_cast<int64_t>(kFrames) * state.iterations()) {
        state.SkipWithError("frames went missing");
    }
    state.SetItemsProcessed(frames);
    state.counters["frames_per_s"] = benchmark::Counter(static_cast<double>(frames),
                                                        benchmark::Counter::kIsRate);
    state.counters["peak_rss_before_MiB"] = before;
    state.counters["peak_rss_MiB"] = PeakRssMiB();
}
BENCHMARK(BM_ReplayALogThroughTheFrameTransport)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

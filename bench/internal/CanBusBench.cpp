// Frames a second through the CAN-like bus in virtual time, with 10 and 252
// members: each iteration is one millisecond of a simulation, in which two
// members hand the wire a frame (more than it carries, so it runs full) and
// every member takes what it heard, as gateways polled by a simulation's
// loop do. Each frame reaches every member but its sender, so the cost
// grows with the members; `wire_s_per_s` is how much faster than real time
// the bus alone runs.
#include "net/vbus/CanBusLink.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using ferrow::net::CanBusLink;
using ferrow::net::CanFrame;

void BM_CanBusWire(benchmark::State& state) {
    const auto members = static_cast<std::size_t>(state.range(0));
    const auto clock = std::make_shared<ferrow::platform::VirtualClock>();
    std::vector<std::unique_ptr<CanBusLink>> links;
    std::string error;
    for (std::size_t i = 0; i < members; ++i) {
        links.push_back(std::make_unique<CanBusLink>("bench" + std::to_string(members), clock));
        if (links.back()->Open(error) != 0) {
            state.SkipWithError(error.c_str());
            return;
        }
    }
    CanFrame frame;
    frame.length = CanFrame::kMaxLength;
    CanFrame heard;
    uint64_t ms = 0;
    int64_t deliveries = 0;
    for (auto _ : state) {
        clock->Set(++ms);
        for (std::size_t sender : {(2 * ms) % members, (2 * ms + 1) % members}) {
            frame.id = 0x09F10D00 | static_cast<uint32_t>(sender);
            std::memcpy(frame.data.data(), &ms, sizeof ms);
            links[sender]->Send(frame);
        }
        for (const auto& link : links) {
            while (link->Receive(heard)) ++deliveries;
        }
    }
    const double carried = static_cast<double>(links.front()->Bus()->Carried());
    state.counters["frames_per_s"] = benchmark::Counter(carried, benchmark::Counter::kIsRate);
    state.counters["deliveries_per_s"] =
        benchmark::Counter(static_cast<double>(deliveries), benchmark::Counter::kIsRate);
    state.counters["wire_s_per_s"] = benchmark::Counter(ms / 1000.0, benchmark::Counter::kIsRate);
    state.counters["load_pct"] = links.front()->Bus()->Load();
}
BENCHMARK(BM_CanBusWire)->Arg(10)->Arg(252)->Unit(benchmark::kMicrosecond);

}  // namespace

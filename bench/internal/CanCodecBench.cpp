// Frames per second through the CAN framing codec: a single frame and a
// 223-byte fast packet, encoded from a record and decoded back into one.
#include "../BenchMessage.h"
#include "net/can/N2KCanCodec.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::N2KCanCodec;

void BM_Encode(benchmark::State& state) {
    N2KCanCodec codec;
    const N2KMsg msg = BenchMessage(static_cast<uint16_t>(state.range(0)));
    std::vector<CanFrame> frames;
    int64_t encoded = 0;
    for (auto _ : state) {
        frames.clear();
        benchmark::DoNotOptimize(codec.Send(msg, std::chrono::milliseconds(0), frames));
        encoded += static_cast<int64_t>(frames.size());
    }
    state.SetItemsProcessed(encoded);
}
BENCHMARK(BM_Encode)->Arg(8)->Arg(223);

void BM_Decode(benchmark::State& state) {
    N2KCanCodec sender;
    N2KCanCodec receiver;
    std::vector<CanFrame> frames;
    sender.Send(BenchMessage(static_cast<uint16_t>(state.range(0))), std::chrono::milliseconds(0), frames);
    std::vector<CanFrame> replies;
    N2KMsg msg{};
    int64_t decoded = 0;
    for (auto _ : state) {
        for (const CanFrame& frame : frames) {
            benchmark::DoNotOptimize(receiver.Receive(frame, std::chrono::milliseconds(0), msg, replies));
        }
        decoded += static_cast<int64_t>(frames.size());
    }
    state.SetItemsProcessed(decoded);
}
BENCHMARK(BM_Decode)->Arg(8)->Arg(223);

}  // namespace

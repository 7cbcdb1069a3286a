// The serial gateway: messages per second through a pseudo-terminal round
// trip (our transport sends, the simulated gateway echoes, our transport
// receives), and the frame decoder's throughput on a stream of messages of
// every length.
#include "../BenchMessage.h"
#include "net/serial/DleFrameDecoder.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialMessageCodec.h"
#include "net/serial/SerialTransport.h"
#include "tests/net/serial/SerialGatewayRig.h"

#include <benchmark/benchmark.h>

#include <thread>
#include <vector>

namespace {

using ferrow::net::DleFrameDecoder;
using ferrow::net::DleFrameEncoder;
using ferrow::net::SerialMessageCodec;
using ferrow::net::SerialTransport;

// Messages in flight at once: enough to keep both ends busy.
constexpr int64_t kWindow = 256;

void BM_PtyRoundTrip(benchmark::State& state) {
    ferrow::test::Pty pty;
    ferrow::test::SimulatedGateway gateway(pty);
    SerialTransport transport(pty.Path(), 115200);
    if (transport.Open() != 0) {
        state.SkipWithError("cannot open the pseudo-terminal");
        return;
    }
    const N2KMsg msg = BenchMessage(static_cast<uint16_t>(state.range(0)));
    N2KMsg echo{};
    int64_t sent = 0;
    int64_t received = 0;
    for (auto _ : state) {
        while (sent - received < kWindow && transport.Send(msg) == N2K_OK) ++sent;
        while (received < sent) {
            if (transport.Fetch(echo) == N2K_OK) {
                ++received;
                break;
            }
            std::this_thread::yield();
        }
    }
    state.SetItemsProcessed(received);
}
BENCHMARK(BM_PtyRoundTrip)->Arg(8)->Arg(223)->UseRealTime();

void BM_DecodeFrames(benchmark::State& state) {
    std::vector<uint8_t> stream;
    std::vector<uint8_t> payload;
    for (uint16_t length = 0; length <= SerialMessageCodec::kMaxReceivedData; ++length) {
        payload.clear();
        SerialMessageCodec::EncodeReceived(BenchMessage(length), 0, payload);
        DleFrameEncoder::Append(SerialMessageCodec::kReceivedCommand, payload.data(), payload.size(),
                                stream);
    }
    DleFrameDecoder decoder;
    int64_t frames = 0;
    for (auto _ : state) {
        const uint8_t* cursor = stream.data();
        while (const auto frame = decoder.Next(cursor, stream.data() + stream.size())) {
            benchmark::DoNotOptimize(frame->payload);
            ++frames;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
    state.SetItemsProcessed(frames);
}
BENCHMARK(BM_DecodeFrames);

}  // namespace

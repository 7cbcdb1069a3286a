// Messages per second from CAN frames to decoded JSON: our codec reassembles
// them and FerrowDecodeN2K writes every field. The frames are those canboatjs
// decodes in tests/peer/decode_speed.js (`single` and `fast`), whose
// messages per second the performance report sets beside these.
#include "net/can/N2KCanCodec.h"

#include <ferrow/N2KDecode.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::N2KCanCodec;

class Payload {
public:
    Payload& Le(int64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) msg_.data[msg_.length++] = uint8_t(uint64_t(value) >> (8 * i));
        return *this;
    }
    N2KMsg Message(uint32_t pgn, uint8_t priority) {
        msg_.pgn = pgn;
        msg_.priority = priority;
        msg_.addressA = 0x23;
        msg_.addressB = 255;
        msg_.transport = msg_.length <= 8 ? 1 : 2;
        return msg_;
    }

private:
    N2KMsg msg_{};
};

// 127250 Vessel Heading: sid, heading 1.2345 rad, deviation not available,
// variation -0.03 rad, magnetic.
N2KMsg Heading() {
    return Payload().Le(0x12, 1).Le(12345, 2).Le(0x7FFF, 2).Le(-300, 2).Le(0xFD, 1).Message(127250, 2);
}

// 129029 GNSS Position Data: the 43 bytes of a fix, then 45 reference
// stations of 4 bytes (223 bytes, 32 frames).
N2KMsg Position() {
    Payload p;
    p.Le(7, 1).Le(19675, 2).Le(360005000, 4).Le(521234567890000000LL, 8);
    p.Le(-45000000000000000LL, 8).Le(12500000, 8).Le(0x10, 1).Le(0xFC, 1).Le(9, 1);
    p.Le(80, 2).Le(150, 2).Le(4700, 4).Le(45, 1);
    for (int i = 0; i < 45; ++i) p.Le(i << 4 | 1, 2).Le(100 + i, 2);
    return p.Message(129029, 3);
}

void BM_DecodeFieldsFromFrames(benchmark::State& state) {
    if (FerrowLoadPgnDatabase(nullptr) != 0) {
        state.SkipWithError("no PGN database: run data/pgns/install.sh");
        return;
    }
    const N2KMsg sent = state.range(0) == 8 ? Heading() : Position();
    N2KCanCodec sender;
    N2KCanCodec receiver;
    std::vector<CanFrame> frames;
    sender.Send(sent, std::chrono::milliseconds(0), frames);
    std::vector<CanFrame> replies;
    std::vector<char> json(64 * 1024);
    N2KMsg msg{};
    int64_t decoded = 0;
    for (auto _ : state) {
        for (const CanFrame& frame : frames) {
            if (receiver.Receive(frame, std::chrono::milliseconds(0), msg, replies) &&
                FerrowDecodeN2K(&msg, json.data(), int(json.size())) > 0) {
                ++decoded;
            }
        }
    }
    if (decoded != int64_t(state.iterations())) state.SkipWithError("a message did not decode");
    state.SetItemsProcessed(decoded);
    state.counters["frames_per_message"] = double(frames.size());
}
BENCHMARK(BM_DecodeFieldsFromFrames)->Arg(8)->Arg(223);

}  // namespace

// Fuzz target for the CAN framing codec's receiving side. The input is a run
// of frames, any identifier and any length, with the time moving on between
// them; a peer's connection is open so that its answers reach the sending
// side too. Every message that comes out must fit its transport and be one
// the codec would send again; every frame it answers with must be a frame.
#include "net/can/N2KCanCodec.h"

#include "fuzz/FuzzSeeds.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::N2KCanCodec;
using std::chrono::milliseconds;

constexpr uint8_t kOwn = 0x42;
constexpr uint8_t kPeer = 0x01;
// Every input byte is XORed with this first, so seed texts need no NUL.
constexpr uint8_t kMask = 0xA5;
constexpr uint8_t kRawId = 7;

// PGNs the selector byte picks from, to reach every path without luck:
// transport control and data, fast packets global and addressed, single
// frames global and addressed, a proprietary fast packet.
constexpr uint32_t kPgns[kRawId] = {60416, 60160, 129029, 126208, 127250, 59904, 130816};
constexpr uint8_t kSources[4] = {kPeer, 0x02, 0x03, kOwn};
constexpr milliseconds kSteps[4] = {milliseconds(0), milliseconds(50), milliseconds(800),
                                    milliseconds(1300)};

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "can_frames_fuzz: %s\n", what);
    std::abort();
}

class Input {
public:
    Input(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool Empty() const { return at_ >= size_; }
    uint8_t Next() { return at_ < size_ ? data_[at_++] ^ kMask : 0; }

private:
    const uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

// Selector: bits 0-2 the PGN (7: a raw identifier follows), bits 3-4 the
// source, bit 5 a global or our own destination, bits 6-7 the time step.
// Then the length (low four bits, so past 8 too) and up to 8 data bytes.
CanFrame NextFrame(Input& input, milliseconds& now) {
    const uint8_t selector = input.Next();
    now += kSteps[selector >> 6];
    CanFrame frame;
    if ((selector & 7) == kRawId) {
        for (int i = 0; i < 4; ++i) frame.id = frame.id << 8 | input.Next();
    } else {
        const uint32_t pgn = kPgns[selector & 7];
        const uint8_t destination = selector & 0x20 ? 255 : kOwn;
        const uint32_t specific = ((pgn >> 8) & 0xFF) < 240 ? destination : (pgn & 0xFF);
        frame.id = 6u << 26 | (pgn & ~0xFFu) << 8 | specific << 8 | kSources[(selector >> 3) & 3];
    }
    frame.length = input.Next() & 0x0F;
    for (uint8_t i = 0; i < frame.length && i < CanFrame::kMaxLength; ++i) {
        frame.data[i] = input.Next();
    }
    return frame;
}

void CheckMessage(const N2KMsg& msg, N2KCanCodec& echo) {
    Require(msg.priority <= 7, "priority past 7");
    Require(msg.transport >= 1 && msg.transport <= 3, "unknown transport");
    const unsigned most[] = {0, 8, 223, 1785};
    Require(msg.length <= most[msg.transport], "length past its transport");
    Require(msg.transport != 3 || msg.length >= 9, "ISO transport of fewer than 9 bytes");
    std::vector<CanFrame> frames;
    const N2KStatus status = echo.Send(msg, milliseconds(0), frames);
    Require(status == N2K_OK || status == N2K_TX_BUSY, "delivered message cannot be sent");
}

void CheckFrames(const std::vector<CanFrame>& frames) {
    Require(frames.size() <= 256, "more answers than one transfer has frames");
    for (const CanFrame& frame : frames) {
        Require(frame.length <= CanFrame::kMaxLength, "answer longer than a frame");
        Require(frame.id <= CanFrame::kIdMask, "answer identifier past 29 bits");
    }
}

// Past a fast packet's 223 bytes, so that it goes over an ISO connection
// whatever the PGN's framing.
std::vector<uint8_t> ConnectionPayload() { return std::vector<uint8_t>(300, 0x3C); }

void OpenConnection(N2KCanCodec& codec, std::vector<CanFrame>& frames) {
    N2KMsg msg{};
    msg.pgn = 126208;
    msg.priority = 3;
    msg.addressA = kOwn;
    msg.addressB = kPeer;
    msg.transport = 3;
    const std::vector<uint8_t> payload = ConnectionPayload();
    msg.length = static_cast<uint16_t>(payload.size());
    std::copy(payload.begin(), payload.end(), msg.data);
    Require(codec.Send(msg, milliseconds(0), frames) == N2K_OK, "connection refused");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    N2KCanCodec codec(kOwn);
    N2KCanCodec echo(kOwn);
    std::vector<CanFrame> frames;
    OpenConnection(codec, frames);
    Input input(data, size);
    milliseconds now(0);
    N2KMsg msg{};
    while (!input.Empty()) {
        const CanFrame frame = NextFrame(input, now);
        frames.clear();
        if (codec.Receive(frame, now, msg, frames)) CheckMessage(msg, echo);
        CheckFrames(frames);
        frames.clear();
        codec.Expire(now, frames);
        CheckFrames(frames);
    }
    return 0;
}

// Seeds: whole transfers as the codec itself frames them (a fast packet, a
// broadcast, a connection to us with its packets, CTS frames for the
// connection the target opens), then the same with frames lost, repeated and
// late.
namespace {

void Put(std::string& seed, uint8_t byte) { seed.push_back(static_cast<char>(byte ^ kMask)); }

void PutFrame(std::string& seed, const CanFrame& frame, uint8_t step = 0) {
    Put(seed, static_cast<uint8_t>(kRawId | step << 6));
    for (int shift = 24; shift >= 0; shift -= 8) Put(seed, static_cast<uint8_t>(frame.id >> shift));
    Put(seed, frame.length);
    for (uint8_t i = 0; i < frame.length; ++i) Put(seed, frame.data[i]);
}

std::vector<CanFrame> FramesOf(uint32_t pgn, uint8_t source, uint8_t destination,
                               uint8_t transport, uint16_t length) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 6;
    msg.addressA = source;
    msg.addressB = destination;
    msg.transport = transport;
    msg.length = length;
    // Byte values clear of the mask, so that no seed byte becomes a NUL.
    for (uint16_t i = 0; i < length; ++i) msg.data[i] = static_cast<uint8_t>(1 + i % 0x7F);
    // What the sender puts on the bus while a receiver at the destination
    // answers it.
    N2KCanCodec sender(source);
    N2KCanCodec receiver(destination);
    std::vector<CanFrame> sent;
    std::vector<CanFrame> batch;
    sender.Send(msg, milliseconds(0), batch);
    while (!batch.empty()) {
        sent.insert(sent.end(), batch.begin(), batch.end());
        std::vector<CanFrame> answers;
        N2KMsg got{};
        for (const CanFrame& frame : batch) receiver.Receive(frame, milliseconds(0), got, answers);
        batch.clear();
        for (const CanFrame& frame : answers) sender.Receive(frame, milliseconds(0), got, batch);
    }
    return sent;
}

std::string Seed(const std::vector<CanFrame>& frames, std::size_t skip = ~std::size_t{0},
                 std::size_t repeat = ~std::size_t{0}, uint8_t step = 0) {
    std::string seed;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (i == skip) continue;
        PutFrame(seed, frames[i], i + 1 == frames.size() ? step : 0);
        if (i == repeat) PutFrame(seed, frames[i]);
    }
    return seed;
}

CanFrame PeerControl(uint8_t code, uint8_t first, uint8_t second) {
    CanFrame frame;
    frame.id = 7u << 26 | 0xEC00u << 8 | uint32_t{kOwn} << 8 | kPeer;
    frame.length = CanFrame::kMaxLength;
    frame.data = {code, first, second, 0xFF, 0xFF, 0x00, 0xED, 0x01};
    return frame;
}

}  // namespace

extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = [] {
        const auto fast = FramesOf(129029, 0x02, 255, 2, 40);
        const auto longFast = FramesOf(130816, 0x03, 255, 2, 223);
        const auto broadcast = FramesOf(129540, 0x02, 255, 3, 60);
        const auto toUs = FramesOf(126208, 0x03, kOwn, 3, 40);
        std::vector<std::string> seeds = {
            Seed(fast),
            Seed(longFast),
            Seed(broadcast),
            Seed(toUs),
            Seed(fast, 2),
            Seed(fast, ~std::size_t{0}, 3),
            Seed(broadcast, 4),
            Seed(toUs, 3),
            Seed(toUs, ~std::size_t{0}, 2),
            Seed(fast, ~std::size_t{0}, ~std::size_t{0}, 2),
            Seed({PeerControl(0x11, 0x08, 0x01), PeerControl(0x11, 0x07, 0x09),
                  PeerControl(0x13, 0x64, 0x01)}),
            Seed({PeerControl(0x11, 0x03, 0x02), PeerControl(0x11, 0x01, 0x01)}) +
                Seed(fast) + Seed({PeerControl(0xFF, 0x03, 0xFF)}),
        };
        std::string mixed;
        for (std::size_t i = 0; i < longFast.size(); ++i) {
            PutFrame(mixed, longFast[i]);
            if (i < broadcast.size()) PutFrame(mixed, broadcast[i]);
            if (i < fast.size()) PutFrame(mixed, fast[i], i % 3 == 2 ? 1 : 0);
        }
        seeds.push_back(mixed);
        return seeds;
    }();
    return ferrow::fuzz::SeedPointers(texts);
}

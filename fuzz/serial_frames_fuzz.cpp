// Fuzz target for the serial gateway's framing and messages. The first input
// byte sets how the rest, the bytes from a device, is cut into chunks. The
// decoder must find the same frames however the bytes are cut; every byte
// must be in a frame or counted as discarded; every frame, written again,
// must read back alone and unchanged; and a payload either message reader
// accepts must write and read back as the same message.
#include "net/serial/DleFrameDecoder.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialMessageCodec.h"

#include "fuzz/FuzzSeeds.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using ferrow::net::DleFrameDecoder;
using ferrow::net::DleFrameEncoder;
using ferrow::net::SerialMessageCodec;
using Bytes = std::vector<uint8_t>;
using Frames = std::vector<std::pair<uint8_t, Bytes>>;

// Every input byte is XORed with this first, so seed texts need no NUL.
constexpr uint8_t kMask = 0xA5;

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void Require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "serial_frames_fuzz: %s\n", what);
    std::abort();
}

// Decodes `stream` in chunks whose sizes cycle from `step`, each chunk in an
// allocation of exactly its size so that the address sanitizer sees a read
// past it. Bytes still pending at the end are counted by Reset.
Frames Decode(const Bytes& stream, unsigned step, DleFrameDecoder& decoder) {
    Frames frames;
    std::size_t at = 0;
    unsigned size = step;
    while (at < stream.size()) {
        const std::size_t length = std::min<std::size_t>(size, stream.size() - at);
        const auto chunk = std::make_unique<uint8_t[]>(length);
        std::memcpy(chunk.get(), stream.data() + at, length);
        const uint8_t* cursor = chunk.get();
        while (const auto frame = decoder.Next(cursor, chunk.get() + length)) {
            Require(frame->length <= DleFrameDecoder::kMaxPayload, "payload over 255 bytes");
            frames.emplace_back(frame->command, Bytes(frame->payload, frame->payload + frame->length));
        }
        Require(cursor == chunk.get() + length, "a chunk not wholly consumed");
        at += length;
        size = size * 7 % 61 + 1;
    }
    decoder.Reset();
    return frames;
}

Bytes Encode(uint8_t command, const Bytes& payload) {
    Bytes out;
    DleFrameEncoder::Append(command, payload.data(), payload.size(), out);
    return out;
}

bool Same(const N2KMsg& a, const N2KMsg& b) {
    return a.pgn == b.pgn && a.priority == b.priority && a.addressA == b.addressA &&
           a.addressB == b.addressB && a.transport == b.transport && a.length == b.length &&
           std::memcmp(a.data, b.data, a.length) == 0;
}

void CheckMessages(const Bytes& payload) {
    N2KMsg msg{};
    if (SerialMessageCodec::DecodeSend(payload.data(), payload.size(), msg)) {
        Bytes again;
        Require(SerialMessageCodec::EncodeSend(msg, again) == N2K_OK, "a sent message does not write");
        N2KMsg back{};
        Require(SerialMessageCodec::DecodeSend(again.data(), again.size(), back) && Same(msg, back),
                "a sent message changed through write and read");
    }
    uint32_t gatewayMs = 0;
    if (SerialMessageCodec::DecodeReceived(payload.data(), payload.size(), msg, gatewayMs)) {
        Bytes again;
        Require(SerialMessageCodec::EncodeReceived(msg, gatewayMs, again) == N2K_OK,
                "a received message does not write");
        N2KMsg back{};
        uint32_t backMs = 0;
        Require(SerialMessageCodec::DecodeReceived(again.data(), again.size(), back, backMs) &&
                    Same(msg, back) && backMs == gatewayMs,
                "a received message changed through write and read");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const unsigned step = (data[0] ^ kMask) % 64 + 1;
    Bytes stream(size - 1);
    for (std::size_t i = 1; i < size; ++i) stream[i - 1] = data[i] ^ kMask;

    DleFrameDecoder whole;
    const Frames frames = Decode(stream, static_cast<unsigned>(stream.size() + 1), whole);
    DleFrameDecoder cut;
    Require(Decode(stream, step, cut) == frames, "the chunks changed the frames");
    Require(cut.GetCounters().discardedBytes == whole.GetCounters().discardedBytes &&
                cut.GetCounters().discardedFrames == whole.GetCounters().discardedFrames,
            "the chunks changed the counts");
    Require(whole.GetCounters().frames == frames.size(), "frames miscounted");

    std::size_t framed = 0;
    for (const auto& [command, payload] : frames) {
        const Bytes written = Encode(command, payload);
        framed += written.size();
        DleFrameDecoder again;
        Require(Decode(written, static_cast<unsigned>(written.size()), again) ==
                        Frames{{command, payload}} &&
                    again.GetCounters().discardedBytes == 0,
                "a frame written again does not read back alone");
        CheckMessages(payload);
    }
    Require(framed + whole.GetCounters().discardedBytes == stream.size(),
            "bytes neither in a frame nor counted as discarded");
    return 0;
}

// Seed texts for the standalone driver: messages both ways, DLE bytes in
// every field, and the faults the decoder recovers from.
extern "C" const char* const* FerrowFuzzSeeds() {
    static const std::vector<std::string> texts = [] {
        const Bytes heading = {0x02, 0x12, 0xF1, 0x01, 0xFF, 0x23, 0x78, 0x56, 0x34, 0x12,
                               0x08, 0x01, 0x39, 0x30, 0xFF, 0x7F, 0xD4, 0xFE, 0xFD};
        const Bytes sent = {0x03, 0x10, 0xF0, 0x01, 0xFF, 0x03, 0x10, 0x10, 0x10};
        Bytes dles(15, 0x10);
        dles.push_back(0x5C);
        const Bytes startup = {0x11, 0x02, 0x03};
        const std::vector<Bytes> streams = {
            Bytes{0x07} + Encode(0x93, heading) + Encode(0x94, sent),
            Bytes{0x01} + Encode(0x94, dles) + Bytes{0x10, 0x41} + Encode(0xA0, startup),
            Bytes{0x03} + Bytes{0x10, 0x02, 0x94, 0x0E, 0x03, 0x10} + Encode(0x93, heading),
            Bytes{0x10} + Bytes{0x10, 0x02, 0x94, 0x01, 0x6C, 0x10, 0x10, 0x03} + Encode(0x94, sent),
            Bytes{0x3F} + Encode(0x93, Bytes(244 + 11, 0x10)) + Bytes{0x10, 0x02, 0x10, 0x03},
        };
        std::vector<std::string> masked;
        for (const Bytes& stream : streams) {
            std::string text;
            for (uint8_t byte : stream) text.push_back(static_cast<char>(byte ^ kMask));
            masked.push_back(text);
        }
        return masked;
    }();
    return ferrow::fuzz::SeedPointers(texts);
}

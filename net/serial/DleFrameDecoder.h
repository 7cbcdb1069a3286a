// Cuts the byte stream of a serial NMEA 2000 gateway into its frames:
//   DLE STX <command> <length> <payload...> <checksum> DLE ETX
// with every DLE between the markers doubled, and the checksum making the
// sum of command, length, payload and checksum 0 modulo 256. Bytes may come
// in chunks of any size. A frame that fails (a bad checksum, a length that
// disagrees with its payload, a lone DLE, more bytes than any frame holds)
// is discarded and counted, and the decoder hunts again from just after its
// DLE STX: a good frame whose start the faulty one swallowed (after a lone
// DLE that made its DLE STX look like a doubled DLE) is still found. A new
// DLE STX inside a frame abandons it for the new one. Pure and unlocked; its
// memory is fixed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace ferrow::net {

class DleFrameDecoder {
public:
    static constexpr uint8_t kDle = 0x10;
    static constexpr uint8_t kStx = 0x02;
    static constexpr uint8_t kEtx = 0x03;
    static constexpr std::size_t kMaxPayload = 255;

    struct Frame {
        uint8_t command;
        const uint8_t* payload;  // valid until the next call to Next or Reset
        uint8_t length;
    };

    struct Counters {
        uint64_t frames = 0;          // delivered
        uint64_t discardedFrames = 0;  // begun with DLE STX, then found faulty
        // Every byte received that no delivered frame holds, markers included.
        uint64_t discardedBytes = 0;
    };

    // Consumes bytes from `cursor` up to `end` until a frame is complete, and
    // returns it with `cursor` just past its DLE ETX; nullopt once the bytes
    // run out first.
    std::optional<Frame> Next(const uint8_t*& cursor, const uint8_t* end);
    // Forgets a frame half received and the bytes left to hunt through, as
    // after reopening the device; they count as discarded.
    void Reset();
    const Counters& GetCounters() const { return counters_; }

private:
    enum class State { Hunting, HuntingDle, InFrame, InFrameDle };
    static constexpr std::size_t kMaxBody = kMaxPayload + 3;
    // DLE STX, every body byte doubled, and the two bytes that overflow it.
    static constexpr std::size_t kMaxWire = 2 + 2 * kMaxBody + 2;

    std::optional<Frame> Take(uint8_t byte);
    void BeginFrame();
    // Gives up the frame under way and hunts through its bytes after DLE STX.
    void Reject();
    // The frame just closed by DLE ETX, if its length and checksum hold.
    std::optional<Frame> Finish();

    // Command, length, payload and checksum.
    std::array<uint8_t, kMaxBody> body_{};
    std::size_t bodySize_ = 0;
    // The frame under way as received, from its DLE STX.
    std::array<uint8_t, kMaxWire> wire_{};
    std::size_t wireSize_ = 0;
    // Bytes of rejected frames still to hunt through, before any new ones.
    std::array<uint8_t, kMaxWire> replay_{};
    std::size_t replayBegin_ = 0;
    std::size_t replayEnd_ = 0;
    State state_ = State::Hunting;
    Counters counters_;
};

}  // namespace ferrow::net

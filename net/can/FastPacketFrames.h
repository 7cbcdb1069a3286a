// Where the bytes of an NMEA 2000 fast-packet message sit in its frames.
// Every frame opens with the sequence id (top 3 bits) and the frame counter
// (low 5 bits); frame 0 then holds the total length and the first 6 bytes,
// each later frame the next 7, so 32 frames carry at most 223 bytes.
#pragma once

#include "net/can/CanFrame.h"

#include <cstddef>
#include <cstdint>

namespace ferrow::net {

class FastPacketFrames {
public:
    static constexpr uint16_t kMaxLength = 223;
    static constexpr uint8_t kPadding = 0xFF;

    static unsigned FramesFor(uint16_t length);
    // Where frame `counter`'s payload starts in the frame, and in the message.
    static std::size_t HeaderOf(unsigned counter) { return counter == 0 ? 2 : 1; }
    static std::size_t OffsetOf(unsigned counter);
    // Payload bytes that frame `counter` of a `length`-byte message carries.
    static std::size_t BytesIn(unsigned counter, uint16_t length);

    static uint8_t SequenceOf(const CanFrame& frame) { return frame.data[0] >> 5; }
    static uint8_t CounterOf(const CanFrame& frame) { return frame.data[0] & 0x1F; }
};

}  // namespace ferrow::net

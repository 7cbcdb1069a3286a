// How a message travels on a CAN bus: the one place that decides it, for the
// codec, the virtual bus and the recordings alike, so that a message one
// network takes every other takes too, framed the same way.
#pragma once

#include "net/can/CanFrame.h"

#include <ferrow/N2KMsg.h>

#include <cstdint>
#include <optional>

namespace ferrow::net {

class Framing {
public:
    // The record's transport values.
    static constexpr uint8_t kSingleFrame = 1;
    static constexpr uint8_t kFastPacket = 2;
    static constexpr uint8_t kIsoTransport = 3;

    // The transport that carries `msg`: the PGN's own where the standard
    // fixes it (FastPacketPgns), else the record's (2 a fast packet, any
    // other value a single frame); ISO transport past what that framing
    // holds (8 bytes, 223), which receivers reassemble for any PGN. None for
    // what no CAN network carries: a priority above 7, a PGN no identifier
    // carries, more than 1,785 bytes.
    static std::optional<uint8_t> For(const N2KMsg& msg);
    // The same choice for a PGN and a length alone, unchecked.
    static uint8_t Choose(uint32_t pgn, unsigned length, uint8_t transport);

    // The frames that carry `length` bytes by `transport`, ISO transport as
    // a broadcast (its announcement and data packets), and their bits.
    static unsigned FramesOf(uint8_t transport, uint16_t length);
    static uint64_t BitsOf(uint8_t transport, uint16_t length);
    // Nominal bits of a frame with a 29-bit identifier, stuff bits left out:
    // 67 of framing (start, arbitration, control, CRC, acknowledgement, end
    // of frame, interframe space) and eight per data byte.
    static constexpr uint64_t BitsOf(const CanFrame& frame) { return 67 + 8u * frame.length; }
};

}  // namespace ferrow::net

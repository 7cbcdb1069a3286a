// How long a frame holds a 250 kbit/s CAN bus: the bits of a data frame with
// a 29-bit identifier as they go on the wire, from its start of frame to the
// end of the interframe space, stuff bits counted exactly.
#pragma once

#include "net/can/CanFrame.h"

#include <cstdint>

namespace ferrow::net {

class CanBitTiming {
public:
    static constexpr uint32_t kBitsPerSecond = 250000;
    static constexpr uint64_t kMicrosPerBit = 1000000 / kBitsPerSecond;

    // The nominal bits (Framing::BitsOf) and the stuff bits. A length past
    // eight counts as eight, as a controller sends it.
    static unsigned WireBits(const CanFrame& frame);
    // The bits a transmitter inserts: one after every five equal bits from
    // the start of frame to the end of the CRC, itself the first of the next
    // five.
    static unsigned StuffBits(const CanFrame& frame);
    // No frame of `length` bytes takes more: of its 54 + 8 * length stuffed
    // bits the first stuff bit needs five, every later one four more.
    static constexpr unsigned MostBits(unsigned length) {
        return 67 + 8 * length + (54 + 8 * length - 1) / 4;
    }
};

}  // namespace ferrow::net

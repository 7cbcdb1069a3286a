// Which PGNs the standard fixes as NMEA 2000 fast packets, and which as
// single frames. A frame of any PGN that is not a fast packet is a whole
// message, whatever its first byte looks like.
#pragma once

#include <cstdint>

namespace ferrow::net {

class FastPacketPgns {
public:
    static bool Contains(uint32_t pgn);
    // A PGN whose messages of up to eight bytes travel as one frame.
    static bool IsSingleFrame(uint32_t pgn);
    // How a message of `pgn` and `length` bytes travels on the bus, as the
    // records' transport field says it: 1 one frame, 2 fast packet (up to
    // 223 bytes), 3 ISO transport. A PGN of neither table goes as a single
    // frame up to eight bytes.
    static uint8_t TransportFor(uint32_t pgn, unsigned length);
};

}  // namespace ferrow::net

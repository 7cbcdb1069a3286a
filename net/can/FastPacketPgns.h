// Which PGNs travel as NMEA 2000 fast packets. A frame of any other PGN is a
// whole message, whatever its first byte looks like.
#pragma once

#include <cstdint>

namespace ferrow::net {

class FastPacketPgns {
public:
    static bool Contains(uint32_t pgn);
    // How a message of `pgn` and `length` bytes travels on the bus, as the
    // records' transport field says it: 1 one frame, 2 fast packet (up to
    // 223 bytes), 3 ISO transport.
    static uint8_t TransportFor(uint32_t pgn, unsigned length);
};

}  // namespace ferrow::net

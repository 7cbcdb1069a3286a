// Which PGNs travel as NMEA 2000 fast packets. A frame of any other PGN is a
// whole message, whatever its first byte looks like.
#pragma once

#include <cstdint>

namespace ferrow::net {

class FastPacketPgns {
public:
    static bool Contains(uint32_t pgn);
};

}  // namespace ferrow::net

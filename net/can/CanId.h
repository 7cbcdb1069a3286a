// The fields of the 29-bit identifier NMEA 2000 takes from ISO 11783 and SAE
// J1939: priority in bits 26-28, the PGN's two data page bits and its PDU
// format byte in bits 16-25, the PDU specific byte in bits 8-15 and the source
// address below. Below PDU format 240 (PDU1) the PDU specific byte carries the
// destination and the PGN's low byte is 0; from 240 on (PDU2) it is part of
// the PGN and every message is global.
#pragma once

#include <cstdint>

namespace ferrow::net {

struct CanId {
    static constexpr uint8_t kGlobal = 255;
    // The address of a node that has not claimed one: it takes part in no
    // connection.
    static constexpr uint8_t kNullAddress = 254;
    static constexpr uint8_t kMaxPriority = 7;
    static constexpr uint32_t kMaxPgn = 0x3FFFF;

    uint8_t priority = 0;
    uint32_t pgn = 0;
    uint8_t source = 0;
    // kGlobal for every PDU2 PGN, whatever is written here.
    uint8_t destination = kGlobal;

    static constexpr bool IsPdu1(uint32_t pgn) { return ((pgn >> 8) & 0xFF) < 240; }

    // Any identifier decodes; bits above the 29th are ignored.
    static CanId Decode(uint32_t id);
    // False for a priority above 7, a PGN wider than 18 bits, or a PDU1 PGN
    // whose low byte is not 0: no identifier carries those.
    bool Valid() const;
    // The identifier of a valid id.
    uint32_t Encode() const;
};

}  // namespace ferrow::net

// Packing and unpacking the 29-bit NMEA 2000 identifier.
#include "net/can/CanId.h"

#include "net/can/CanFrame.h"

namespace ferrow::net {

CanId CanId::Decode(uint32_t id) {
    CanId out;
    out.priority = static_cast<uint8_t>((id >> 26) & kMaxPriority);
    out.source = static_cast<uint8_t>(id & 0xFF);
    const uint32_t pgn = (id >> 8) & kMaxPgn;
    if (IsPdu1(pgn)) {
        out.pgn = pgn & ~0xFFu;
        out.destination = static_cast<uint8_t>(pgn & 0xFF);
    } else {
        out.pgn = pgn;
        out.destination = kGlobal;
    }
    return out;
}

bool CanId::Valid() const {
    if (priority > kMaxPriority || pgn > kMaxPgn) return false;
    return !IsPdu1(pgn) || (pgn & 0xFF) == 0;
}

uint32_t CanId::Encode() const {
    const uint32_t specific = IsPdu1(pgn) ? destination : (pgn & 0xFF);
    const uint32_t id = (uint32_t{priority} << 26) | ((pgn & kMaxPgn & ~0xFFu) << 8) |
                        (specific << 8) | source;
    return id & CanFrame::kIdMask;
}

}  // namespace ferrow::net

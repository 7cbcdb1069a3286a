// Splits a message into NMEA 2000 fast-packet frames, and keeps the 3-bit
// sequence id of each source and PGN, which advances with every message so a
// receiver can tell the frames of consecutive messages apart.
#pragma once

#include "net/can/CanFrame.h"
#include "net/can/CanId.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace ferrow::net {

class FastPacketEncoder {
public:
    // Past this many sources and PGNs the ids start again from 0, which a
    // receiver cannot tell from an ordinary advance.
    static constexpr std::size_t kMaxTracked = 4096;

    // Appends the frames of `length` (at most 223) bytes under a valid `id`,
    // each eight bytes long, the last padded with 0xFF.
    void Encode(const CanId& id, const uint8_t* data, uint16_t length, std::vector<CanFrame>& out);

private:
    uint8_t NextSequence(const CanId& id);

    std::unordered_map<uint32_t, uint8_t> next_;  // by source and PGN
};

}  // namespace ferrow::net

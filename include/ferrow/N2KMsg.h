// The record in which one NMEA 2000 message travels through the emulator, the
// gateway and the tools. Its layout is binary and fixed: 1,800 bytes, the
// fields back to back, little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

struct N2KMsg {
    static constexpr unsigned kMaxData = 1786;
    // Largest payload of a fast-packet message; longer ones use ISO transport.
    static constexpr unsigned kMaxFastPacket = 223;

    uint32_t pgn;
    uint8_t priority;  // 0 (highest) to 7
    // Node addresses; the gateway reads addressA as the source and addressB
    // as the destination (255 for global).
    uint8_t addressB;
    uint8_t addressA;
    // 1 single frame, 2 fast packet, 3 ISO multi-packet transport.
    uint8_t transport;
    uint16_t length;  // valid bytes in data
    uint8_t data[kMaxData];
    uint32_t timeStamp;  // 10 ms units since the process started
};

static_assert(sizeof(N2KMsg) == 1800, "N2KMsg is a 1,800-byte record");
static_assert(offsetof(N2KMsg, pgn) == 0 && offsetof(N2KMsg, priority) == 4 &&
                  offsetof(N2KMsg, addressB) == 5 && offsetof(N2KMsg, addressA) == 6 &&
                  offsetof(N2KMsg, transport) == 7 && offsetof(N2KMsg, length) == 8 &&
                  offsetof(N2KMsg, data) == 10 && offsetof(N2KMsg, timeStamp) == 1796,
              "N2KMsg fields sit at their fixed offsets");

// The message every throughput benchmark sends: a single frame at 8 bytes
// or less, a fast packet above, its bytes counting up.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstdint>

inline N2KMsg BenchMessage(uint16_t length) {
    N2KMsg msg{};
    msg.pgn = length <= 8 ? 127250 : 129029;
    msg.priority = 2;
    msg.addressA = 0x23;
    msg.addressB = 255;
    msg.transport = length <= 8 ? 1 : 2;
    msg.length = length;
    for (uint16_t i = 0; i < length; ++i) msg.data[i] = uint8_t(i);
    return msg;
}

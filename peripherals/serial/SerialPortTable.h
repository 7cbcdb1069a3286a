// The process-wide table of serial port slots. Each serial object takes the
// next slot when it is built and never gives it back, so a port's number and
// its two rings stay valid for the rest of the process, whoever still holds
// them (the panel, a test harness).
#pragma once

#include "peripherals/serial/ByteRing_c.h"

#include <atomic>
#include <cstdint>

namespace ferrow::peripherals {

struct SerialPortSlot {
    static constexpr uint32_t kRingSize = 65536;

    ByteRing_c rx{kRingSize};  // from the line to the firmware
    ByteRing_c tx{kRingSize};  // from the firmware to the line
    std::atomic<uint32_t> baud{0};
};

class SerialPortTable {
public:
    static constexpr int kSlots = 256;

    // The next free slot with its rings, allocated now; -1 when all are taken.
    static int Take();
    // The slot of a taken index, or null.
    static SerialPortSlot* At(int index);
};

}  // namespace ferrow::peripherals

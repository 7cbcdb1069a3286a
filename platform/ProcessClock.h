// Wall-clock milliseconds since the process started, taken from a monotonic
// clock captured when the library loads. (The C library's clock() counts CPU
// time here and would stand still while the process sleeps.)
#pragma once

#include <ferrow/FerrowApi.h>

#include <cstdint>

namespace ferrow::platform {

// Exported for the panels library, whose panels show the same clock.
class FERROW_API ProcessClock {
public:
    // Full-width milliseconds since load.
    static uint64_t Ms64();
    // The same reading as the 32-bit quantity the firmware sees: wraps at 2^32.
    static uint32_t Ms() { return static_cast<uint32_t>(Ms64()); }
};

}  // namespace ferrow::platform

// Ferrow_c::dispAllPgn stays a plain int for the firmware, yet the worker
// reads it for every message sent while the monitor's panel sets it from the
// GUI thread. Every access inside Ferrow goes through here, atomically.
#pragma once

#include <ferrow/Ferrow_c.h>

namespace ferrow::core {

class DisplayAllPgn {
public:
    static int Get(const Ferrow_c& emulator) {
        return __atomic_load_n(&emulator.dispAllPgn, __ATOMIC_RELAXED);
    }

    static void Set(Ferrow_c& emulator, int on) {
        __atomic_store_n(&emulator.dispAllPgn, on, __ATOMIC_RELAXED);
    }
};

}  // namespace ferrow::core

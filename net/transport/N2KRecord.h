// Copying message records: the header and only the valid payload bytes, so a
// 1,800-byte record costs what its message is long.
#pragma once

#include <ferrow/N2KMsg.h>

namespace ferrow::net {

class N2KRecord {
public:
    // Copies the header fields and `length` payload bytes (never more than the
    // data field holds); the destination's bytes past `length` keep what they
    // held. Does nothing when either record is null.
    static void Copy(N2KMsg* dst, const N2KMsg* src);
    // The process clock in 10 ms units, as messages are stamped.
    static uint32_t TimeStampNow();
    // The same for a clock reading of `ms` milliseconds.
    static uint32_t TimeStampAt(uint64_t ms) { return static_cast<uint32_t>(ms / 10); }
};

}  // namespace ferrow::net

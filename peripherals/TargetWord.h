// The firmware gives its 32-bit quantities (pin numbers, lengths, rates,
// captured values) as `unsigned long`, which is wider here than on the
// target. Every peripheral takes them modulo 2^32 first, as the target's
// 32-bit variable would hold them, then checks or stores the result.
#pragma once

#include <cstdint>

namespace ferrow::peripherals {

inline uint32_t TargetWord(unsigned long value) { return static_cast<uint32_t>(value); }

}  // namespace ferrow::peripherals

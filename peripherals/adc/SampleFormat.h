// How a channel group encodes its conversion results: a resolution and
// either offset binary (unsigned) or two's complement (signed). Converts
// results, sums and deviations between the two representations, in the
// 32-bit arithmetic of the target.
#pragma once

#include <cstdint>
#include <type_traits>

namespace ferrow::peripherals {

// The representation a reader asks for; the values are the firmware's modes.
enum class Repr : int { Stored = 0, Signed = -1, Unsigned = 1 };

struct SampleFormat {
    // The range of every result must fit the channel's signed 32-bit limits:
    // up to 31 bits unsigned, 32 bits signed.
    static bool Valid(unsigned bits, bool isUnsigned) {
        return bits >= 1 && bits <= (isUnsigned ? 31u : 32u);
    }

    uint32_t Mask() const { return bits >= 32 ? 0xFFFFFFFFu : (uint32_t(1) << bits) - 1; }
    // 2^(bits-1): mid-scale of an unsigned group.
    uint32_t Half() const { return uint32_t(1) << (bits - 1); }
    int32_t Maximum() const;
    int32_t Minimum() const;

    // The 32-bit word of a result read in `mode`.
    uint32_t Convert(int32_t value, Repr mode) const;
    // A window sum of n results read in `mode`: the offset is applied n
    // times, wrapping at 2^32, never masked to the resolution.
    uint32_t ConvertSum(int32_t sum, uint32_t n, Repr mode) const;
    // Square of the result's deviation from mid-scale (from 0 when signed).
    uint64_t DeviationSquare(int32_t value) const;

    uint8_t bits;
    bool isUnsigned;
};

// A 32-bit result word as the firmware's output type holds it: sign-extended
// into `long`, zero-extended into `unsigned long`.
template <class Out>
Out Widen(uint32_t word) {
    if constexpr (std::is_signed_v<Out>) {
        return static_cast<Out>(static_cast<int32_t>(word));
    } else {
        return static_cast<Out>(word);
    }
}

}  // namespace ferrow::peripherals

// Representation arithmetic of ADC results. Everything is done on 32-bit
// words so that offsets and sums wrap exactly as on the target.
#include "peripherals/adc/SampleFormat.h"

namespace ferrow::peripherals {

int32_t SampleFormat::Maximum() const {
    return static_cast<int32_t>(isUnsigned ? Mask() : Half() - 1);
}

int32_t SampleFormat::Minimum() const { return isUnsigned ? 0 : ~Maximum(); }

uint32_t SampleFormat::Convert(int32_t value, Repr mode) const {
    const uint32_t word = static_cast<uint32_t>(value);
    if (mode == Repr::Signed && isUnsigned) {
        // The low `bits` bits of the offset result, read as two's complement.
        const uint32_t low = (word - Half()) & Mask();
        return (low & Half()) != 0 ? low | ~Mask() : low;
    }
    if (mode == Repr::Unsigned && !isUnsigned) return (word + Half()) & Mask();
    return word;
}

uint32_t SampleFormat::ConvertSum(int32_t sum, uint32_t n, Repr mode) const {
    const uint32_t word = static_cast<uint32_t>(sum);
    if (mode == Repr::Signed && isUnsigned) return word - n * Half();
    if (mode == Repr::Unsigned && !isUnsigned) return word + n * Half();
    return word;
}

uint64_t SampleFormat::DeviationSquare(int32_t value) const {
    const int64_t d = isUnsigned ? static_cast<int32_t>(static_cast<uint32_t>(value) - Half()) : value;
    return static_cast<uint64_t>(d * d);
}

}  // namespace ferrow::peripherals

// Representation conversions at the ends of each range, as the firmware's
// 32-bit long and unsigned long would hold them.
#include "peripherals/adc/SampleFormat.h"

#include <gtest/gtest.h>

#include <climits>

using ferrow::peripherals::Repr;
using ferrow::peripherals::SampleFormat;
using ferrow::peripherals::Widen;

TEST(SampleFormat, ConvertsBetweenRepresentationsAtTheEndsOfTheRange) {
    struct Case { uint8_t bits; bool isUnsigned; int32_t stored; Repr mode; long asLong; unsigned long asUnsigned; };
    const Case cases[] = {
        {12, true, 0, Repr::Signed, -2048, 0xFFFFF800},   {12, true, 2047, Repr::Signed, -1, 0xFFFFFFFF},
        {12, true, 2048, Repr::Signed, 0, 0},             {12, true, 4095, Repr::Signed, 2047, 2047},
        {12, false, -2048, Repr::Unsigned, 0, 0},         {12, false, -1, Repr::Unsigned, 2047, 2047},
        {12, false, 2047, Repr::Unsigned, 4095, 4095},    {1, true, 0, Repr::Signed, -1, 0xFFFFFFFF},
        {1, false, -1, Repr::Unsigned, 0, 0},             {31, true, 0, Repr::Signed, -(1L << 30), 0xC0000000},
        {32, false, INT_MIN, Repr::Unsigned, 0, 0},       {32, false, INT_MAX, Repr::Unsigned, -1, 0xFFFFFFFF},
        {32, false, -1, Repr::Unsigned, INT_MAX, 0x7FFFFFFF},
        // Same representation, or as stored: untouched, whatever the bits.
        {12, true, 4095, Repr::Unsigned, 4095, 4095},     {12, true, 5000, Repr::Stored, 5000, 5000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << int(c.bits) << " bits, unsigned " << c.isUnsigned
                                          << ", stored " << c.stored << ", mode " << int(c.mode));
        const uint32_t word = SampleFormat{c.bits, c.isUnsigned}.Convert(c.stored, c.mode);
        EXPECT_EQ(Widen<long>(word), c.asLong);
        EXPECT_EQ(Widen<unsigned long>(word), c.asUnsigned);
    }
}

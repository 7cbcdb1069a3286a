// Bits on the wire of 29-bit data frames: literal frames whose stuffed
// length can-utils' exact frame length (canframelen.c) counts alike, and the
// worst case no frame passes.
#include "net/can/CanBitTiming.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using ferrow::net::CanBitTiming;
using namespace ferrow::test;

TEST(CanBitTiming, LiteralFramesTakeTheirStuffedBits) {
    const struct {
        CanFrame frame;
        unsigned bits;
    } cases[] = {
        {Frame(0x00000000, {}), 74},
        {Frame(0x1FFFFFFF, {}), 74},
        {Frame(0x15FD0810, {0xAA}), 80},
        {Frame(0x09F11223, {0x01, 0x5C, 0x3D}), 94},
        {Frame(0x18EAFF00, {0x00, 0xEE, 0x00}), 96},
        {Frame(0x09F80123, {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}), 134},
        {Frame(0x0DF80523, {0, 0, 0, 0, 0, 0, 0, 0}), 147},
        {Frame(0x0DF80523, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), 146},
        {Frame(0x00000000, {0, 0, 0, 0, 0, 0, 0, 0}), 150},
        {Frame(0x1FFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), 149},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CanBitTiming::WireBits(c.frame), c.bits) << ::testing::PrintToString(c.frame);
        EXPECT_EQ(CanBitTiming::StuffBits(c.frame), c.bits - 67 - 8 * c.frame.length);
    }
    // A controller sends a length past eight as eight bytes; identifiers
    // have 29 bits.
    CanFrame overlong = cases[9].frame;
    overlong.length = 15;
    overlong.id = 0xFFFFFFFF;
    EXPECT_EQ(CanBitTiming::WireBits(overlong), 149u);
}

// Long equal runs, alternating nibbles and random data under identifiers of
// long runs and random ones: none passes 67 + 8n + (54 + 8n - 1) / 4.
TEST(CanBitTiming, NoFramePassesTheWorstCase) {
    EXPECT_EQ(CanBitTiming::MostBits(0) + CanBitTiming::MostBits(8), 80u + 160u);
    std::mt19937 random(2600);
    for (int n = 0; n < 100000; ++n) {
        CanFrame frame;
        frame.id = n % 2 ? random() & CanFrame::kIdMask : (n & 0x1F) << (n % 25);
        frame.length = uint8_t(n % 9);
        for (uint8_t& byte : frame.data) {
            const uint8_t runs[] = {0x00, 0xFF, 0x0F, 0xF0, 0x78, 0x87, uint8_t(random())};
            byte = runs[(n / 9) % 7];
        }
        ASSERT_LE(CanBitTiming::WireBits(frame), CanBitTiming::MostBits(frame.length))
            << ::testing::PrintToString(frame);
    }
}

}  // namespace

// The 29-bit identifier, both ways, against literal identifiers of PDU1 and
// PDU2 messages at the priority edges.
#include "net/can/CanId.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using ferrow::net::CanId;

struct IdCase {
    uint8_t priority;
    uint32_t pgn;
    uint8_t source;
    uint8_t destination;
    uint32_t id;
};

// PDU2 rows: the PDU specific byte is the PGN's own low byte, the message is
// global. PDU1 rows: it is the destination, and the PGN's low byte is 0.
constexpr IdCase kIds[] = {
    {0, 130306, 0x05, 255, 0x01FD0205},  {3, 130306, 0x05, 255, 0x0DFD0205},
    {7, 130306, 0x05, 255, 0x1DFD0205},  {2, 127250, 0x23, 255, 0x09F11223},
    {6, 61440, 0x01, 255, 0x18F00001},   {7, 65535, 0xFE, 255, 0x1CFFFFFE},
    {3, 131071, 0x10, 255, 0x0DFFFF10},  {0, 126720, 0x30, 0x31, 0x01EF3130},
    {3, 126720, 0x30, 0x31, 0x0DEF3130}, {7, 126720, 0x30, 0x31, 0x1DEF3130},
    {6, 59904, 0x01, 0x42, 0x18EA4201},  {3, 126208, 0x20, 0x10, 0x0DED1020},
    {7, 60416, 0x23, 0xFF, 0x1CECFF23},  {2, 61184, 0x0A, 0x0B, 0x08EF0B0A},
    {4, 0, 0x00, 0x00, 0x10000000},
};

TEST(CanId, EncodesAndDecodesPdu1AndPdu2) {
    for (const IdCase& c : kIds) {
        SCOPED_TRACE(testing::Message() << std::hex << "identifier " << c.id);
        const CanId id{c.priority, c.pgn, c.source, c.destination};
        EXPECT_TRUE(id.Valid());
        EXPECT_EQ(id.Encode(), c.id);
        const CanId decoded = CanId::Decode(c.id);
        EXPECT_EQ(decoded.priority, c.priority);
        EXPECT_EQ(decoded.pgn, c.pgn);
        EXPECT_EQ(decoded.source, c.source);
        EXPECT_EQ(decoded.destination, c.destination);
    }
}

TEST(CanId, Pdu2IgnoresTheDestinationItCannotCarry) {
    EXPECT_EQ((CanId{2, 127250, 0x23, 0x42}.Encode()), 0x09F11223u);
}

TEST(CanId, RefusesWhatNoIdentifierCarries) {
    EXPECT_FALSE((CanId{8, 127250, 0x23, 255}.Valid()));
    EXPECT_FALSE((CanId{2, 0x40000, 0x23, 255}.Valid()));
    EXPECT_FALSE((CanId{6, 59905, 0x23, 0x42}.Valid()));
    EXPECT_TRUE((CanId{7, CanId::kMaxPgn, 0x23, 255}.Valid()));
}

TEST(CanId, DecodingIgnoresBitsAboveTheTwentyNinth) {
    const CanId id = CanId::Decode(0xE9F11223);
    EXPECT_EQ(id.priority, 2);
    EXPECT_EQ(id.pgn, 127250u);
    EXPECT_EQ(id.source, 0x23);
    EXPECT_EQ(id.destination, 255);
}

}  // namespace

// The codec as the gateway uses it: which messages are refused, single frames
// both ways, and each transport at its boundary lengths between two codecs.
#include "net/can/FastPacketPgns.h"
#include "net/can/N2KCanCodec.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::FastPacketPgns;
using namespace ferrow::test;

TEST(N2KCanCodec, SendsASingleFrameOfTheMessageLength) {
    N2KCanCodec codec;
    std::vector<CanFrame> frames;
    ASSERT_EQ(codec.Send(Counting(59904, 6, 0x23, 0x42, 1, 3), 0ms, frames), N2K_OK);
    ASSERT_EQ(codec.Send(Counting(127250, 2, 0x23, 255, 1, 8), 0ms, frames), N2K_OK);
    ASSERT_EQ(codec.Send(Counting(65280, 7, 0x23, 255, 1, 0), 0ms, frames), N2K_OK);
    EXPECT_EQ(frames, (std::vector<CanFrame>{
                          Frame(0x18EA4223, {0x01, 0x02, 0x03}),
                          Frame(0x09F11223, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}),
                          Frame(0x1CFF0023, {}),
                      }));
}

TEST(N2KCanCodec, RefusesWhatNoFramingCarries) {
    const N2KMsg refused[] = {
        Counting(127250, 2, 0x23, 255, 1, 9),      // single frame past 8 bytes
        Counting(127250, 2, 0x23, 255, 0, 8),      // no such transport
        Counting(127250, 2, 0x23, 255, 4, 8),      // no such transport
        Counting(127250, 8, 0x23, 255, 1, 8),      // priority past 7
        Counting(59905, 6, 0x23, 0x42, 1, 3),      // PDU1 PGN with a low byte
        Counting(0x40000, 6, 0x23, 255, 1, 3),     // PGN past 18 bits
        Counting(126208, 3, 0x23, 0x42, 3, 1787),  // past the record's data field
    };
    N2KCanCodec codec;
    std::vector<CanFrame> frames;
    for (const N2KMsg& msg : refused) {
        SCOPED_TRACE(testing::Message() << "pgn " << msg.pgn << " transport " << int{msg.transport}
                                        << " length " << msg.length);
        EXPECT_EQ(codec.Send(msg, 0ms, frames), N2K_BAD_MESSAGE);
    }
    EXPECT_TRUE(frames.empty());
}

TEST(N2KCanCodec, ReceivesASingleFrameWithItsHeader) {
    Listener bus;
    ASSERT_TRUE(bus.Feed(Frame(0x18EA4223, {0x14, 0xF0, 0x01}), 12345ms));
    const N2KMsg& msg = bus.delivered.front();
    EXPECT_EQ(msg.pgn, 59904u);
    EXPECT_EQ(msg.priority, 6);
    EXPECT_EQ(msg.addressA, 0x23);
    EXPECT_EQ(msg.addressB, 0x42);
    EXPECT_EQ(msg.transport, 1);
    EXPECT_EQ(PayloadOf(msg), (std::vector<uint8_t>{0x14, 0xF0, 0x01}));
    EXPECT_EQ(msg.timeStamp, 1234u);
}

TEST(N2KCanCodec, LeavesTheRecordUntouchedUntilAMessageIsWhole) {
    N2KCanCodec codec;
    N2KMsg msg;
    std::memset(&msg, 0xA5, sizeof msg);
    N2KMsg before;
    std::memcpy(&before, &msg, sizeof msg);
    std::vector<CanFrame> replies;
    EXPECT_FALSE(codec.Receive(FastPacketBoundaries().back().frames[0], 0ms, msg, replies));
    EXPECT_EQ(std::memcmp(&msg, &before, sizeof msg), 0);
}

// Frames travel from one codec to the other until neither has more to say.
void Exchange(Listener& a, Listener& b, std::vector<CanFrame> toB) {
    while (!toB.empty()) {
        b.FeedAll(toB);
        a.FeedAll(b.TakeReplies());
        toB = a.TakeReplies();
    }
}

TEST(N2KCanCodec, EveryTransportRoundTripsAtItsBoundaries) {
    struct Case {
        uint8_t transport;
        uint16_t length;
        uint32_t pgn;
        uint8_t destination;
    };
    const Case cases[] = {
        {1, 0, 127250, 255},    {1, 8, 59904, 0x42},   {2, 223, 126208, 0x42},
        {3, 9, 129540, 255},    {3, 1785, 129540, 255}, {3, 9, 126208, 0x42},
        {3, 224, 126464, 0x42}, {3, 1785, 126208, 0x42},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "transport " << int{c.transport} << " length "
                                        << c.length << " to " << int{c.destination});
        Listener a(0x23), b(0x42);
        const N2KMsg sent = Counting(c.pgn, 5, 0x23, c.destination, c.transport, c.length);
        std::vector<CanFrame> frames;
        ASSERT_EQ(a.codec.Send(sent, 0ms, frames), N2K_OK);
        Exchange(a, b, frames);
        ASSERT_EQ(b.delivered.size(), 1u);
        const N2KMsg& got = b.delivered.front();
        EXPECT_EQ(got.pgn, sent.pgn);
        EXPECT_EQ(got.priority, sent.priority);
        EXPECT_EQ(got.addressA, sent.addressA);
        EXPECT_EQ(got.addressB, sent.addressB);
        EXPECT_EQ(got.transport, sent.transport);
        EXPECT_EQ(PayloadOf(got), PayloadOf(sent));
        const bool connection = c.transport == 3 && c.destination != 255;
        EXPECT_EQ(a.codec.Counters().connectionsCompleted, connection ? 1u : 0u);
    }
}

// The transport a record is given for its PGN and length (by the serial
// gateway, the generator and the recordings) is the one the codec frames it
// with and reassembles it as. Makers' single-frame groups are no fast packets.
TEST(FastPacketPgns, GivesTheTransportTheCodecReassemblesTheMessageWith) {
    const struct {
        uint32_t pgn;
        uint16_t length;
        uint8_t transport;
    } cases[] = {
        {127250, 0, 1},   {127250, 8, 1},   {127250, 9, 3},   {59904, 3, 1},
        {129029, 0, 2},   {129029, 8, 2},   {129029, 223, 2}, {129029, 224, 3},
        {126208, 255, 3}, {61184, 8, 1},    {65535, 9, 3},    {126720, 223, 2},
        {130815, 8, 1},   {130816, 100, 2}, {131071, 9, 2},   {65280, 200, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "pgn " << c.pgn << " length " << c.length);
        EXPECT_EQ(FastPacketPgns::TransportFor(c.pgn, c.length), c.transport);
        Listener a(0x23), b(0x42);
        std::vector<CanFrame> frames;
        ASSERT_EQ(a.codec.Send(Counting(c.pgn, 3, 0x23, 255, c.transport, c.length), 0ms, frames),
                  N2K_OK);
        Exchange(a, b, frames);
        ASSERT_EQ(b.delivered.size(), 1u);
        EXPECT_EQ(b.delivered.front().transport, c.transport);
        EXPECT_EQ(b.delivered.front().length, c.length);
    }
}

}  // namespace

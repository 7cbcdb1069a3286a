// The codec as the gateway uses it: which messages are refused, how the PGN
// table frames them, single frames both ways, and each transport at its
// boundary lengths between two codecs.
#include "net/can/FastPacketPgns.h"
#include "net/can/Framing.h"
#include "net/can/N2KCanCodec.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::FastPacketPgns;
using ferrow::net::Framing;
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

TEST(N2KCanCodec, RefusesWhatNoCanNetworkCarries) {
    const N2KMsg refused[] = {
        Counting(127250, 8, 0x23, 255, 1, 8),      // priority past 7
        Counting(59905, 6, 0x23, 0x42, 1, 3),      // PDU1 PGN with a low byte
        Counting(0x40000, 6, 0x23, 255, 1, 3),     // PGN past 18 bits
        Counting(127250, 2, 0x23, 255, 1, 1786),   // past ISO transport
        Counting(126208, 3, 0x23, 0x42, 3, 1787),  // past the record's data field
    };
    N2KCanCodec codec;
    std::vector<CanFrame> frames;
    for (const N2KMsg& msg : refused) {
        SCOPED_TRACE(testing::Message() << "pgn " << msg.pgn << " length " << msg.length);
        EXPECT_EQ(codec.Send(msg, 0ms, frames), N2K_BAD_MESSAGE);
        EXPECT_EQ(N2KCanCodec::FramesAtOnce(msg), 0u);
    }
    EXPECT_TRUE(frames.empty());
}

// A whole message comes out with its header; until then the record is not
// touched.
TEST(N2KCanCodec, ReceivesASingleFrameWithItsHeaderAndNothingBeforeAMessageIsWhole) {
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

    N2KMsg untouched;
    std::memset(&untouched, 0xA5, sizeof untouched);
    const N2KMsg before = untouched;
    std::vector<CanFrame> replies;
    const CanFrame first = FastPacketBoundaries().back().frames[0];
    EXPECT_FALSE(bus.codec.Receive(first, 0ms, untouched, replies));
    EXPECT_EQ(std::memcmp(&untouched, &before, sizeof before), 0);
}

// Frames travel from one codec to the other until neither has more to say.
void Exchange(Listener& a, Listener& b, std::vector<CanFrame> toB) {
    while (!toB.empty()) {
        b.FeedAll(toB);
        a.FeedAll(b.TakeReplies());
        toB = a.TakeReplies();
    }
}

// ISO transport frames go at priority 7, which is what the receiver gives
// the message; the others keep the sender's.
TEST(N2KCanCodec, EveryTransportRoundTripsAtItsBoundaries) {
    struct Case {
        uint8_t transport;
        uint16_t length;
        uint32_t pgn;
        uint8_t destination;
    };
    const Case cases[] = {
        {1, 0, 127250, 255},    {1, 8, 59904, 0x42},    {2, 223, 126208, 0x42},
        {3, 9, 65240, 255},     {3, 1785, 129540, 255}, {3, 9, 59904, 0x42},
        {3, 224, 126464, 0x42}, {3, 1785, 126208, 0x42},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "transport " << int{c.transport} << " length "
                                        << c.length << " to " << int{c.destination});
        Listener a(0x23), b(0x42);
        const N2KMsg sent = Counting(c.pgn, 5, 0x23, c.destination, c.transport, c.length);
        std::vector<CanFrame> frames;
        ASSERT_EQ(a.codec.Send(sent, 0ms, frames), N2K_OK);
        const bool connection = c.transport == 3 && c.destination != 255;
        EXPECT_EQ(frames.size(), N2KCanCodec::FramesAtOnce(sent));
        EXPECT_EQ(frames.size(), connection ? 1 : Framing::FramesOf(c.transport, c.length));
        Exchange(a, b, frames);
        ASSERT_EQ(b.delivered.size(), 1u);
        const N2KMsg& got = b.delivered.front();
        EXPECT_EQ(got.pgn, sent.pgn);
        EXPECT_EQ(got.priority, c.transport == 3 ? 7 : sent.priority);
        EXPECT_EQ(got.addressA, sent.addressA);
        EXPECT_EQ(got.addressB, sent.addressB);
        EXPECT_EQ(got.transport, sent.transport);
        EXPECT_EQ(PayloadOf(got), PayloadOf(sent));
        EXPECT_EQ(a.codec.Counters().connectionsCompleted, connection ? 1u : 0u);
    }
}

// Where the standard fixes a PGN's framing, the record's transport field does
// not count; past its framing's length a message goes over ISO transport.
// The field decides only for a PGN of neither table. Whatever the codec
// frames a message as, the receiver reassembles it as, and the serial
// gateway, the generator and the recordings give that transport too.
TEST(Framing, ThePgnTableDecidesWhereTheStandardFixesIt) {
    const struct {
        uint32_t pgn;
        uint8_t field;
        uint16_t length;
        uint8_t transport;
    } cases[] = {
        {127250, 2, 8, 1},   {127250, 1, 9, 3},   {127250, 3, 0, 1},   {59904, 2, 3, 1},
        {65240, 1, 9, 3},    {61440, 2, 8, 1},    {130306, 2, 8, 1},   {129029, 1, 8, 2},
        {129029, 3, 223, 2}, {129029, 2, 224, 3}, {126208, 1, 255, 3}, {61184, 2, 8, 1},
        {65535, 2, 9, 3},    {126720, 1, 223, 2}, {131071, 1, 9, 2},   {65280, 1, 200, 3},
        {130815, 2, 8, 2},   {130815, 1, 8, 1},   {130815, 2, 224, 3}, {130815, 3, 8, 1},
        {0xC800, 0, 9, 3},   {130816, 1, 1785, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "pgn " << c.pgn << " field " << int{c.field}
                                        << " length " << c.length);
        const N2KMsg msg = Counting(c.pgn, 3, 0x23, 255, c.field, c.length);
        EXPECT_EQ(Framing::For(msg), c.transport);
        if (FastPacketPgns::Contains(c.pgn) || FastPacketPgns::IsSingleFrame(c.pgn)) {
            EXPECT_EQ(FastPacketPgns::TransportFor(c.pgn, c.length), c.transport);
        }
        Listener a(0x23), b(0x42);
        std::vector<CanFrame> frames;
        ASSERT_EQ(a.codec.Send(msg, 0ms, frames), N2K_OK);
        Exchange(a, b, frames);
        // Only a receiver that knows a PGN for a fast packet reads it as one.
        const bool readable = c.transport != 2 || FastPacketPgns::Contains(c.pgn);
        ASSERT_EQ(b.delivered.size(), readable ? 1u : frames.size());
        if (!readable) continue;
        EXPECT_EQ(b.delivered.front().transport, c.transport);
        EXPECT_EQ(b.delivered.front().length, c.length);
    }
}

}  // namespace

// Receiving fast packets: the boundary lengths from literal frames, frames an
// independent encoder wrote, and each way a message can go wrong: a lost, an
// orphan, a duplicate, a late or a reordered frame, an oversize length, a
// short frame, a full set of slots. A single-frame PGN is never reassembled.
#include "net/can/FastPacketAssembler.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::FastPacketAssembler;
using namespace ferrow::test;

constexpr uint8_t kFastPacket = 2;

// The frames that send `msg`, as a sender whose sequence id is `sequence`.
std::vector<CanFrame> FramesOf(const N2KMsg& msg, uint8_t sequence = 0) {
    N2KCanCodec sender;
    std::vector<CanFrame> frames;
    for (uint8_t i = 0; i <= sequence; ++i) {
        frames.clear();
        EXPECT_EQ(sender.Send(msg, 0ms, frames), N2K_OK);
    }
    return frames;
}

std::vector<CanFrame> Gnss(uint16_t length, uint8_t sequence = 0, uint8_t source = 0x23) {
    return FramesOf(Counting(kGnssPgn, 3, source, 255, kFastPacket, length), sequence);
}

// From literal frames at the boundary lengths, from an encoder nobody here
// wrote, and in the makers' fast-packet ranges.
TEST(FastPacketReceive, ReassemblesTheBoundaryLengthsAnIndependentEncoderAndTheMakersRanges) {
    for (const FastPacketCase& c : FastPacketBoundaries()) {
        SCOPED_TRACE(testing::Message() << "length " << c.length);
        Listener bus;
        for (std::size_t i = 0; i < c.frames.size(); ++i) {
            EXPECT_EQ(bus.Feed(c.frames[i]), i + 1 == c.frames.size());
        }
        ASSERT_EQ(bus.delivered.size(), 1u);
        const N2KMsg& msg = bus.delivered.front();
        EXPECT_EQ(msg.pgn, kGnssPgn);
        EXPECT_EQ(msg.priority, 3);
        EXPECT_EQ(msg.addressA, 0x23);
        EXPECT_EQ(msg.addressB, 255);
        EXPECT_EQ(msg.transport, kFastPacket);
        EXPECT_EQ(PayloadOf(msg), CountingBytes(c.length));
        EXPECT_TRUE(bus.replies.empty());
    }

    Listener peer;
    peer.FeedAll(PeerGnssFrames());
    ASSERT_EQ(peer.delivered.size(), 1u);
    EXPECT_EQ(PayloadOf(peer.delivered.front()), PeerGnssPayload());

    for (const uint32_t pgn : {126720u, 130816u, 131071u}) {
        SCOPED_TRACE(pgn);
        const uint8_t destination = pgn == 126720 ? 0x42 : 255;
        Listener bus;
        bus.FeedAll(FramesOf(Counting(pgn, 6, 0x23, destination, kFastPacket, 9)));
        ASSERT_EQ(bus.delivered.size(), 1u);
        EXPECT_EQ(bus.delivered.front().pgn, pgn);
        EXPECT_EQ(bus.delivered.front().addressB, destination);
        EXPECT_EQ(PayloadOf(bus.delivered.front()), CountingBytes(9));
    }
}

// Messages are told apart by source and PGN.
TEST(FastPacketReceive, KeepsInterleavedSendersAndPgnsApart) {
    const auto first = Gnss(27, 0, 0x23);
    const auto second = FramesOf(Counting(kGnssPgn, 3, 0x24, 255, kFastPacket, 14), 5);
    Listener bus;
    for (std::size_t i = 0; i < first.size(); ++i) {
        bus.Feed(first[i]);
        if (i < second.size()) bus.Feed(second[i]);
    }
    ASSERT_EQ(bus.delivered.size(), 2u);
    EXPECT_EQ(bus.delivered[0].addressA, 0x24);
    EXPECT_EQ(PayloadOf(bus.delivered[0]), CountingBytes(14));
    EXPECT_EQ(bus.delivered[1].addressA, 0x23);
    EXPECT_EQ(PayloadOf(bus.delivered[1]), CountingBytes(27));

    const auto gnss = Gnss(14);
    const auto ais = FramesOf(Counting(129038, 4, 0x23, 255, kFastPacket, 27));
    Listener pgns;
    for (std::size_t i = 0; i < ais.size(); ++i) {
        pgns.Feed(ais[i]);
        if (i < gnss.size()) pgns.Feed(gnss[i]);
    }
    ASSERT_EQ(pgns.delivered.size(), 2u);
    EXPECT_EQ(pgns.delivered[0].pgn, kGnssPgn);
    EXPECT_EQ(pgns.delivered[1].pgn, 129038u);
    EXPECT_EQ(pgns.delivered[1].priority, 4);
    EXPECT_EQ(PayloadOf(pgns.delivered[1]), CountingBytes(27));
}

TEST(FastPacketReceive, LostFrameDropsTheMessageCountedWhenTheSenderStartsAgain) {
    const auto lossy = Gnss(14, 0);
    Listener bus;
    bus.Feed(lossy[0]);
    bus.Feed(lossy[2]);
    EXPECT_EQ(bus.codec.Counters().incomplete, 0u);
    bus.FeedAll(Gnss(14, 1));
    EXPECT_EQ(bus.codec.Counters().incomplete, 1u);
    ASSERT_EQ(bus.delivered.size(), 1u);
    EXPECT_EQ(PayloadOf(bus.delivered.front()), CountingBytes(14));
}

TEST(FastPacketReceive, FrameWithoutItsFrameZeroIsAnOrphan) {
    const auto current = Gnss(13, 0);
    Listener bus;
    EXPECT_FALSE(bus.Feed(current[1]));
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 1u);
    bus.Feed(current[0]);
    bus.Feed(Gnss(13, 1)[1]);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 2u) << "another sequence id";
    EXPECT_TRUE(bus.Feed(current[1]));
    EXPECT_EQ(bus.delivered.size(), 1u);
}

// A frame that comes twice, or after a later one, drops the message, counted
// once under its cause and never as an orphan.
TEST(FastPacketReceive, RepeatedOrReorderedFrameDropsTheMessage) {
    const auto frames = Gnss(27);
    const struct {
        std::vector<std::size_t> order;
        uint64_t ferrow::net::CanCounters::*counter;
    } cases[] = {
        {{0, 0, 1, 2, 3}, &ferrow::net::CanCounters::duplicate},
        {{0, 1, 1, 2, 3}, &ferrow::net::CanCounters::duplicate},
        {{0, 2, 1, 3}, &ferrow::net::CanCounters::outOfOrder},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.order));
        Listener bus;
        for (const std::size_t i : c.order) bus.Feed(frames[i]);
        EXPECT_TRUE(bus.delivered.empty());
        EXPECT_EQ(bus.codec.Counters().*c.counter, 1u);
        EXPECT_EQ(bus.codec.Counters().incomplete, 0u);
        EXPECT_EQ(bus.codec.Counters().orphanFrames, 0u);
    }
}

TEST(FastPacketReceive, RefusesALengthPast223) {
    Listener bus;
    bus.Feed(Frame(kGnssId, {0x00, 0xE0, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}));
    bus.Feed(Frame(kGnssId, {0x01, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D}));
    EXPECT_EQ(bus.codec.Counters().oversize, 1u);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 1u);
    EXPECT_TRUE(bus.delivered.empty());
}

// Each frame in time keeps a message alive; Expire, or the next frame, finds
// it stale once a frame is late.
TEST(FastPacketReceive, HalfBuiltMessageExpiresOnlyOnceAFrameIsLate) {
    const auto frames = Gnss(14);
    Listener bus;
    std::vector<CanFrame> aborts;
    bus.Feed(frames[0], 1000ms);
    bus.codec.Expire(1000ms + FastPacketAssembler::kFrameTimeout - 1ms, aborts);
    EXPECT_EQ(bus.codec.Counters().expired, 0u);
    bus.codec.Expire(1000ms + FastPacketAssembler::kFrameTimeout, aborts);
    EXPECT_EQ(bus.codec.Counters().expired, 1u);
    EXPECT_TRUE(aborts.empty());
    bus.Feed(frames[1], 1800ms);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 1u);

    Listener steady;
    steady.Feed(frames[0], 0ms);
    steady.Feed(frames[1], 749ms);
    EXPECT_TRUE(steady.Feed(frames[2], 1498ms));
    steady.Feed(frames[0], 2000ms);
    EXPECT_FALSE(steady.Feed(frames[1], 2750ms));
    EXPECT_EQ(steady.codec.Counters().expired, 1u);
    EXPECT_EQ(steady.codec.Counters().orphanFrames, 1u);
}

TEST(FastPacketReceive, SingleFramePgnIsNeverTreatedAsAFastPacket) {
    // Vessel heading (127250), a proprietary single frame (65280) and a
    // proprietary addressed single frame (61184), each starting like frame 0.
    const CanFrame frames[] = {
        Frame(0x09F11223, {0x00, 0x05, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
        Frame(0x1CFF0023, {0x20, 0x05, 0x01, 0x02, 0x03}),
        Frame(0x18EF4223, {0x00, 0x0E, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
    };
    for (const CanFrame& frame : frames) {
        SCOPED_TRACE(testing::Message() << std::hex << frame.id);
        Listener bus;
        ASSERT_TRUE(bus.Feed(frame));
        const N2KMsg& msg = bus.delivered.front();
        EXPECT_EQ(msg.transport, 1);
        EXPECT_EQ(msg.length, frame.length);
        EXPECT_EQ(PayloadOf(msg), std::vector<uint8_t>(frame.data.begin(),
                                                       frame.data.begin() + frame.length));
    }
}

TEST(FastPacketReceive, FrameLengthsOutsideTheirShareAreMalformed) {
    auto shortFrames = Gnss(20);
    shortFrames[1].length = 5;
    CanFrame tooLong = Frame(kGnssId, {0x00, 0x03, 0x01, 0x02, 0x03, 0xFF, 0xFF, 0xFF});
    tooLong.length = 9;
    for (const auto& frames : {shortFrames, std::vector<CanFrame>{tooLong}}) {
        SCOPED_TRACE(frames.size());
        Listener bus;
        bus.FeedAll(frames);
        EXPECT_TRUE(bus.delivered.empty());
        EXPECT_EQ(bus.codec.Counters().malformed, 1u);
        EXPECT_EQ(bus.codec.Counters().orphanFrames, 0u);
    }
    Listener bus;
    bus.FeedAll({Frame(kGnssId, {0x00, 0x08, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
                 Frame(kGnssId, {0x01, 0x07, 0x08})});
    ASSERT_EQ(bus.delivered.size(), 1u) << "the last frame needs only the bytes left";
    EXPECT_EQ(PayloadOf(bus.delivered.front()), CountingBytes(8));
}

TEST(FastPacketReceive, NewMessageTakesTheOldestSlotWhenAllAreTaken) {
    Listener bus;
    for (unsigned source = 0; source < FastPacketAssembler::kSlots; ++source) {
        bus.Feed(Gnss(14, 0, static_cast<uint8_t>(source))[0],
                 std::chrono::milliseconds(source));
    }
    const auto latecomer = Gnss(14, 0, 0xF0);
    bus.FeedAll(latecomer, 100ms);
    EXPECT_EQ(bus.codec.Counters().noRoom, 1u);
    ASSERT_EQ(bus.delivered.size(), 1u);
    EXPECT_EQ(bus.delivered.front().addressA, 0xF0);
    bus.Feed(Gnss(14, 0, 0)[1], 100ms);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 1u);
    bus.Feed(Gnss(14, 0, 1)[1], 100ms);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 1u);
}

}  // namespace

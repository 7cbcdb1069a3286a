// Receiving over ISO transport: broadcasts, including one recorded from a
// real bus, and connections addressed to us, answered with CTS and closed
// with an EndOfMsgAck; lost, repeated, late and oversize transfers, senders
// that abort, and every session taken.
#include "net/can/IsoTransportAssembler.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::IsoTransportAssembler;
using namespace ferrow::test;

constexpr uint8_t kIsoTransport = 3;
constexpr uint8_t kOwn = 0x42;

CanFrame Packet(uint8_t sequence, uint16_t size, uint32_t id = kConnectionDataId) {
    return CountingPacket(id, sequence, size);
}

struct Timed {
    std::chrono::milliseconds at;
    CanFrame frame;
};

// GNSS satellites in view (129540) broadcast by 0x17, as recorded on a real
// bus and published with the canboat project's tests: a 219-byte BAM, then a
// BAM too short for ISO transport, a stray TP.CM and a stray packet, which
// canboat's decoder turns into this one message and nothing else.
const std::vector<Timed> kRecordedBroadcast = {
    {0ms, Frame(0x18ECFF17, {0x20, 0xDB, 0x00, 0x20, 0xFF, 0x04, 0xFA, 0x01})},
    {65ms, Frame(0x18EBFF17, {0x01, 0xAA, 0xFF, 0x12, 0x08, 0x39, 0x0A, 0x7E})},
    {140ms, Frame(0x18EBFF17, {0x02, 0x61, 0x1C, 0x0C, 0x00, 0x00, 0x00, 0x00})},
    {218ms, Frame(0x18EBFF17, {0x03, 0x02, 0x09, 0xDC, 0x17, 0x5A, 0x79, 0x1C})},
    {299ms, Frame(0x18EBFF17, {0x04, 0x0C, 0x00, 0x00, 0x00, 0x00, 0x02, 0x0E})},
    {363ms, Frame(0x18EBFF17, {0x05, 0x22, 0x15, 0x08, 0xA7, 0xF0, 0x0A, 0x00})},
    {450ms, Frame(0x18EBFF17, {0x06, 0x00, 0x00, 0x00, 0x00, 0x42, 0x73, 0x23})},
    {516ms, Frame(0x18EBFF17, {0x07, 0x72, 0x7D, 0xFC, 0x08, 0x00, 0x00, 0x00})},
    {593ms, Frame(0x18EBFF17, {0x08, 0x00, 0x10, 0x01, 0xE8, 0x19, 0x7F, 0x25})},
    {664ms, Frame(0x18EBFF17, {0x09, 0x98, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00})},
    {739ms, Frame(0x18EBFF17, {0x0A, 0x02, 0x5C, 0x10, 0xE7, 0x37, 0x98, 0x08})},
    {817ms, Frame(0x18EBFF17, {0x0B, 0x00, 0x00, 0x00, 0x00, 0x00, 0x13, 0xF4})},
    {893ms, Frame(0x18EBFF17, {0x0C, 0x0C, 0x87, 0xDB, 0x98, 0x08, 0x00, 0x00})},
    {963ms, Frame(0x18EBFF17, {0x0D, 0x00, 0x00, 0x00, 0x16, 0xD1, 0x15, 0x65})},
    {1047ms, Frame(0x18EBFF17, {0x0E, 0xB7, 0x34, 0x08, 0x00, 0x00, 0x00, 0x00})},
    {1120ms, Frame(0x18EBFF17, {0x0F, 0x00, 0x11, 0x22, 0x24, 0xE4, 0xDC, 0xD0})},
    {1193ms, Frame(0x18EBFF17, {0x10, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04})},
    {1265ms, Frame(0x18EBFF17, {0x11, 0x73, 0x23, 0xAC, 0x5A, 0xD0, 0x07, 0x00})},
    {1344ms, Frame(0x18EBFF17, {0x12, 0x00, 0x00, 0x00, 0x02, 0x4E, 0x2E, 0x08})},
    {1418ms, Frame(0x18EBFF17, {0x13, 0x65, 0xA8, 0xD0, 0x07, 0x00, 0x00, 0x00})},
    {1510ms, Frame(0x18EBFF17, {0x14, 0x00, 0x10, 0x03, 0x16, 0x22, 0x45, 0x0C})},
    {1570ms, Frame(0x18EBFF17, {0x15, 0x6C, 0x07, 0x00, 0x00, 0x00, 0x00, 0x02})},
    {1640ms, Frame(0x18EBFF17, {0x16, 0x06, 0x7F, 0x07, 0x2A, 0xCB, 0x08, 0x07})},
    {1717ms, Frame(0x18EBFF17, {0x17, 0x00, 0x00, 0x00, 0x00, 0x00, 0x41, 0xAD})},
    {1790ms, Frame(0x18EBFF17, {0x18, 0x2D, 0x73, 0x23, 0x40, 0x06, 0x00, 0x00})},
    {1871ms, Frame(0x18EBFF17, {0x19, 0x00, 0x00, 0x10, 0x58, 0x5C, 0x1F, 0xDC})},
    {1939ms, Frame(0x18EBFF17, {0x1A, 0x08, 0x40, 0x06, 0x00, 0x00, 0x00, 0x00})},
    {2019ms, Frame(0x18EBFF17, {0x1B, 0x10, 0x48, 0xE8, 0x0A, 0x16, 0x13, 0x00})},
    {2101ms, Frame(0x18EBFF17, {0x1C, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x4F})},
    {2165ms, Frame(0x18EBFF17, {0x1D, 0x74, 0x05, 0x1F, 0xC9, 0x00, 0x00, 0x00})},
    {2240ms, Frame(0x18EBFF17, {0x1E, 0x00, 0x00, 0x00, 0x10, 0x51, 0xDC, 0x08})},
    {2313ms, Frame(0x18EBFF17, {0x1F, 0x87, 0xDB, 0x00, 0x00, 0x00, 0x00, 0x00})},
    {2388ms, Frame(0x18EBFF17, {0x20, 0x00, 0x10, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})},
    {3000ms, Frame(0x18ECFF17, {0x20, 0x05, 0x00, 0x01, 0xFF, 0x04, 0xFA, 0x01})},
    {3349ms, Frame(0x18ECFF17, {0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00})},
    {3449ms, Frame(0x18EBFF17, {0x01, 0xAA, 0xFF, 0x12, 0x08, 0x39, 0x0A, 0x7E})},
};

TEST(IsoTransportReceive, ReassemblesABroadcastRecordedFromARealBus) {
    Listener bus;
    for (const Timed& timed : kRecordedBroadcast) bus.Feed(timed.frame, timed.at);
    ASSERT_EQ(bus.delivered.size(), 1u);
    const N2KMsg& msg = bus.delivered.front();
    EXPECT_EQ(msg.pgn, 129540u);
    EXPECT_EQ(msg.priority, 6);
    EXPECT_EQ(msg.addressA, 0x17);
    EXPECT_EQ(msg.addressB, 255);
    EXPECT_EQ(msg.transport, kIsoTransport);
    ASSERT_EQ(msg.length, 219);
    // SID 170, 18 satellites, the first PRN 8 at an elevation of 0.2617 rad;
    // the last packet carries two bytes.
    EXPECT_EQ(msg.data[0], 0xAA);
    EXPECT_EQ(msg.data[2], 18);
    EXPECT_EQ(msg.data[3], 8);
    EXPECT_EQ(msg.data[4] | msg.data[5] << 8, 2617);
    EXPECT_EQ(msg.data[217], 0x00);
    EXPECT_EQ(msg.data[218], 0x10);
    for (std::size_t i = 0; i < 219; ++i) {
        ASSERT_EQ(msg.data[i], kRecordedBroadcast[1 + i / 7].frame.data[1 + i % 7]) << i;
    }
    EXPECT_EQ(bus.codec.Counters().malformed, 1u);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 1u);
    EXPECT_TRUE(bus.replies.empty());
}

TEST(IsoTransportReceive, ReassemblesBroadcastsOf9And1785Bytes) {
    for (const uint16_t size : {uint16_t{9}, uint16_t{1785}}) {
        SCOPED_TRACE(size);
        Listener bus(kOwn);
        const auto packets = uint8_t((size + 6) / 7);
        bus.Feed(Frame(0x18ECFF23,
                       {0x20, uint8_t(size), uint8_t(size >> 8), packets, 0xFF, 0x04, 0xFA, 0x01}));
        for (unsigned sequence = 1; sequence <= packets; ++sequence) {
            bus.Feed(Packet(uint8_t(sequence), size, 0x18EBFF23));
        }
        ASSERT_EQ(bus.delivered.size(), 1u);
        EXPECT_EQ(bus.delivered.front().addressB, 255);
        EXPECT_EQ(PayloadOf(bus.delivered.front()), CountingBytes(size));
        EXPECT_TRUE(bus.replies.empty());
    }
}

TEST(IsoTransportReceive, RefusesBroadcastsItCannotHold) {
    // 1,786 bytes; 3 packets for 9 bytes; a PDU1 PGN with a low byte.
    const CanFrame bams[] = {
        Frame(0x18ECFF23, {0x20, 0xFA, 0x06, 0xFF, 0xFF, 0x04, 0xFA, 0x01}),
        Frame(0x18ECFF23, {0x20, 0x09, 0x00, 0x03, 0xFF, 0x04, 0xFA, 0x01}),
        Frame(0x18ECFF23, {0x20, 0x09, 0x00, 0x02, 0xFF, 0x05, 0xED, 0x01}),
    };
    Listener bus;
    for (const CanFrame& bam : bams) bus.FeedAll({bam, Packet(1, 9, 0x18EBFF23)});
    EXPECT_EQ(bus.codec.Counters().oversize, 1u);
    EXPECT_EQ(bus.codec.Counters().malformed, 2u);
    EXPECT_EQ(bus.codec.Counters().orphanFrames, 3u);
    EXPECT_TRUE(bus.delivered.empty());
}

TEST(IsoTransportReceive, KeepsInterleavedBroadcastsApart) {
    Listener bus;
    bus.Feed(Frame(0x18ECFF23, {0x20, 0x14, 0x00, 0x03, 0xFF, 0x04, 0xFA, 0x01}));
    bus.Feed(Frame(0x18ECFF24, {0x20, 0x0A, 0x00, 0x02, 0xFF, 0x04, 0xFA, 0x01}));
    for (uint8_t sequence = 1; sequence <= 3; ++sequence) {
        bus.Feed(Packet(sequence, 20, 0x18EBFF23));
        if (sequence <= 2) bus.Feed(Packet(sequence, 10, 0x18EBFF24));
    }
    ASSERT_EQ(bus.delivered.size(), 2u);
    EXPECT_EQ(bus.delivered[0].addressA, 0x24);
    EXPECT_EQ(PayloadOf(bus.delivered[0]), CountingBytes(10));
    EXPECT_EQ(bus.delivered[1].addressA, 0x23);
    EXPECT_EQ(PayloadOf(bus.delivered[1]), CountingBytes(20));
}

// A lost packet is counted when the sender starts again; a late one lets the
// broadcast expire. Nobody is told: a broadcast is never aborted.
TEST(IsoTransportReceive, BroadcastWithALostOrLatePacketIsDropped) {
    const CanFrame bam = Frame(0x18ECFF23, {0x20, 0x14, 0x00, 0x03, 0xFF, 0x04, 0xFA, 0x01});
    Listener bus;
    bus.FeedAll({bam, Packet(1, 20, 0x18EBFF23), Packet(3, 20, 0x18EBFF23)});
    EXPECT_TRUE(bus.delivered.empty());
    bus.FeedAll({bam, Packet(1, 20, 0x18EBFF23), Packet(2, 20, 0x18EBFF23),
                 Packet(3, 20, 0x18EBFF23)});
    EXPECT_EQ(bus.codec.Counters().incomplete, 1u);
    ASSERT_EQ(bus.delivered.size(), 1u);

    Listener late;
    late.Feed(bam, 0ms);
    late.Feed(Packet(1, 20, 0x18EBFF23), 100ms);
    late.codec.Expire(100ms + IsoTransportAssembler::kPacketTimeout - 1ms, late.replies);
    EXPECT_EQ(late.codec.Counters().expired, 0u);
    late.codec.Expire(100ms + IsoTransportAssembler::kPacketTimeout, late.replies);
    EXPECT_EQ(late.codec.Counters().expired, 1u);
    EXPECT_TRUE(late.replies.empty());
}

TEST(IsoTransportReceive, AnswersAnRtsWithCtsAndClosesWithEndOfMsgAck) {
    Listener bus(kOwn);
    bus.Feed(Rts(9));
    EXPECT_EQ(bus.TakeReplies(), (std::vector<CanFrame>{Cts(2, 1)}));
    EXPECT_FALSE(bus.Feed(Packet(1, 9)));
    EXPECT_TRUE(bus.TakeReplies().empty());
    EXPECT_TRUE(bus.Feed(Packet(2, 9)));
    EXPECT_EQ(bus.TakeReplies(), (std::vector<CanFrame>{EndOfMsgAck(9)}));
    const N2KMsg& msg = bus.delivered.front();
    EXPECT_EQ(msg.pgn, 126208u);
    EXPECT_EQ(msg.priority, 3);
    EXPECT_EQ(msg.addressA, 0x23);
    EXPECT_EQ(msg.addressB, kOwn);
    EXPECT_EQ(msg.transport, kIsoTransport);
    EXPECT_EQ(PayloadOf(msg), CountingBytes(9));
}

TEST(IsoTransportReceive, GrantsPacketsInWindowsOfTheSendersMaximum) {
    Listener bus(kOwn);
    bus.Feed(Rts(1785, 16));
    std::vector<CanFrame> expected = {Cts(16, 1)};
    for (unsigned sequence = 1; sequence <= 255; ++sequence) {
        if (sequence % 16 == 1) {
            ASSERT_EQ(bus.TakeReplies(), expected) << sequence;
        }
        bus.Feed(Packet(uint8_t(sequence), 1785));
        if (sequence % 16 == 0) {
            expected = {Cts(uint8_t(std::min(16u, 255 - sequence)), uint8_t(sequence + 1))};
        }
    }
    EXPECT_EQ(bus.TakeReplies(), (std::vector<CanFrame>{EndOfMsgAck(1785)}));
    ASSERT_EQ(bus.delivered.size(), 1u);
    EXPECT_EQ(PayloadOf(bus.delivered.front()), CountingBytes(1785));
}

TEST(IsoTransportReceive, IgnoresConnectionsBetweenOtherNodes) {
    Listener bus(0x43);
    bus.FeedAll({Rts(9), Packet(1, 9), Packet(2, 9)});
    Listener anonymous;
    anonymous.FeedAll({Rts(9), Packet(1, 9), Packet(2, 9)});
    for (const Listener* listener : {&bus, &anonymous}) {
        EXPECT_TRUE(listener->delivered.empty());
        EXPECT_TRUE(listener->replies.empty());
        EXPECT_EQ(listener->codec.Counters().orphanFrames, 0u);
    }
}


// Packets of a connection come in order: a skipped one was lost (bad
// sequence, 7), a repeated one is a duplicate (8).
TEST(IsoTransportReceive, PacketOutOfSequenceAbortsTheConnection) {
    struct Case {
        uint8_t sequence;
        uint8_t reason;
        uint64_t ferrow::net::CanCounters::*counter;
    };
    const Case cases[] = {
        {3, 7, &ferrow::net::CanCounters::incomplete},
        {1, 8, &ferrow::net::CanCounters::duplicate},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(int{c.sequence});
        Listener bus(kOwn);
        bus.FeedAll({Rts(20), Packet(1, 20)});
        bus.TakeReplies();
        bus.Feed(Packet(c.sequence, 20));
        EXPECT_EQ(bus.TakeReplies(), (std::vector<CanFrame>{Abort(kAnswerId, c.reason)}));
        EXPECT_EQ(bus.codec.Counters().*c.counter, 1u);
        EXPECT_TRUE(bus.delivered.empty());
    }
}

// A silent sender is aborted after the timeout; the sender's own Abort, or
// its next RTS, ends the connection it had.
TEST(IsoTransportReceive, AConnectionEndsOnSilenceOnTheSendersAbortOrOnItsNextRts) {
    Listener silent(kOwn);
    silent.Feed(Rts(9), 0ms);
    silent.TakeReplies();
    silent.codec.Expire(IsoTransportAssembler::kCtsTimeout - 1ms, silent.replies);
    EXPECT_TRUE(silent.TakeReplies().empty());
    silent.codec.Expire(IsoTransportAssembler::kCtsTimeout, silent.replies);
    EXPECT_EQ(silent.TakeReplies(), (std::vector<CanFrame>{Abort(kAnswerId, 3)}));
    EXPECT_EQ(silent.codec.Counters().expired, 1u);

    Listener aborted(kOwn);
    aborted.FeedAll({Rts(20), Packet(1, 20)});
    aborted.Feed(Frame(kRtsId, {0xFF, 0x03, 0xFF, 0xFF, 0xFF, 0x00, 0xED, 0x01}));
    aborted.Feed(Packet(2, 20));
    EXPECT_EQ(aborted.codec.Counters().abortedBySender, 1u);
    EXPECT_EQ(aborted.codec.Counters().orphanFrames, 1u);
    EXPECT_TRUE(aborted.delivered.empty());

    Listener restarted(kOwn);
    restarted.FeedAll({Rts(20), Packet(1, 20), Rts(9), Packet(1, 9), Packet(2, 9)});
    EXPECT_EQ(restarted.codec.Counters().incomplete, 1u);
    ASSERT_EQ(restarted.delivered.size(), 1u);
    EXPECT_EQ(restarted.delivered.front().length, 9);
}

// Past 1,785 bytes (reason 9), or with every session taken (busy, 1).
TEST(IsoTransportReceive, AbortsAnRtsPast1785BytesOrWithEverySessionTaken) {
    Listener bus(kOwn);
    bus.Feed(Frame(kRtsId, {0x10, 0xFA, 0x06, 0xFF, 0xFF, 0x00, 0xED, 0x01}));
    EXPECT_EQ(bus.TakeReplies(), (std::vector<CanFrame>{Abort(kAnswerId, 9)}));
    EXPECT_EQ(bus.codec.Counters().oversize, 1u);

    for (unsigned source = 0; source < IsoTransportAssembler::kSessions; ++source) {
        bus.Feed(Rts(20, 0xFF, 0x0CEC4200 | source));
    }
    EXPECT_EQ(bus.TakeReplies().size(), IsoTransportAssembler::kSessions);
    bus.Feed(Rts(20));
    EXPECT_EQ(bus.TakeReplies(), (std::vector<CanFrame>{Abort(kAnswerId, 1)}));
    EXPECT_EQ(bus.codec.Counters().noRoom, 1u);
}

}  // namespace

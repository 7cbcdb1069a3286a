// Sending over ISO transport, every frame at priority 7: a BAM with its data
// packets for a global message, and a connection (RTS, the packets each CTS
// asks for, 16 at most, the end acknowledged, aborted or timed out) for an
// addressed one; at 9 and 1,785 bytes, with 1,786 refused.
#include "net/can/IsoTransmitSession.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::IsoTransmitSession;
using namespace ferrow::test;

constexpr uint8_t kIsoTransport = 3;

// Broadcasts from 0x23, and our side of a connection to 0x42.
constexpr uint32_t kBamId = 0x1CECFF23;
constexpr uint32_t kBroadcastDataId = 0x1CEBFF23;
constexpr uint32_t kOurRtsId = 0x1CEC4223;
constexpr uint32_t kOurDataId = 0x1CEB4223;

// Group function (126208) is a fast packet: past 223 bytes it connects.
constexpr uint16_t kConnected = 230;

struct Sender {
    N2KStatus Connect(uint16_t size, uint8_t destination = 0x42,
                      std::chrono::milliseconds now = 0ms) {
        return codec.Send(Counting(kGroupPgn, 3, 0x23, destination, kIsoTransport, size), now,
                          frames);
    }
    std::vector<CanFrame> Answer(const CanFrame& frame, std::chrono::milliseconds now = 0ms) {
        N2KMsg msg{};
        frames.clear();
        EXPECT_FALSE(codec.Receive(frame, now, msg, frames));
        return frames;
    }
    std::vector<CanFrame> Expire(std::chrono::milliseconds now) {
        frames.clear();
        codec.Expire(now, frames);
        return frames;
    }

    N2KCanCodec codec{0x23};
    std::vector<CanFrame> frames;
};

// Commanded address (65240) is single-frame: its nine bytes are broadcast.
// A PDU2 PGN has no destination, so it is broadcast whatever addressB says.
TEST(IsoTransportSend, BroadcastsAtPriority7WhateverTheMessagesPriority) {
    Sender sender;
    ASSERT_EQ(sender.codec.Send(Counting(65240, 3, 0x23, 0x42, 1, 9), 0ms, sender.frames), N2K_OK);
    EXPECT_EQ(sender.frames,
              (std::vector<CanFrame>{
                  Frame(kBamId, {0x20, 0x09, 0x00, 0x02, 0xFF, 0xD8, 0xFE, 0x00}),
                  Frame(kBroadcastDataId, {0x01, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}),
                  Frame(kBroadcastDataId, {0x02, 0x08, 0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              }));

    sender.frames.clear();
    ASSERT_EQ(sender.codec.Send(Counting(129540, 6, 0x23, 255, 2, 1785), 0ms, sender.frames),
              N2K_OK);
    ASSERT_EQ(sender.frames.size(), 256u);
    EXPECT_EQ(sender.frames[0], Frame(kBamId, {0x20, 0xF9, 0x06, 0xFF, 0xFF, 0x04, 0xFA, 0x01}));
    EXPECT_EQ(sender.frames[37],
              Frame(kBroadcastDataId, {0x25, 0xFD, 0xFE, 0xFF, 0x00, 0x01, 0x02, 0x03}));
    EXPECT_EQ(sender.frames[255],
              Frame(kBroadcastDataId, {0xFF, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9}));
    for (uint8_t sequence = 1; sequence != 0; ++sequence) {
        ASSERT_EQ(sender.frames[sequence], CountingPacket(kBroadcastDataId, sequence, 1785));
    }

    sender.frames.clear();
    EXPECT_EQ(sender.codec.Send(Counting(129540, 6, 0x23, 255, 3, 1786), 0ms, sender.frames),
              N2K_BAD_MESSAGE);
    EXPECT_EQ(sender.Connect(1786), N2K_BAD_MESSAGE);
    EXPECT_TRUE(sender.frames.empty());
}

// The RTS offers 16 packets per CTS; a CTS that asks for more gets 16, and
// one may ask again for packets already sent. A CTS for another PGN is not
// ours.
TEST(IsoTransportSend, ConnectsAndSendsWhatEachCtsAsksUntilTheAcknowledgement) {
    Sender sender;
    ASSERT_EQ(sender.Connect(kConnected), N2K_OK);
    EXPECT_EQ(sender.frames, (std::vector<CanFrame>{Frame(
                                 kOurRtsId, {0x10, 0xE6, 0x00, 0x21, 0x10, 0x00, 0xED, 0x01})}));
    EXPECT_EQ(sender.Answer(Cts(2, 1)),
              (std::vector<CanFrame>{CountingPacket(kOurDataId, 1, kConnected),
                                     CountingPacket(kOurDataId, 2, kConnected)}));
    EXPECT_EQ(sender.Answer(Cts(1, 2)),
              (std::vector<CanFrame>{CountingPacket(kOurDataId, 2, kConnected)}));
    EXPECT_TRUE(sender.Answer(Frame(kAnswerId, {0x11, 0x02, 0x01, 0xFF, 0xFF, 0x00, 0xEE, 0x01}))
                    .empty());
    unsigned next = 3;
    while (next <= 33) {
        const auto packets = sender.Answer(Cts(255, static_cast<uint8_t>(next)));
        ASSERT_EQ(packets.size(), std::min(16u, 34 - next));
        for (const CanFrame& packet : packets) {
            ASSERT_EQ(packet, CountingPacket(kOurDataId, uint8_t(next++), kConnected));
        }
    }
    sender.Answer(EndOfMsgAck(kConnected));
    EXPECT_EQ(sender.codec.Counters().connectionsCompleted, 1u);
    EXPECT_TRUE(sender.Answer(Cts(2, 1)).empty()) << "the connection is over";
}

TEST(IsoTransportSend, OneConnectionPerDestinationAndEightAtOnce) {
    Sender sender;
    ASSERT_EQ(sender.Connect(kConnected), N2K_OK);
    EXPECT_EQ(sender.Connect(kConnected), N2K_TX_BUSY);
    for (uint8_t destination = 0; destination < N2KCanCodec::kMaxConnections - 1; ++destination) {
        ASSERT_EQ(sender.Connect(kConnected, destination), N2K_OK);
    }
    EXPECT_EQ(sender.Connect(kConnected, 0x43), N2K_TX_BUSY);
    sender.Answer(EndOfMsgAck(kConnected));
    EXPECT_EQ(sender.Connect(kConnected), N2K_OK);
}

// Unanswered, the RTS times out with an Abort; a CTS that holds the transfer
// gives the receiver its own timeout; the receiver's Abort ends it at once.
TEST(IsoTransportSend, AConnectionEndsOnItsTimeoutsOrTheReceiversAbort) {
    Sender silent;
    silent.Connect(kConnected, 0x42, 1000ms);
    EXPECT_TRUE(silent.Expire(1000ms + IsoTransmitSession::kResponseTimeout - 1ms).empty());
    EXPECT_EQ(silent.Expire(1000ms + IsoTransmitSession::kResponseTimeout),
              (std::vector<CanFrame>{Abort(kOurRtsId, 0x03)}));
    EXPECT_EQ(silent.codec.Counters().connectionsTimedOut, 1u);
    EXPECT_EQ(silent.Connect(kConnected), N2K_OK);

    Sender held;
    held.Connect(kConnected, 0x42, 0ms);
    held.Answer(Cts(0, 1), 1000ms);
    EXPECT_TRUE(held.Expire(1000ms + IsoTransmitSession::kHoldTimeout - 1ms).empty());
    EXPECT_EQ(held.Expire(1000ms + IsoTransmitSession::kHoldTimeout).size(), 1u);

    Sender aborted;
    aborted.Connect(kConnected);
    EXPECT_TRUE(aborted.Answer(Abort(kAnswerId, 0x01)).empty());
    EXPECT_EQ(aborted.codec.Counters().connectionsAborted, 1u);
    EXPECT_TRUE(aborted.Answer(Cts(2, 1)).empty());
}

}  // namespace

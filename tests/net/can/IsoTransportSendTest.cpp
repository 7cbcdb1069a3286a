// Sending over ISO transport: a BAM with its data packets for a global
// message, and a connection (RTS, the packets each CTS asks for, the end
// acknowledged, aborted or timed out) for an addressed one; at 9 and 1,785
// bytes, with 8 and 1,786 refused.
#include "net/can/IsoTransmitSession.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::IsoTransmitSession;
using namespace ferrow::test;

constexpr uint8_t kIsoTransport = 3;

// GNSS satellites in view (129540) broadcast by 0x23 at priority 6.
constexpr uint32_t kSatsPgn = 129540;
constexpr uint32_t kBamId = 0x18ECFF23;
constexpr uint32_t kBroadcastDataId = 0x18EBFF23;

struct Sender {
    N2KStatus Send(uint16_t size, uint8_t destination = 0x42, std::chrono::milliseconds now = 0ms) {
        const uint32_t pgn = destination == 255 ? kSatsPgn : kGroupPgn;
        const uint8_t priority = destination == 255 ? 6 : 3;
        return codec.Send(Counting(pgn, priority, 0x23, destination, kIsoTransport, size), now,
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

TEST(IsoTransportSend, BroadcastsANineByteMessage) {
    Sender sender;
    ASSERT_EQ(sender.Send(9, 255), N2K_OK);
    EXPECT_EQ(sender.frames,
              (std::vector<CanFrame>{
                  Frame(kBamId, {0x20, 0x09, 0x00, 0x02, 0xFF, 0x04, 0xFA, 0x01}),
                  Frame(kBroadcastDataId, {0x01, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}),
                  Frame(kBroadcastDataId, {0x02, 0x08, 0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              }));
}

TEST(IsoTransportSend, BroadcastsA1785ByteMessageIn255Packets) {
    Sender sender;
    ASSERT_EQ(sender.Send(1785, 255), N2K_OK);
    ASSERT_EQ(sender.frames.size(), 256u);
    EXPECT_EQ(sender.frames[0], Frame(kBamId, {0x20, 0xF9, 0x06, 0xFF, 0xFF, 0x04, 0xFA, 0x01}));
    EXPECT_EQ(sender.frames[1],
              Frame(kBroadcastDataId, {0x01, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}));
    EXPECT_EQ(sender.frames[37],
              Frame(kBroadcastDataId, {0x25, 0xFD, 0xFE, 0xFF, 0x00, 0x01, 0x02, 0x03}));
    EXPECT_EQ(sender.frames[255],
              Frame(kBroadcastDataId, {0xFF, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9}));
    for (uint8_t sequence = 1; sequence != 0; ++sequence) {
        ASSERT_EQ(sender.frames[sequence], CountingPacket(kBroadcastDataId, sequence, 1785));
    }
}

TEST(IsoTransportSend, RefusesWhatIsoTransportCannotCarry) {
    Sender sender;
    EXPECT_EQ(sender.Send(1786, 255), N2K_BAD_MESSAGE);
    EXPECT_EQ(sender.Send(1786, 0x42), N2K_BAD_MESSAGE);
    EXPECT_EQ(sender.Send(8, 255), N2K_BAD_MESSAGE);
    EXPECT_TRUE(sender.frames.empty());
}

TEST(IsoTransportSend, BroadcastsAPdu2PgnWhateverItsDestination) {
    Sender sender;
    ASSERT_EQ(sender.codec.Send(Counting(kSatsPgn, 6, 0x23, 0x42, kIsoTransport, 9), 0ms,
                                sender.frames),
              N2K_OK);
    ASSERT_EQ(sender.frames.size(), 3u);
    EXPECT_EQ(sender.frames[0].id, kBamId);
}

TEST(IsoTransportSend, ConnectsForANineByteMessageAndEndsOnItsAcknowledgement) {
    Sender sender;
    ASSERT_EQ(sender.Send(9), N2K_OK);
    EXPECT_EQ(sender.frames, (std::vector<CanFrame>{
                                 Frame(kRtsId, {0x10, 0x09, 0x00, 0x02, 0xFF, 0x00, 0xED, 0x01})}));
    EXPECT_EQ(sender.Answer(Cts(2, 1)),
              (std::vector<CanFrame>{
                  Frame(kConnectionDataId, {0x01, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}),
                  Frame(kConnectionDataId, {0x02, 0x08, 0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              }));
    EXPECT_TRUE(sender.Answer(EndOfMsgAck(9)).empty());
    EXPECT_EQ(sender.codec.Counters().connectionsCompleted, 1u);
}

TEST(IsoTransportSend, SendsA1785ByteMessageAsEachCtsAsks) {
    Sender sender;
    ASSERT_EQ(sender.Send(1785), N2K_OK);
    EXPECT_EQ(sender.frames, (std::vector<CanFrame>{Frame(
                                 kRtsId, {0x10, 0xF9, 0x06, 0xFF, 0xFF, 0x00, 0xED, 0x01})}));
    unsigned next = 1;
    while (next <= 255) {
        const auto count = static_cast<uint8_t>(std::min(16u, 256 - next));
        const auto packets = sender.Answer(Cts(count, static_cast<uint8_t>(next)));
        ASSERT_EQ(packets.size(), count);
        for (const CanFrame& packet : packets) {
            ASSERT_EQ(packet, CountingPacket(kConnectionDataId, uint8_t(next++), 1785));
        }
    }
    sender.Answer(EndOfMsgAck(1785));
    EXPECT_EQ(sender.codec.Counters().connectionsCompleted, 1u);
}

TEST(IsoTransportSend, SendsAgainThePacketsACtsAsksFor) {
    Sender sender;
    sender.Send(30);
    sender.Answer(Cts(5, 1));
    EXPECT_EQ(sender.Answer(Cts(2, 3)),
              (std::vector<CanFrame>{CountingPacket(kConnectionDataId, 3, 30),
                                     CountingPacket(kConnectionDataId, 4, 30)}));
}

TEST(IsoTransportSend, IgnoresACtsForAnotherPgn) {
    Sender sender;
    sender.Send(9);
    EXPECT_TRUE(sender.Answer(Frame(kAnswerId, {0x11, 0x02, 0x01, 0xFF, 0xFF, 0x00, 0xEE, 0x01}))
                    .empty());
}

TEST(IsoTransportSend, OneConnectionAtATimeToADestination) {
    Sender sender;
    ASSERT_EQ(sender.Send(9), N2K_OK);
    EXPECT_EQ(sender.Send(9), N2K_TX_BUSY);
    EXPECT_EQ(sender.Send(9, 0x43), N2K_OK);
    sender.Answer(EndOfMsgAck(9));
    EXPECT_EQ(sender.Send(9), N2K_OK);
}

TEST(IsoTransportSend, RefusesAConnectionPastTheLimit) {
    Sender sender;
    for (uint8_t destination = 0; destination < N2KCanCodec::kMaxConnections; ++destination) {
        ASSERT_EQ(sender.Send(9, destination), N2K_OK);
    }
    EXPECT_EQ(sender.Send(9, 0x42), N2K_TX_BUSY);
}

TEST(IsoTransportSend, UnansweredRtsTimesOutWithAnAbort) {
    Sender sender;
    sender.Send(9, 0x42, 1000ms);
    EXPECT_TRUE(sender.Expire(1000ms + IsoTransmitSession::kResponseTimeout - 1ms).empty());
    EXPECT_EQ(sender.Expire(1000ms + IsoTransmitSession::kResponseTimeout),
              (std::vector<CanFrame>{
                  Abort(kRtsId, 0x03)}));
    EXPECT_EQ(sender.codec.Counters().connectionsTimedOut, 1u);
    EXPECT_EQ(sender.Send(9), N2K_OK);
}

TEST(IsoTransportSend, HoldingCtsGivesTheReceiverItsOwnTimeout) {
    Sender sender;
    sender.Send(9, 0x42, 0ms);
    sender.Answer(Cts(0, 1), 1000ms);
    EXPECT_TRUE(sender.Expire(1000ms + IsoTransmitSession::kHoldTimeout - 1ms).empty());
    EXPECT_EQ(sender.Expire(1000ms + IsoTransmitSession::kHoldTimeout).size(), 1u);
}

TEST(IsoTransportSend, ReceiverAbortEndsTheConnection) {
    Sender sender;
    sender.Send(9);
    EXPECT_TRUE(sender.Answer(Abort(kAnswerId, 0x01)).empty());
    EXPECT_EQ(sender.codec.Counters().connectionsAborted, 1u);
    EXPECT_TRUE(sender.Answer(Cts(2, 1)).empty());
}

}  // namespace

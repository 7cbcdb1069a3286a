// The gateway's frame transport over an in-memory wire and over a replayed
// log: framing by the PGN table, whole messages and paced broadcasts on the
// way out, a receive side that leaves what it cannot hold in its link, the
// device's own address, what it counts. What every transport owes is
// checked by the contract suite.
#include "net/links/FrameTransport.h"
#include "net/can/TransmitQueue.h"
#include "net/formats/CandumpLineFormat.h"
#include "net/links/LogReplayLink.h"
#include "tests/net/can/CanTestFrames.h"
#include "tests/net/links/WireLink.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using ferrow::net::FrameLog;
using ferrow::net::FrameTransport;
using ferrow::net::LogReplayLink;
using ferrow::net::TransmitQueue;
using namespace ferrow::test;

namespace {

uint32_t NumberOf(const N2KMsg& msg) { return msg.data[0] | msg.data[1] << 8 | msg.data[2] << 16; }

struct Pair {
    explicit Pair(std::unique_ptr<FrameLog> log = nullptr)
        : a(std::make_unique<WireEnd>(wire, true), [this] { return now; }, std::move(log)),
          b(std::make_unique<WireEnd>(wire, false), [this] { return now; }) {
        a.Open();
        b.Open();
    }
    // Lets both sides work, time moving on a broadcast's gap each round,
    // until `to` has a message or a long while has passed.
    bool Deliver(FrameTransport& from, FrameTransport& to, N2KMsg& out) {
        for (int round = 0; round < 1000; ++round, now += TransmitQueue::kBroadcastGap) {
            if (to.Fetch(out) == N2K_OK) return true;
            N2KMsg ignored{};
            from.Fetch(ignored);
        }
        return false;
    }
    bool Deliver(N2KMsg& out) { return Deliver(a, b, out); }
    Wire wire;
    std::chrono::milliseconds now{1000};
    FrameTransport a, b;
};

}  // namespace

// 127250 is single-frame and 129029 a fast packet whatever the record says;
// ISO transport frames go at priority 7, which the receiver gives the message.
TEST(FrameTransport, MessagesCrossTheWireFramedByThePgnTable) {
    struct Case {
        uint32_t pgn;
        uint8_t field;
        uint16_t length;
        uint8_t dest;
        uint8_t transport;
        size_t frames;  // on the wire, answers included
    };
    const Case cases[] = {
        {127250, 2, 8, 255, 1, 1},
        {129029, 1, 223, 255, 2, 32},
        {130820, 3, 1785, 255, 3, 256},  // BAM and 255 data packets
        {126208, 3, 1785, 0x42, 3, 0},   // RTS/CTS to our peer: not counted
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pgn);
        Pair pair;
        pair.a.SetDeviceAddress(0x23);
        pair.b.SetDeviceAddress(0x42);
        const N2KMsg sent = Counting(c.pgn, 3, 0x23, c.dest, c.field, c.length);
        ASSERT_EQ(pair.a.Send(sent), N2K_OK);
        N2KMsg got{};
        ASSERT_TRUE(pair.Deliver(got));
        EXPECT_EQ(got.pgn, c.pgn);
        EXPECT_EQ(got.transport, c.transport);
        EXPECT_EQ(got.length, c.length);
        EXPECT_EQ(got.addressA, 0x23);
        EXPECT_EQ(got.addressB, c.dest);
        EXPECT_EQ(got.priority, c.transport == 3 ? 7 : 3);
        EXPECT_EQ(PayloadOf(got), PayloadOf(sent));
        if (c.frames != 0) {
            EXPECT_EQ(pair.wire.frames, c.frames);
        }
    }
    Pair pair;
    EXPECT_EQ(pair.a.Send(Counting(129029, 8, 0x23, 255, 2, 8)), N2K_BAD_MESSAGE);
    EXPECT_EQ(pair.wire.frames, 0u);
}

// The broadcast's packets go as the transport's clock reaches them, on Send
// or Fetch, while a message sent meanwhile goes at once; a link that goes
// down loses what was queued, counted once per message.
TEST(FrameTransport, PacesABroadcastOnItsClockAndLosesItWithTheLink) {
    Pair pair;
    ASSERT_EQ(pair.a.Send(Counting(130820, 3, 0x23, 255, 2, 1785)), N2K_OK);
    EXPECT_EQ(pair.wire.frames, 1u);
    ASSERT_EQ(pair.a.Send(Counting(127250, 3, 0x23, 255, 1, 8)), N2K_OK);
    EXPECT_EQ(pair.wire.frames, 2u);
    N2KMsg msg{};
    pair.now += TransmitQueue::kBroadcastGap - 1ms;
    pair.a.Fetch(msg);
    EXPECT_EQ(pair.wire.frames, 2u);
    pair.now += 1ms;
    pair.a.Fetch(msg);
    EXPECT_EQ(pair.wire.frames, 3u);
    pair.wire.up = false;
    EXPECT_EQ(pair.a.Send(Counting(127250, 3, 0x23, 255, 1, 8)), N2K_NOT_CONNECTED);
    FerrowGatewayStats stats{};
    pair.a.AddStats(stats);
    EXPECT_EQ(stats.lostSends, 1u);
}

// A log far past the receive queue's room arrives whole and in order, fast
// or at the recorded pace with a firmware that fell far behind.
TEST(FrameTransport, ReplaysALogPastItsReceiveQueueWithoutLosingAFrame) {
    constexpr uint32_t kFrames = 3 * FrameTransport::kReceiveLimit;
    TempDir dir;
    const std::string path = dir.File("long.log");
    std::string text;
    for (uint32_t n = 0; n < kFrames; ++n) {
        text += ferrow::net::CandumpLineFormat().Format(
            Frame(0x09F11223, {uint8_t(n), uint8_t(n >> 8), uint8_t(n >> 16), 0}), {},
            std::chrono::microseconds(1000 * n));
    }
    TempDir::Write(path, text);
    for (const auto pace : {LogReplayLink::Pace::AsFastAsPossible, LogReplayLink::Pace::Recorded}) {
        SCOPED_TRACE(pace == LogReplayLink::Pace::Recorded ? "recorded" : "fast");
        std::chrono::steady_clock::time_point logTime{};
        LogReplayLink::Options options{{}, pace, [&] { return logTime; }};
        FrameTransport replay(std::make_unique<LogReplayLink>(path, options));
        ASSERT_EQ(replay.Open(), 0);
        logTime += std::chrono::hours(1);
        N2KMsg msg{};
        for (uint32_t n = 0; n < kFrames; ++n) {
            ASSERT_EQ(replay.Fetch(msg), N2K_OK) << n;
            ASSERT_EQ(NumberOf(msg), n);
        }
        EXPECT_EQ(replay.Fetch(msg), N2K_NO_MESSAGE);
        EXPECT_EQ(replay.Dropped(), 0u);
    }
}

// The gateway tells the transport its device's address before the device's
// own messages only: a message sent for another node changes nothing.
TEST(FrameTransport, AnswersTransportSessionsOnTheDevicesAddressOnly) {
    Pair pair;
    pair.a.SetDeviceAddress(0x23);
    ASSERT_EQ(pair.a.Send(Counting(127250, 3, 0x99, 255, 1, 8)), N2K_OK);
    N2KMsg got{};
    ASSERT_TRUE(pair.Deliver(got));
    for (const uint8_t to : {0x23, 0x99}) {
        SCOPED_TRACE(int{to});
        ASSERT_EQ(pair.b.Send(Counting(kGroupPgn, 3, 0x42, to, 3, 300)), N2K_OK);
        EXPECT_EQ(pair.Deliver(pair.b, pair.a, got), to == 0x23);
    }
    EXPECT_EQ(got.addressB, 0x23);
    EXPECT_EQ(got.length, 300);
}

// Closing drops the messages not yet fetched. Frames and bits are counted
// both ways, the wire's drops with the transport's, and a recording that
// fails once is said once and counted.
TEST(FrameTransport, CloseDropsWhatWaitsAndTheStatisticsCountEveryWay) {
    Pair pair(std::make_unique<FrameLog>("/dev/full"));
    ::testing::internal::CaptureStderr();
    ASSERT_EQ(pair.a.Send(Counting(127250, 3, 0x23, 255, 1, 8)), N2K_OK);
    ASSERT_EQ(pair.b.Send(Counting(129029, 3, 0x42, 255, 2, 223)), N2K_OK);
    for (uint8_t n = 0; n < 3; ++n) {
        ASSERT_EQ(pair.b.Send(Counting(127250, 3, 0x42, 255, 1, n)), N2K_OK);
    }
    N2KMsg got{};
    ASSERT_EQ(pair.a.Fetch(got), N2K_OK);
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said,
              "Gateway: Stopped recording CAN frames to \"/dev/full\": No space left on device.\n");
    pair.a.Close();
    ASSERT_EQ(pair.a.Open(), 0);
    EXPECT_EQ(pair.a.Fetch(got), N2K_NO_MESSAGE);

    for (uint32_t n = 0; n < Wire::kLimit + 5; ++n) {
        ASSERT_EQ(pair.b.Send(Counting(127250, 3, 0x42, 255, 1, 0)), N2K_OK);
    }
    FerrowGatewayStats stats{};
    pair.a.AddStats(stats);
    EXPECT_EQ(stats.framesOut, 1u);
    EXPECT_EQ(stats.framesIn, 32u + 3u);
    EXPECT_EQ(stats.busBits, (67u + 64u) * 33u + 67u * 3u + 8u * (0u + 1u + 2u));
    EXPECT_EQ(stats.dropped, 5u);
    EXPECT_EQ(pair.a.Dropped(), 5u);
    EXPECT_EQ(stats.recordingFailures, 1u);
}

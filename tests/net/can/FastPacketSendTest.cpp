// Sending fast packets: the exact frames at the boundary lengths and the
// sequence id kept per source and PGN.
#include "net/can/N2KCanCodec.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::N2KCanCodec;
using namespace ferrow::test;

constexpr uint8_t kFastPacket = 2;

// The sequence id in the first frame of the message `msg` is sent as.
uint8_t SequenceOfNext(N2KCanCodec& codec, const N2KMsg& msg) {
    std::vector<CanFrame> frames;
    EXPECT_EQ(codec.Send(msg, 0ms, frames), N2K_OK);
    return frames.empty() ? 0xFF : frames.front().data[0] >> 5;
}

TEST(FastPacketSend, FramesEachBoundaryLengthAsTheTableSays) {
    for (const FastPacketCase& c : FastPacketBoundaries()) {
        SCOPED_TRACE(testing::Message() << "length " << c.length);
        N2KCanCodec codec;
        std::vector<CanFrame> frames;
        EXPECT_EQ(codec.Send(Counting(kGnssPgn, 3, 0x23, 255, kFastPacket, c.length), 0ms, frames),
                  N2K_OK);
        EXPECT_EQ(frames, c.frames);
    }
}

TEST(FastPacketSend, SequenceIdAdvancesWithEveryMessageAndWrapsAfterSeven) {
    N2KCanCodec codec;
    const N2KMsg msg = Counting(kGnssPgn, 3, 0x23, 255, kFastPacket, 20);
    for (uint8_t expected : {0, 1, 2, 3, 4, 5, 6, 7, 0, 1}) {
        std::vector<CanFrame> frames;
        ASSERT_EQ(codec.Send(msg, 0ms, frames), N2K_OK);
        ASSERT_EQ(frames.size(), 3u);
        for (uint8_t counter = 0; counter < 3; ++counter) {
            EXPECT_EQ(frames[counter].data[0], expected << 5 | counter);
        }
    }
}

TEST(FastPacketSend, SequenceIdIsKeptPerSourceAndPgn) {
    N2KCanCodec codec;
    const N2KMsg first = Counting(kGnssPgn, 3, 0x23, 255, kFastPacket, 10);
    const N2KMsg otherSource = Counting(kGnssPgn, 3, 0x24, 255, kFastPacket, 10);
    const N2KMsg otherPgn = Counting(129038, 3, 0x23, 255, kFastPacket, 10);
    EXPECT_EQ(SequenceOfNext(codec, first), 0);
    EXPECT_EQ(SequenceOfNext(codec, first), 1);
    EXPECT_EQ(SequenceOfNext(codec, otherSource), 0);
    EXPECT_EQ(SequenceOfNext(codec, otherPgn), 0);
    EXPECT_EQ(SequenceOfNext(codec, first), 2);
    EXPECT_EQ(SequenceOfNext(codec, otherSource), 1);
}

TEST(FastPacketSend, AddressedPgnCarriesItsDestination) {
    N2KCanCodec codec;
    std::vector<CanFrame> frames;
    ASSERT_EQ(codec.Send(Counting(126208, 3, 0x23, 0x42, kFastPacket, 3), 0ms, frames), N2K_OK);
    EXPECT_EQ(frames, (std::vector<CanFrame>{
                          Frame(0x0DED4223, {0x00, 0x03, 0x01, 0x02, 0x03, 0xFF, 0xFF, 0xFF})}));
}

// The third message of a source and PGN goes out with sequence id 2, byte
// for byte as the independent encoder framed it.
TEST(FastPacketSend, MatchesTheFramesOfAnIndependentEncoder) {
    const std::vector<uint8_t>& payload = PeerGnssPayload();
    N2KMsg msg = Counting(kGnssPgn, 3, 0x23, 255, kFastPacket, 0);
    msg.length = static_cast<uint16_t>(payload.size());
    std::copy(payload.begin(), payload.end(), msg.data);
    N2KCanCodec codec;
    std::vector<CanFrame> frames;
    codec.Send(msg, 0ms, frames);
    codec.Send(msg, 0ms, frames);
    frames.clear();
    ASSERT_EQ(codec.Send(msg, 0ms, frames), N2K_OK);
    EXPECT_EQ(frames, PeerGnssFrames());
}

}  // namespace

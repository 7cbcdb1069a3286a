// The frame transport's transmit queue with literal frames and a link that
// takes only what it is allowed: whole messages or none, a refused frame
// offered again first, answers ahead of messages in a reserve of their own,
// and broadcasts paced 50 ms a packet, one at a time per source.
#include "net/can/TransmitQueue.h"
#include "tests/net/can/CanTestFrames.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::TransmitQueue;
using namespace ferrow::test;

// Takes `room` more frames, then refuses.
struct Link {
    bool Take(const CanFrame& frame) {
        if (room == 0) return false;
        --room;
        sent.push_back(frame);
        return true;
    }
    std::vector<CanFrame> Sent() { return std::exchange(sent, {}); }
    std::size_t room = 0;
    std::vector<CanFrame> sent;
};

struct Queue {
    void Drain(std::chrono::milliseconds now = 0ms) {
        queue.Drain(now, [this](const CanFrame& frame) { return link.Take(frame); });
    }
    TransmitQueue queue;
    Link link;
};

CanFrame Single(uint8_t n) { return Frame(0x09F11223, {n}); }

std::vector<CanFrame> Singles(uint8_t first, std::size_t count) {
    std::vector<CanFrame> frames;
    for (std::size_t i = 0; i < count; ++i) frames.push_back(Single(uint8_t(first + i)));
    return frames;
}

// A BAM of 65240 with its two data packets, from `source`.
std::vector<CanFrame> Broadcast(uint8_t source, uint8_t tag) {
    return {Frame(0x1CECFF00u | source, {0x20, 0x09, 0x00, 0x02, 0xFF, 0xD8, 0xFE, 0x00}),
            Frame(0x1CEBFF00u | source, {0x01, tag, 0, 0, 0, 0, 0, 0}),
            Frame(0x1CEBFF00u | source, {0x02, tag, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})};
}

TEST(TransmitQueue, TakesWholeMessagesOnlyAndOffersARefusedFrameAgainFirst) {
    Queue q;
    q.link.room = 2;
    ASSERT_TRUE(q.queue.Add(Singles(0, 3), 0ms));
    q.Drain();
    EXPECT_EQ(q.link.Sent(), Singles(0, 2));
    ASSERT_TRUE(q.queue.Add(Singles(3, 2), 0ms));
    q.Drain();
    EXPECT_TRUE(q.link.Sent().empty());
    q.link.room = 10;
    q.Drain();
    EXPECT_EQ(q.link.Sent(), Singles(2, 3));
    EXPECT_EQ(q.queue.Frames(), 0u);

    // Full to the last frame, it takes no message, however short.
    for (std::size_t n = 0; n < TransmitQueue::kCapacity / 256; ++n) {
        ASSERT_TRUE(q.queue.Add(Singles(0, 256), 0ms)) << n;
    }
    EXPECT_FALSE(q.queue.Fits(1));
    EXPECT_FALSE(q.queue.Add(Singles(0, 1), 0ms));
    EXPECT_EQ(q.queue.Frames(), TransmitQueue::kCapacity);
    q.link.room = 1;
    q.Drain();
    EXPECT_TRUE(q.queue.Add(Singles(0, 1), 0ms));
    EXPECT_FALSE(q.queue.Add(Singles(0, 1), 0ms));
    EXPECT_EQ(q.queue.LostSends(), 0u);
}

// Answers never wait for room that messages took, but have only their
// reserve; dropping the queue loses each message not wholly sent once.
TEST(TransmitQueue, AnswersGoFirstWithinTheirReserveAndAClearCountsWhatIsLost) {
    Queue q;
    q.link.room = 1;
    ASSERT_TRUE(q.queue.Add(Singles(0, 3), 0ms));
    q.Drain();
    ASSERT_TRUE(q.queue.Add(Singles(0, TransmitQueue::kCapacity - 2), 0ms));
    const std::vector<CanFrame> cts = {Frame(0x1CEC4223, {0x11, 0x10, 0x01})};
    q.queue.Answer(Singles(100, TransmitQueue::kAnswerReserve - 1));
    q.queue.Answer(cts);
    q.queue.Answer(cts);
    EXPECT_EQ(q.queue.LostAnswers(), 1u);
    EXPECT_EQ(q.queue.Frames(), TransmitQueue::kCapacity + TransmitQueue::kAnswerReserve);
    q.link.room = TransmitQueue::kAnswerReserve + 1;
    q.Drain();
    std::vector<CanFrame> expected = Singles(0, 1);
    const std::vector<CanFrame> answers = Singles(100, TransmitQueue::kAnswerReserve - 1);
    expected.insert(expected.end(), answers.begin(), answers.end());
    expected.push_back(cts.front());
    expected.push_back(Single(1));
    EXPECT_EQ(q.link.Sent(), expected);

    q.queue.Answer(cts);
    q.queue.Clear();
    EXPECT_EQ(q.queue.Frames(), 0u);
    EXPECT_EQ(q.queue.LostSends(), 2u) << "the one begun and the one not";
    EXPECT_EQ(q.queue.LostAnswers(), 2u);
}

// Each source's broadcasts go one after the other, their packets 50 ms
// apart; other messages, and another source's broadcast, go meanwhile.
TEST(TransmitQueue, PacesBroadcastsAndLetsOthersPassTheirWaitingPackets) {
    Queue q;
    q.link.room = 1000;
    const auto first = Broadcast(0x23, 1), second = Broadcast(0x23, 2), other = Broadcast(0x24, 3);
    ASSERT_TRUE(q.queue.Add(first, 0ms));
    ASSERT_TRUE(q.queue.Add({Single(9)}, 0ms));
    ASSERT_TRUE(q.queue.Add(second, 0ms));
    ASSERT_TRUE(q.queue.Add(other, 0ms));
    q.Drain(0ms);
    EXPECT_EQ(q.link.Sent(), (std::vector<CanFrame>{first[0], Single(9), other[0]}));
    q.Drain(49ms);
    EXPECT_TRUE(q.link.Sent().empty());
    q.Drain(50ms);
    EXPECT_EQ(q.link.Sent(), (std::vector<CanFrame>{first[1], other[1]}));
    ASSERT_TRUE(q.queue.Add({Single(10)}, 60ms));
    q.Drain(60ms);
    EXPECT_EQ(q.link.Sent(), std::vector<CanFrame>{Single(10)});
    // A packet the link refuses keeps its turn and goes when it can.
    q.link.room = 0;
    q.Drain(100ms);
    q.link.room = 1000;
    q.Drain(120ms);
    EXPECT_EQ(q.link.Sent(), (std::vector<CanFrame>{first[2], second[0], other[2]}));
    q.Drain(169ms);
    EXPECT_TRUE(q.link.Sent().empty());
    q.Drain(170ms);
    q.Drain(220ms);
    EXPECT_EQ(q.link.Sent(), (std::vector<CanFrame>{second[1], second[2]}));
    EXPECT_EQ(q.queue.Frames(), 0u);
}

}  // namespace

// The one bounded queue of message records: the monitor's and generator's
// stores, every transport's receive side and the virtual bus use it.
#include "net/transport/MessageQueue.h"
#include "buffers/ChunkedBytes.h"
#include "tests/net/GatewayRig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <thread>

namespace {

using ferrow::net::MessageQueue;
using ferrow::test::Numbered;
using ferrow::test::SeqOf;

// Rounds of fill past full, then take some: the survivors are always the
// oldest, in order, while the head moves round and round.
TEST(MessageQueue, KeepsTheOldestCountsDropsAndKeepsOrderAcrossRounds) {
    MessageQueue queue(5);
    uint32_t next = 0, expected = 0;
    uint64_t refused = 0;
    N2KMsg msg{};
    for (int round = 0; round < 7; ++round) {
        SCOPED_TRACE(round);
        while (queue.Size() < queue.Capacity()) ASSERT_TRUE(queue.Push(Numbered(1, next++)));
        for (int i = 0; i < 3; ++i, ++refused) EXPECT_FALSE(queue.Push(Numbered(1, 999)));
        EXPECT_EQ(queue.Dropped(), refused);
        for (int i = 0; i < 2 + round % 3; ++i) {
            ASSERT_TRUE(queue.Pop(msg));
            ASSERT_EQ(SeqOf(msg), expected++);
        }
    }
    while (queue.Pop(msg)) ASSERT_EQ(SeqOf(msg), expected++);
    EXPECT_EQ(expected, next);

    msg.pgn = 12345;
    EXPECT_FALSE(queue.Pop(msg));
    EXPECT_EQ(msg.pgn, 12345u) << "an empty queue leaves the record alone";

    ASSERT_TRUE(queue.Push(Numbered(1, 1)));
    queue.Clear();
    EXPECT_EQ(queue.Size(), 0u);
    EXPECT_EQ(queue.Dropped(), refused) << "clearing keeps the drop count";

    MessageQueue none(0);
    EXPECT_FALSE(none.Push(Numbered(1, 1)));
    EXPECT_EQ(none.Dropped(), 1u);
}

// Every header field travels; of the payload only `length` bytes are
// written, and a corrupt length never reads past the data field.
TEST(MessageQueue, CopiesTheHeaderAndOnlyTheValidPayload) {
    MessageQueue queue(4);
    N2KMsg in = Numbered(0x11, 0x04030201, 5);
    in.addressB = 0x22;
    in.priority = 6;
    in.transport = 2;
    in.timeStamp = 777;
    in.data[4] = 0x05;
    std::memset(in.data + 5, 0xEE, 20);
    N2KMsg corrupt = Numbered(1, 2);
    corrupt.length = 60000;
    ASSERT_TRUE(queue.Push(in));
    ASSERT_TRUE(queue.Push(corrupt));

    N2KMsg out;
    std::memset(&out, 0xA5, sizeof out);
    ASSERT_TRUE(queue.Pop(out));
    EXPECT_EQ(out.pgn, in.pgn);
    EXPECT_EQ(out.priority, 6);
    EXPECT_EQ(out.addressA, 0x11);
    EXPECT_EQ(out.addressB, 0x22);
    EXPECT_EQ(out.transport, 2);
    EXPECT_EQ(out.length, 5u);
    EXPECT_EQ(out.timeStamp, 777u);
    EXPECT_EQ(std::memcmp(out.data, in.data, 5), 0);
    EXPECT_EQ(out.data[5], 0xA5) << "bytes past the length keep what they held";

    ASSERT_TRUE(queue.Pop(out));
    EXPECT_EQ(out.length, 60000u);
    EXPECT_EQ(SeqOf(out), 2u);
}

// Records are kept as long as their messages, across chunk ends whole, and
// a queue that was full gives its memory back as it empties.
TEST(MessageQueue, MemoryFollowsTheBacklogAndLongRecordsCrossChunksWhole) {
    constexpr std::size_t kChunk = ferrow::buffers::ChunkedBytes::kChunk;
    MessageQueue queue(4096);
    for (uint32_t seq = 0; seq < 4096; ++seq) ASSERT_TRUE(queue.Push(Numbered(1, seq)));
    EXPECT_LE(queue.ReservedBytes(), 4096 * (14 + 8) + kChunk) << "not 1,800 bytes a record";
    N2KMsg msg;
    while (queue.Pop(msg)) {}
    EXPECT_LE(queue.ReservedBytes(), kChunk);

    const uint16_t lengths[] = {1785, 0, 223, 1786, 1785};
    for (uint16_t length : lengths) {
        N2KMsg in = Numbered(2, length, length);
        for (unsigned i = 4; i < length; ++i) in.data[i] = uint8_t(i * 13 + length);
        ASSERT_TRUE(queue.Push(in));
    }
    for (uint16_t length : lengths) {
        SCOPED_TRACE(length);
        N2KMsg in = Numbered(2, length, length);
        for (unsigned i = 4; i < length; ++i) in.data[i] = uint8_t(i * 13 + length);
        ASSERT_TRUE(queue.Pop(msg));
        EXPECT_EQ(std::memcmp(&msg, &in, offsetof(N2KMsg, data) + length), 0);
        EXPECT_EQ(msg.timeStamp, in.timeStamp);
    }
    queue.Push(Numbered(1, 1));
    queue.Clear();
    EXPECT_EQ(queue.ReservedBytes(), 0u);
}

// One thread fills while another empties: nothing is lost or reordered
// unless counted as dropped, and every message arrives whole.
TEST(MessageQueue, AProducerAndAConsumerOnTwoThreadsLoseOnlyWhatIsCounted) {
    constexpr uint32_t kMessages = 20000;
    MessageQueue queue(64);
    std::atomic<bool> produced{false};
    std::thread producer([&] {
        for (uint32_t seq = 0; seq < kMessages; ++seq) {
            queue.Push(Numbered(1, seq, static_cast<uint16_t>(4 + seq % 200)));
        }
        produced = true;
    });
    uint32_t received = 0, last = 0, torn = 0, disordered = 0;
    N2KMsg msg;
    for (;;) {
        const bool done = produced;
        if (!queue.Pop(msg)) {
            if (done) break;
            std::this_thread::yield();
            continue;
        }
        const uint32_t seq = SeqOf(msg);
        torn += msg.length != 4 + seq % 200;
        disordered += received > 0 && seq <= last;
        last = seq;
        ++received;
    }
    producer.join();
    EXPECT_EQ(torn, 0u);
    EXPECT_EQ(disordered, 0u);
    EXPECT_EQ(received + queue.Dropped(), kMessages);
}

}  // namespace

#include "n2k/MessageStore.h"
#include "net/N2KRecord.h"

#include <gtest/gtest.h>

#include <cstring>

using ferrow::n2k::MessageStore;
using ferrow::net::N2KRecord;

namespace {

N2KMsg Message(uint32_t pgn, uint16_t length, uint8_t fill) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 3;
    msg.addressA = 0x11;
    msg.addressB = 0x22;
    msg.transport = 2;
    msg.length = length;
    msg.timeStamp = pgn * 7;
    std::memset(msg.data, fill, length);
    return msg;
}

}  // namespace

TEST(N2KRecord, CopiesTheHeaderAndOnlyTheValidPayload) {
    N2KMsg longer = Message(1, 100, 0xAA);
    N2KMsg shorter = Message(2, 4, 0x55);
    N2KRecord::Copy(&longer, &shorter);
    EXPECT_EQ(longer.pgn, 2u);
    EXPECT_EQ(longer.length, 4u);
    EXPECT_EQ(longer.timeStamp, 14u);
    EXPECT_EQ(longer.data[3], 0x55);
    EXPECT_EQ(longer.data[4], 0xAA) << "bytes past the new length keep what they held";

    N2KMsg empty = Message(3, 0, 0);
    N2KRecord::Copy(&shorter, &empty);
    EXPECT_EQ(shorter.pgn, 3u);
    EXPECT_EQ(shorter.data[0], 0x55);

    N2KMsg bad = Message(4, 8, 1);
    bad.length = 60000;  // a record filled by someone else: never read past data
    N2KMsg out{};
    N2KRecord::Copy(&out, &bad);
    EXPECT_EQ(out.length, 60000u);
    N2KRecord::Copy(nullptr, &bad);
    N2KRecord::Copy(&out, nullptr);

    EXPECT_EQ(N2KRecord::MultiFrameTransport(223), 2);
    EXPECT_EQ(N2KRecord::MultiFrameTransport(224), 3);
}

TEST(MessageStore, KeepsTheOldestWhenFullAndWrapsAround) {
    MessageStore store(3);
    N2KMsg out{};
    for (uint32_t round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        for (uint32_t i = 0; i < 4; ++i) {
            const N2KMsg msg = Message(round * 10 + i, static_cast<uint16_t>(i + 1), uint8_t(i));
            EXPECT_EQ(store.Put(&msg), i < 3 ? 1 : 0);
        }
        EXPECT_EQ(store.Offered(), round * 5 + 4);
        EXPECT_EQ(store.Count(), 3);
        // Take two, add one: the indexes move off zero before the next round.
        for (uint32_t i = 0; i < 2; ++i) {
            ASSERT_EQ(store.Get(&out), 1);
            EXPECT_EQ(out.pgn, round * 10 + i);
            EXPECT_EQ(out.length, i + 1);
        }
        const N2KMsg extra = Message(round * 10 + 9, 9, 9);
        EXPECT_EQ(store.Put(&extra), 1);
        ASSERT_EQ(store.Get(&out), 1);
        EXPECT_EQ(out.pgn, round * 10 + 2);
        ASSERT_EQ(store.Get(nullptr), 1) << "a null record still takes the message";
        out.pgn = 12345;
        EXPECT_EQ(store.Get(&out), 0);
        EXPECT_EQ(out.pgn, 12345u) << "an empty store leaves the record alone";
    }
    EXPECT_EQ(store.Put(nullptr), -1);
    EXPECT_EQ(store.Offered(), 20u) << "a null message is not counted";
    store.Clear();
    EXPECT_EQ(store.Offered(), 0u);
    EXPECT_EQ(store.Get(&out), 0);
}

TEST(MessageStore, CapacityZeroDropsEverything) {
    MessageStore store(0);
    const N2KMsg msg = Message(1, 1, 1);
    EXPECT_EQ(store.Put(&msg), 0);
    EXPECT_EQ(store.Offered(), 1u);
    EXPECT_EQ(store.Get(nullptr), 0);
}

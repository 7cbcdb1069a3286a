// The monitor's and generator's store: the answers the API gives and the
// count of offered messages; keeping the oldest is the queue's own test.
#include "n2k/MessageStore.h"

#include <gtest/gtest.h>

using ferrow::n2k::MessageStore;

namespace {

N2KMsg Message(uint32_t pgn) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.length = 1;
    return msg;
}

TEST(MessageStore, AnswersOneZeroOrMinusOneAndCountsWhatWasOffered) {
    MessageStore store(2);
    const N2KMsg first = Message(1), second = Message(2), third = Message(3);
    EXPECT_EQ(store.Put(&first), 1);
    EXPECT_EQ(store.Put(&second), 1);
    EXPECT_EQ(store.Put(&third), 0) << "full: the new message is dropped";
    EXPECT_EQ(store.Put(nullptr), -1);
    EXPECT_EQ(store.Offered(), 3u) << "dropped ones count, a null one does not";

    N2KMsg out{};
    ASSERT_EQ(store.Get(nullptr), 1) << "a null record still takes the message";
    ASSERT_EQ(store.Get(&out), 1);
    EXPECT_EQ(out.pgn, 2u);
    out.pgn = 12345;
    EXPECT_EQ(store.Get(&out), 0);
    EXPECT_EQ(out.pgn, 12345u) << "an empty store leaves the record alone";

    EXPECT_EQ(store.Put(&first), 1);
    store.Clear();
    EXPECT_EQ(store.Offered(), 0u);
    EXPECT_EQ(store.Get(&out), 0);

    MessageStore none(0);
    EXPECT_EQ(none.Put(&first), 0);
    EXPECT_EQ(none.Offered(), 1u);
    EXPECT_EQ(none.Get(nullptr), 0);
}

}  // namespace

// The receive queue behind a virtual bus member.
#include "net/RecordQueue.h"
#include "tests/net/GatewayRig.h"

#include <gtest/gtest.h>

namespace {

using ferrow::test::Numbered;
using ferrow::test::SeqOf;

// Filling, half emptying and refilling leaves the records across the end of
// the slots before every growth, up to the limit.
TEST(RecordQueue, KeepsOrderWhileGrowingAcrossTheWrapUpToItsLimit) {
    ferrow::net::RecordQueue queue(400);
    uint32_t pushed = 0, popped = 0;
    N2KMsg msg{};
    for (int round = 0; round < 5; ++round) {
        for (int i = 0; i < 90; ++i) ASSERT_TRUE(queue.Push(Numbered(1, pushed++)));
        for (int i = 0; i < 45; ++i) {
            ASSERT_TRUE(queue.Pop(msg));
            ASSERT_EQ(SeqOf(msg), popped++);
        }
    }
    while (queue.Push(Numbered(1, pushed))) ++pushed;
    EXPECT_EQ(queue.Size(), 400u);
    while (queue.Pop(msg)) ASSERT_EQ(SeqOf(msg), popped++);
    EXPECT_EQ(popped, pushed);
}

}  // namespace

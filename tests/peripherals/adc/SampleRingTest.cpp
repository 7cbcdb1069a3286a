// The ring shared by the ADC and capture queues, at its boundaries: full,
// wrapping reader, reset, one slot, no slot.
#include "peripherals/SampleRing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using Ring = ferrow::peripherals::SampleRing<uint32_t>;

namespace {

std::vector<uint32_t> Read(Ring& ring, int n, bool advance) {
    std::vector<uint32_t> out(n > 0 ? n : 1);
    out.resize(ring.Read(out.data(), n, advance, [](uint32_t v) { return v; }));
    return out;
}

int PutUntilFull(Ring& ring, uint32_t first) {
    int puts = 0;
    while (!ring.Full()) ring.Put(first + puts++);
    return puts;
}

}  // namespace

TEST(SampleRing, KeepsOneSlotFreeBeforeTheReaderAndReadsBackToTheOldest) {
    Ring ring(4);
    EXPECT_EQ(PutUntilFull(ring, 1), 3);
    EXPECT_EQ(Read(ring, 9, false), (std::vector<uint32_t>{1})) << "only the reader's sample is behind it";
    EXPECT_EQ(ring.Skip(10), 2);
    EXPECT_EQ(PutUntilFull(ring, 4), 2);
    EXPECT_EQ(ring.Skip(10), 2);
    EXPECT_EQ(ring.ReadWraps(), 1u);
    EXPECT_EQ(ring.ReadPosition(), 0u);
    ring.Put(6);
    // Slots 5 6 3 4: back from the reader's slot 0 to the oldest kept, slot 2.
    EXPECT_EQ(Read(ring, 9, true), (std::vector<uint32_t>{5, 4, 3}));
    EXPECT_EQ(ring.Sequence(), 5u);
    EXPECT_EQ(Read(ring, 1, true), (std::vector<uint32_t>{6}));
    EXPECT_EQ(Read(ring, 1, true), (std::vector<uint32_t>{6})) << "the reader stays on the newest";
    EXPECT_EQ(ring.Sequence(), 5u);

    ring.Reset();
    EXPECT_TRUE(ring.Empty());
    EXPECT_EQ(ring.Sequence(), 0u) << "no wraps, reader at 0";
    EXPECT_EQ(ring.At(3), 4u) << "the stored samples stay";
    ring.Put(7);
    EXPECT_EQ(Read(ring, 9, false), (std::vector<uint32_t>{7})) << "none from before is read again";
}

TEST(SampleRing, OneSlotIsAlwaysOverwrittenNoSlotTakesNothingAndNoCountIsNegative) {
    Ring one(1);
    for (uint32_t v = 1; v <= 3; ++v) {
        ASSERT_FALSE(one.Full());
        one.Put(v);
        EXPECT_EQ(Read(one, 3, true), (std::vector<uint32_t>{v}));
    }
    EXPECT_EQ(one.Skip(1), 0);
    Ring none(0);
    EXPECT_TRUE(none.Full());
    EXPECT_EQ(none.Skip(5), 0);
    none.Reset();

    // A non-positive count copies and skips nothing, but the reader advances.
    Ring ring(4);
    ring.Put(1);
    ring.Put(2);
    EXPECT_EQ(ring.Skip(-3), 0);
    EXPECT_TRUE(Read(ring, -1, true).empty());
    EXPECT_EQ(ring.ReadPosition(), 1u);
}

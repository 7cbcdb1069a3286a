// The chunked byte queue against a plain deque: every byte in order across
// chunk ends, and memory that follows what is held.
#include "buffers/ChunkedBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

namespace {

using ferrow::buffers::ChunkedBytes;
constexpr std::size_t kChunk = ChunkedBytes::kChunk;

// Random appends, peeks, searches and takes, with sizes around the chunk's,
// while the backlog swells to many chunks and drains to nothing again.
TEST(ChunkedBytes, MatchesADequeAndHoldsAboutWhatItHolds) {
    ChunkedBytes bytes;
    std::deque<unsigned char> model;
    std::mt19937 random(7);
    unsigned char next = 0;
    std::size_t most = 0, drained = 0;
    const std::size_t sizes[] = {0, 1, kChunk - 1, kChunk, kChunk + 1, 3 * kChunk + 5};
    for (int step = 0; step < 4000; ++step) {
        SCOPED_TRACE(step);
        const bool draining = (step / 500) % 2 == 1;
        const std::size_t n = random() % 2 ? sizes[random() % 6] : random() % 100;
        if (random() % 3 != 0 && !draining) {
            std::vector<unsigned char> in(n);
            for (unsigned char& byte : in) byte = next++;
            bytes.Append(in.data(), n);
            model.insert(model.end(), in.begin(), in.end());
        } else {
            const std::size_t k = std::min(n, model.size());
            std::vector<unsigned char> peeked(k), taken(k);
            bytes.CopyOut(peeked.data(), k);
            const unsigned char wanted = static_cast<unsigned char>(random());
            const auto found = bytes.Find(k, [&](unsigned char b) { return b == wanted; });
            const auto expected = std::find(model.begin(), model.begin() + long(k), wanted);
            ASSERT_EQ(found.value_or(k), std::size_t(expected - model.begin()));
            const bool keep = random() % 4 != 0;
            bytes.Take(keep ? taken.data() : nullptr, k);
            if (keep) {
                ASSERT_EQ(taken, peeked);
            }
            ASSERT_TRUE(std::equal(peeked.begin(), peeked.end(), model.begin()));
            model.erase(model.begin(), model.begin() + long(k));
        }
        ASSERT_EQ(bytes.Size(), model.size());
        most = std::max(most, model.size());
        drained += model.empty() && draining;
        // A part-used chunk at each end and the spare, no more.
        ASSERT_LE(bytes.ReservedBytes(), model.size() + 3 * kChunk);
        if (model.empty()) {
            ASSERT_LE(bytes.ReservedBytes(), kChunk);
        }
    }
    EXPECT_GT(most, 100 * kChunk);
    EXPECT_GT(drained, 0u) << "every draining phase should reach empty";
    bytes.Append("abc", 3);
    bytes.Take(nullptr, bytes.Size() + 10);
    EXPECT_EQ(bytes.Size(), 0u) << "taking more than is held takes what is held";
    bytes.Append("ab", 2);
    bytes.Clear();
    EXPECT_EQ(bytes.Size(), 0u);
    EXPECT_EQ(bytes.ReservedBytes(), 0u);
}

}  // namespace

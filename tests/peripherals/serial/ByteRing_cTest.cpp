// The serial byte ring on its own: order across its chunks and its full
// 65,536 bytes, memory that follows what it holds, all-or-nothing appends,
// line takes, and lengths no caller should send.
#include "peripherals/serial/ByteRing_c.h"
#include "buffers/ChunkedBytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using ferrow::peripherals::ByteRing_c;

namespace {

constexpr int kSize = 65536;
constexpr std::size_t kChunk = ferrow::buffers::ChunkedBytes::kChunk;

// Not periodic in any power of two, so a byte out of place shows.
std::vector<unsigned char> Pattern(int n) {
    std::vector<unsigned char> bytes(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) bytes[size_t(i)] = static_cast<unsigned char>(i * 7 + i / 251);
    return bytes;
}

}  // namespace

TEST(ByteRing_c, KeepsEveryByteInOrderWhenFullAndGivesMemoryBackWhenEmptied) {
    ByteRing_c ring(kSize);
    ASSERT_EQ(ring.Put(Pattern(60001).data(), 60001), 60001);
    ASSERT_EQ(ring.Skip(60001), 60001);
    // 65,536 bytes starting 60,001 bytes in, part way into a chunk: full.
    const auto data = Pattern(kSize);
    for (int at = 0; at < kSize; at += 4096) ASSERT_EQ(ring.Put(&data[size_t(at)], 4096), 4096);
    EXPECT_EQ(ring.Put(data.data(), 1), -1) << "one byte more does not fit";
    EXPECT_EQ(ring.Count(), uint32_t(kSize));
    EXPECT_LE(ring.ReservedBytes(), kSize + 2 * kChunk);
    std::vector<unsigned char> peeked(kSize), out(kSize);
    ASSERT_EQ(ring.Peek(peeked.data(), kSize), kSize);
    EXPECT_TRUE(peeked == data);
    EXPECT_EQ(ring.Skip(3), 3);
    ASSERT_EQ(ring.Take(out.data(), kSize), kSize - 3);
    EXPECT_EQ(std::memcmp(out.data(), &data[3], kSize - 3), 0);
    EXPECT_EQ(ring.Count(), 0u);
    EXPECT_LE(ring.ReservedBytes(), kChunk) << "an emptied ring gives its memory back";
    EXPECT_EQ(ByteRing_c(kSize).ReservedBytes(), 0u) << "an unused ring holds none";
}

TEST(ByteRing_c, TakesOneLineAtATimeOnlyWhenWholeOrFillingTheBuffer) {
    // `offset` bytes pass through first; `lines` has one entry per call, "" for 0.
    struct Row { const char* name; int offset; std::string contents; int size;
                 std::vector<std::string> lines; uint32_t left; };
    const Row rows[] = {
        {"CR LF gives two lines", 0, "AB\r\nC", 64, {"AB\r", "\n", ""}, 1},
        {"unterminated line fills the buffer", 0, "ABCDEFG", 4, {"ABC", "DEF", ""}, 1},
        {"unterminated line waits", 0, "ABCDEFG", 10, {""}, 7},
        {"no room for a byte and the zero", 0, "A\n", 1, {""}, 2},
        {"line across the wrap", kSize - 2, "xyz\rw", 64, {"xyz\r", ""}, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ByteRing_c ring(kSize);
        ring.Put(Pattern(row.offset).data(), row.offset);
        ring.Skip(row.offset);
        const auto* text = reinterpret_cast<const unsigned char*>(row.contents.data());
        ASSERT_EQ(ring.Put(text, int(row.contents.size())), int(row.contents.size()));
        for (const std::string& line : row.lines) {
            std::vector<char> buffer(size_t(row.size) + 1, '#');
            EXPECT_EQ(ring.TakeLine(buffer.data(), row.size), int(line.size()));
            EXPECT_EQ(line.empty() ? line : std::string(buffer.data()), line);
            EXPECT_EQ(buffer[size_t(row.size)], '#') << "nothing written past size";
        }
        EXPECT_EQ(ring.Count(), row.left);
    }
}

TEST(ByteRing_c, RefusesNegativeAndOversizeLengthsAndNeverCopiesMoreThanAsked) {
    ByteRing_c ring(kSize);
    const std::vector<unsigned char> big(kSize + 1, 'x');
    EXPECT_EQ(ring.Put(big.data(), kSize + 1), -1);
    EXPECT_EQ(ring.Put(big.data(), -1), -1);
    EXPECT_EQ(ring.Put(nullptr, 1), -1);
    ASSERT_EQ(ring.Put(big.data(), 7), 7);
    unsigned char out[8] = {};
    EXPECT_EQ(ring.Take(out, -5), 0);
    EXPECT_EQ(ring.Peek(out, -5), 0);
    EXPECT_EQ(ring.Skip(-5), 0);
    EXPECT_EQ(ring.TakeLine(reinterpret_cast<char*>(out), -3), 0);
    EXPECT_EQ(ring.Take(nullptr, 3), -1);
    EXPECT_EQ(ring.Peek(out, 2), 2);
    EXPECT_EQ(out[2], 0) << "a peek copies no more than asked";
    EXPECT_EQ(ring.Take(out, 1000), 7);
    EXPECT_EQ(out[7], 0);
}

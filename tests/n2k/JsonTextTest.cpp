// JSON text as JavaScript writes it: the decoder's output is compared as text
// with the canboat tools', so numbers and strings must come out alike.
#include "n2k/decode/JsonText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace ferrow::n2k::json_text;

std::string Number(double value) {
    std::string out;
    AppendNumber(out, value);
    return out;
}

std::string Utf8(std::vector<uint8_t> bytes) { return FromUtf8(bytes.data(), bytes.size()); }

TEST(JsonText, NumbersInJavaScriptsShortestForm) {
    EXPECT_EQ(Number(0), "0");
    EXPECT_EQ(Number(-0.0), "0");
    EXPECT_EQ(Number(12.57), "12.57");
    EXPECT_EQ(Number(-0.0001), "-0.0001");
    EXPECT_EQ(Number(0.000001), "0.000001");
    EXPECT_EQ(Number(1.5e-7), "1.5e-7");
    EXPECT_EQ(Number(1e-16), "1e-16");
    EXPECT_EQ(Number(274.387), "274.387");
    EXPECT_EQ(Number(4294967295.0), "4294967295");
    // Past 2^53 and up to 1e21, integers in full with trailing zeros.
    EXPECT_EQ(Number(18446744073709551615.0), "18446744073709552000");
    EXPECT_EQ(Number(123456789012345680000.0), "123456789012345680000");
    EXPECT_EQ(Number(1e21), "1e+21");
    EXPECT_EQ(Number(-2.5e22), "-2.5e+22");
    EXPECT_EQ(Number(0.1 + 0.2), "0.30000000000000004");
}

TEST(JsonText, StringsEscapedAsJsonStringifyDoes) {
    std::string out;
    AppendString(out, std::string("a\"b\\c\n\t\x01\x1f\x7f\xc3\xa9", 12));
    EXPECT_EQ(out, "\"a\\\"b\\\\c\\n\\t\\u0001\\u001f\x7f\xc3\xa9\"");
    EXPECT_EQ(HexBytes(std::vector<uint8_t>{0x00, 0xab, 0xff}.data(), 3), "00 ab ff");
    EXPECT_EQ(HexBytes(nullptr, 0), "");
}

TEST(JsonText, BytesDecodedAsUtf8OrAsciiWithTheToolsReplacements) {
    EXPECT_EQ(Utf8({'C', 'a', 'f', 0xc3, 0xa9}), "Caf\xc3\xa9");
    // Each malformed sequence becomes one U+FFFD: a stray continuation, a
    // lead cut short, an overlong form, a surrogate, a lead past U+10FFFF.
    EXPECT_EQ(Utf8({0x80, 'A'}), "\xEF\xBF\xBD" "A");
    EXPECT_EQ(Utf8({0xe2, 0x82, 'A'}), "\xEF\xBF\xBD" "A");
    EXPECT_EQ(Utf8({0xc0, 0xaf}), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Utf8({0xed, 0xa0, 0x80}), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Utf8({0xf5, 0x80}), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Utf8({0xf0, 0x9f, 0x98, 0x80}), "\xF0\x9F\x98\x80");
    EXPECT_EQ(Utf8({0xf0, 0x9f, 0x98}), "\xEF\xBF\xBD");
    const std::vector<uint8_t> high = {0xe9, 'A', 0xa0};
    EXPECT_EQ(FromAscii(high.data(), high.size()), "iA ");
    // Unicode white space, not only ASCII, comes off both ends.
    EXPECT_EQ(Trim("\xC2\xA0 \t Bridge \xEF\xBB\xBF\n"), "Bridge");
    EXPECT_EQ(Trim(" \xC3\xA9 "), "\xC3\xA9");
    EXPECT_EQ(Trim("   "), "");
}

}  // namespace

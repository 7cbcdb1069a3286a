#include "panels/ValueFormat.h"

#include <gtest/gtest.h>

#include <climits>

namespace ferrow::panels {
namespace {

TEST(ValueFormatTest, WritesDecimalHexAndThousandths) {
    EXPECT_EQ(ValueFormat::Format(1023, false), L"1023");
    EXPECT_EQ(ValueFormat::Format(1023, true), L"0x3FF");
    EXPECT_EQ(ValueFormat::Format(-1, true), L"0xFFFFFFFF");
    EXPECT_EQ(ValueFormat::FormatThousandths(100000, false), L"100.000000");
    EXPECT_EQ(ValueFormat::FormatThousandths(2500, false), L"2.500000");
    EXPECT_EQ(ValueFormat::FormatThousandths(100000, true), L"0x186A0");
    // Unsigned quantities run past 2^31 without turning negative.
    EXPECT_EQ(ValueFormat::FormatUnsigned(INT_MIN, false), L"2147483648");
    EXPECT_EQ(ValueFormat::FormatUnsigned(-1, false), L"4294967295");
    EXPECT_EQ(ValueFormat::FormatUnsigned(-1, true), L"0xFFFFFFFF");
    EXPECT_EQ(ValueFormat::FormatThousandths(-1, false), L"4294967.295000");
}

TEST(ValueFormatTest, CopiesIntoACallersBufferWithoutOverrunningIt) {
    wchar_t buffer[6] = {L'#', L'#', L'#', L'#', L'#', L'#'};
    ValueFormat::CopyInto(L"0x3FF", buffer, 4);
    EXPECT_STREQ(buffer, L"0x3");
    EXPECT_EQ(buffer[4], L'#');
    ValueFormat::CopyInto(L"12", buffer, 0);
    EXPECT_STREQ(buffer, L"0x3") << "a size of 0 writes nothing";
}

TEST(ValueFormatTest, EveryWrittenTextReadsBackToItsValue) {
    for (int value : {0, 1, -1, 1023, -1024, 100000, INT_MAX, INT_MIN}) {
        for (bool hex : {false, true}) {
            long long plain = 0;
            ASSERT_TRUE(ValueFormat::Parse(ValueFormat::Format(value, hex), plain));
            EXPECT_EQ(plain, value) << value << (hex ? " hex" : " decimal");
            long long thousandths = 0;
            ASSERT_TRUE(ValueFormat::ParseThousandths(ValueFormat::FormatThousandths(value, hex),
                                                      thousandths));
            EXPECT_EQ(thousandths, value) << value << (hex ? " hex" : " decimal");
        }
    }
}

TEST(ValueFormatTest, ReadsWhatAnOperatorTypes) {
    struct Case {
        const wchar_t* text;
        bool thousandths;
        long long value;
    };
    const Case cases[] = {
        {L"  0x1a ", false, 26}, {L"+17", false, 17}, {L"50", true, 50000}, {L".5", true, 500},
        {L"0.0005", true, 1}, {L"-0.0005", true, -1},  // half rounds away from zero
        {L"1.23449", true, 1234},                      // only the fourth decimal rounds
    };
    for (const Case& c : cases) {
        long long v = 0;
        ASSERT_TRUE(c.thousandths ? ValueFormat::ParseThousandths(c.text, v)
                                  : ValueFormat::Parse(c.text, v))
            << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
}

TEST(ValueFormatTest, RefusesTextThatIsNotOneNumber) {
    long long v = 42;
    for (const wchar_t* junk : {L"", L"12abc", L"0x", L"0xG1", L"0x100000000", L"--5", L"1.5", L"- 3",
                                L"99999999999999999999"}) {
        EXPECT_FALSE(ValueFormat::Parse(junk, v)) << junk;
    }
    for (const wchar_t* junk : {L".", L"1.2.3", L"1,5", L"x1"}) {
        EXPECT_FALSE(ValueFormat::ParseThousandths(junk, v)) << junk;
    }
    EXPECT_EQ(v, 42) << "a refused text leaves the output alone";
}

}  // namespace
}  // namespace ferrow::panels

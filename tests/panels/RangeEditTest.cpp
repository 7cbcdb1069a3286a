#include "panels/RangeEdit.h"
#include "panels/ValueFormat.h"

#include <gtest/gtest.h>

#include <climits>

namespace ferrow::panels {
namespace {

using Kind = RangeEdit::Kind;

const RangeEdit::Parser kPlain = ValueFormat::Parse;
const RangeEdit::Parser kThousandths = ValueFormat::ParseThousandths;

TEST(RangeEditTest, AnUntouchedEditKeepsItsValueInEveryFormatAndScale) {
    struct Shown {
        bool thousandths;
        bool hex;
    };
    for (int stored : {0, 7, -7, 1023, 100000, INT_MAX, INT_MIN}) {
        for (double scale : {1.0, 0.5, 3.0, 0.001}) {
            for (Shown format : {Shown{false, false}, Shown{false, true}, Shown{true, false},
                                 Shown{true, true}}) {
                const int shown = RangeEdit::Shown(stored, scale);
                const std::wstring text = format.thousandths
                                              ? ValueFormat::FormatThousandths(shown, format.hex)
                                              : ValueFormat::Format(shown, format.hex);
                const RangeEdit::Reading r =
                    RangeEdit::Read(text, stored, scale, format.thousandths ? kThousandths : kPlain);
                EXPECT_EQ(r.kind, Kind::Value) << text;
                EXPECT_EQ(r.value, stored) << text << " at scale " << scale;
            }
        }
    }
}

TEST(RangeEditTest, ATypedNumberIsTakenInTheShownUnits) {
    EXPECT_EQ(RangeEdit::Read(L"0x200", 1023, 1.0, kPlain).value, 512);
    EXPECT_EQ(RangeEdit::Read(L"50.000000", 100000, 1.0, kThousandths).value, 50000);
    EXPECT_EQ(RangeEdit::Read(L"10", 0, 0.5, kPlain).value, 20);
    EXPECT_EQ(RangeEdit::Read(L"-3", 0, 1.0, kPlain).value, -3);
}

TEST(RangeEditTest, BlankTextIsIgnoredAndJunkKeepsTheStoredValue) {
    for (const wchar_t* blank : {L"", L"   ", L"---", L" --- "}) {
        EXPECT_EQ(RangeEdit::Read(blank, 5, 1.0, kPlain).kind, Kind::Ignored) << blank;
    }
    for (const wchar_t* junk : {L"abc", L"12abc", L"0x", L"3000000000"}) {
        const RangeEdit::Reading r = RangeEdit::Read(junk, 5, 1.0, kPlain);
        EXPECT_EQ(r.kind, Kind::Junk) << junk;
        EXPECT_EQ(r.value, 5) << junk;
    }
    EXPECT_EQ(RangeEdit::Read(L"4", 5, 0.0, kPlain).kind, Kind::Junk)
        << "no range value shows as 4 at scale 0";
}

}  // namespace
}  // namespace ferrow::panels

#include "platform/Text.h"

#include <gtest/gtest.h>

using ferrow::platform::Text;

TEST(Text, WideningAndNarrowingKeepEveryByteAndRespectCapacity) {
    const std::string utf8 = "/home/jos\xC3\xA9/\xE2\x82\xAC.hex";
    const std::wstring wide = Text::Widen(utf8);
    ASSERT_EQ(wide.size(), utf8.size());
    EXPECT_EQ(wide[9], L'\xC3');
    EXPECT_EQ(Text::Narrow(wide), utf8);
    EXPECT_EQ(Text::Narrow(L"\x0141"), "\x41") << "only the low byte is kept";

    wchar_t buffer[5];
    EXPECT_EQ(Text::WidenInto(buffer, 5, "abcdefgh"), 4u);
    EXPECT_EQ(std::wstring(buffer), L"abcd");
    EXPECT_EQ(Text::WidenInto(buffer, 5, nullptr), 0u);
    EXPECT_EQ(buffer[0], L'\0');
    buffer[0] = L'q';
    EXPECT_EQ(Text::WidenInto(buffer, 0, "abc"), 0u);
    EXPECT_EQ(buffer[0], L'q') << "no room: nothing written";

    char narrow[3];
    EXPECT_EQ(Text::NarrowInto(narrow, 3, L"xyz"), 2u);
    EXPECT_STREQ(narrow, "xy");
}

// The serial log's teletype: how the firmware's UART bytes become lines.
#include "panels/model/SerialTeletype.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ferrow::panels::SerialTeletype;

void Feed(SerialTeletype& tty, const std::string& bytes, uint64_t nowMs = 0) {
    tty.Feed(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), nowMs);
}

TEST(SerialTeletype, ReadsLineEndsBackspacesAndControlsAsATerminal) {
    struct Case {
        const char* name;
        std::string bytes;
        std::vector<std::string> lines;
        std::string pending;
    };
    const Case cases[] = {
        {"CR LF ends once", "OK\r\n", {"OK"}, ""},
        {"LF alone", "a\nb\n", {"a", "b"}, ""},
        {"empty lines", "\n\r\n", {"", ""}, ""},
        {"CR then text overwrites", "abc\rX\n", {"Xbc"}, ""},
        {"CR pending keeps the line", "abc\r", {}, "abc"},
        {"BS then text", "ab\bc\n", {"ac"}, ""},
        {"BS at the end only moves", "ab\b\n", {"ab"}, ""},
        {"BS at column 0 leaves a mark", "\bab\n", {"^Gab"}, ""},
        {"BS after CR marks column 0", "abc\r\bX\n", {"^GXc"}, ""},
        {"BS inside the line only moves", "abc\rXY\b\bZ\n", {"ZYc"}, ""},
        {"BS past the start marks the line", "ab\b\b\b", {}, "^Gb"},
        {"controls shown in caret notation", std::string("a\x07" "b\x1b[1m\x7f\0!\n", 11),
         {"a^Gb^[[1m^?^@!"}, ""},
        {"BS steps over a control whole", "a\x07\bX\n", {"aX"}, ""},
        {"tab to the next stop", "\tx\nabc\ty\nabcdefgh\tz\n", {"        x", "abc     y", "abcdefgh        z"}, ""},
        {"tab inside the line only moves", "abcdefghij\r\tX\n", {"abcdefghXj"}, ""},
        {"UTF-8 is one column a character", "\xc2\xb0" "C\xe2\x82\xac\xf0\x9f\x98\x80\rX\n",
         {"XC\xe2\x82\xac\xf0\x9f\x98\x80"}, ""},
        {"BS steps over a character whole", "a\xc2\xb0\bb\n", {"ab"}, ""},
        {"bytes not valid UTF-8 show in hex", "\x80\xc3\xa9\xff\xc0\xaf\n", {"\\x80\xc3\xa9\\xFF\\xC0\\xAF"}, ""},
        {"surrogates and past U+10FFFF are not text", "\xed\xa0\x80\xf4\x90\x80\x80\n",
         {"\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80"}, ""},
        {"a broken sequence shows, the byte after it counts", "\xe2\x82X\xc2\n", {"\\xE2\\x82X\\xC2"}, ""},
        {"CR at full width returns, not wraps", std::string(1024, 'x') + "\rY\n", {"Y" + std::string(1023, 'x')}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SerialTeletype tty;
        Feed(tty, c.bytes);
        const auto batch = tty.Take();
        EXPECT_EQ(batch.lines, c.lines);
        EXPECT_EQ(batch.pending, c.pending);
    }
}

TEST(SerialTeletype, EndsALineAt1024ColumnsAndStartsTheNextWithTheByteAfter) {
    struct Case {
        std::size_t length;
        const char* tail;
        std::vector<std::size_t> lines;
        std::size_t pending;
    };
    const Case cases[] = {
        {1030, "", {1024}, 6},  {1024, "", {}, 1024},     {1024, "\n", {1024}, 0},
        {1025, "\n", {1024, 1}, 0}, {2049, "", {1024, 1024}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.length) + " + " + std::to_string(std::string(c.tail).size()));
        SerialTeletype tty;
        std::string bytes;
        for (std::size_t i = 0; i < c.length; ++i) bytes.push_back(static_cast<char>('a' + i % 26));
        Feed(tty, bytes + c.tail);
        const auto batch = tty.Take();
        std::vector<std::size_t> lengths;
        for (const auto& line : batch.lines) lengths.push_back(line.size());
        EXPECT_EQ(lengths, c.lines);
        EXPECT_EQ(batch.pending, bytes.substr(bytes.size() - c.pending));
        if (!batch.lines.empty()) {
            EXPECT_EQ(batch.lines[0], bytes.substr(0, 1024));
        }
    }
}

TEST(SerialTeletype, CarriesTheUnfinishedLineAcrossBatchesAndTakesEachLineOnce) {
    SerialTeletype tty;
    Feed(tty, "abc\r");
    EXPECT_EQ(tty.Take().pending, "abc");
    Feed(tty, "Xdef\nnext");
    auto batch = tty.Take();
    EXPECT_EQ(batch.lines, std::vector<std::string>{"Xdef"});
    EXPECT_EQ(batch.pending, "next");
    batch = tty.Take();
    EXPECT_TRUE(batch.lines.empty());
    EXPECT_EQ(batch.pending, "next");
}

TEST(SerialTeletype, KeepsABoundedBacklogAndCountsWhatItDropped) {
    SerialTeletype tty;
    std::string bytes;
    for (std::size_t i = 0; i < SerialTeletype::kMaxBacklog + 4; ++i) bytes += std::to_string(i) + "\n";
    Feed(tty, bytes);
    auto batch = tty.Take();
    ASSERT_EQ(batch.lines.size(), SerialTeletype::kMaxBacklog);
    EXPECT_EQ(batch.lines.front(), "4");
    EXPECT_EQ(batch.dropped, 4u);
    Feed(tty, "z\n");
    batch = tty.Take();
    EXPECT_EQ(batch.lines, std::vector<std::string>{"z"});
    EXPECT_EQ(batch.dropped, 0u);
}

// The window's use as the header describes it: whatever the batches, the log
// ends up with every completed line once and the unfinished one last, and a
// character cut between batches is never shown in pieces.
TEST(SerialTeletype, WindowListsEachLineOnceHoweverTheBytesAreSplit) {
    const std::string bytes =
        "boot\r\nv1.2\rV\nload 3%\rload 50%\rload 100%\r\nab\b\bc\r\n\r\n21\xc2\xb0" "C \xe2\x82\xac\nwait";
    const std::vector<std::string> expected = {"boot", "V1.2", "load 100%", "cb", "", "21\xc2\xb0" "C \xe2\x82\xac",
                                               "wait"};
    for (std::size_t cut1 = 0; cut1 <= bytes.size(); ++cut1) {
        for (std::size_t cut2 = cut1; cut2 <= bytes.size(); cut2 += 3) {
            SCOPED_TRACE(std::to_string(cut1) + "," + std::to_string(cut2));
            SerialTeletype tty;
            std::vector<std::string> log;
            bool pendingShown = false;
            for (const auto& part : {bytes.substr(0, cut1), bytes.substr(cut1, cut2 - cut1), bytes.substr(cut2)}) {
                Feed(tty, part);
                auto batch = tty.Take();
                if (pendingShown) log.pop_back();
                log.insert(log.end(), batch.lines.begin(), batch.lines.end());
                pendingShown = !batch.pending.empty();
                if (pendingShown) log.push_back(batch.pending);
            }
            ASSERT_EQ(log, expected);
        }
    }
}

TEST(SerialTeletype, HexViewShowsSixteenBytesALineAndSwitchingEndsTheLine) {
    SerialTeletype tty;
    Feed(tty, "ab\xc2");
    tty.SetHex(true);
    Feed(tty, std::string("Hello\r\n\0\x01\xff~ 0123456789", 22));
    auto batch = tty.Take();
    EXPECT_EQ(batch.lines, (std::vector<std::string>{
                               "ab\\xC2",
                               "48 65 6C 6C 6F 0D 0A 00  01 FF 7E 20 30 31 32 33  |Hello.....~ 0123|",
                           }));
    EXPECT_EQ(batch.pending, "34 35 36 37 38 39                                 |456789|");

    tty.SetHex(false);
    Feed(tty, "x\n");
    batch = tty.Take();
    EXPECT_EQ(batch.lines, (std::vector<std::string>{"34 35 36 37 38 39                                 |456789|", "x"}));
    EXPECT_EQ(batch.pending, "");
}

TEST(SerialTeletype, StampsEachLineWithTheTimeOfItsFirstByte) {
    SerialTeletype tty;
    tty.SetTimeStamps(true);
    Feed(tty, "a", 1500);
    Feed(tty, "b\nc", 2250);
    Feed(tty, "\n\n", 86400001);
    auto batch = tty.Take();
    EXPECT_EQ(batch.lines, (std::vector<std::string>{"[    1.500] ab", "[    2.250] c", "[86400.001] "}));

    Feed(tty, "d", 3000);
    EXPECT_EQ(tty.Take().pending, "[    3.000] d");
    tty.SetTimeStamps(false);
    EXPECT_EQ(tty.Take().pending, "d") << "the unfinished line follows the setting";
    tty.SetTimeStamps(true);
    tty.SetHex(true);
    Feed(tty, "\x01", 4000);
    batch = tty.Take();
    EXPECT_EQ(batch.lines, std::vector<std::string>{"[    3.000] d"});
    EXPECT_EQ(batch.pending.substr(0, 15), "[    4.000] 01 ");
}

}  // namespace

// The rows of a PGN monitor list and the names in their name column.
#include "panels/model/PgnRowTable.h"
#include "panels/model/PgnNames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using ferrow::panels::PgnNames;
using ferrow::panels::PgnRowTable;

N2KMsg Msg(uint32_t pgn, uint8_t source, uint8_t destination = 255, std::initializer_list<uint8_t> data = {1, 2, 3},
           uint8_t priority = 2) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = priority;
    msg.addressA = source;
    msg.addressB = destination;
    msg.transport = 1;
    msg.length = static_cast<uint16_t>(data.size());
    std::copy(data.begin(), data.end(), msg.data);
    return msg;
}

std::vector<std::string> Keys(const PgnRowTable& table) {
    std::vector<std::string> keys;
    for (std::size_t row = 0; row < table.Rows(); ++row) {
        keys.push_back(table.Cell(row, PgnRowTable::kPgn) + "/" + table.Cell(row, PgnRowTable::kSource) + "/" +
                       table.Cell(row, PgnRowTable::kDestination));
    }
    return keys;
}

constexpr uint32_t Bit(PgnRowTable::Column column) { return 1u << column; }

TEST(PgnRowTable, InsertsEachNewKeyAtItsSortedPlaceAndUpdatesRowsWhereTheyAre) {
    PgnRowTable table;
    struct Step {
        uint32_t pgn;
        uint8_t source;
        int row;
        bool inserted;
    };
    const Step steps[] = {
        {130312, 5, 0, true}, {127250, 3, 0, true}, {130312, 2, 1, true}, {129025, 7, 1, true},
        {127250, 3, 0, false}, {130312, 5, 3, false}, {130316, 0, 4, true}, {127250, 2, 0, true},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(std::to_string(step.pgn) + "/" + std::to_string(step.source));
        const auto change = table.Add(Msg(step.pgn, step.source), 0);
        EXPECT_EQ(change.row, step.row);
        EXPECT_EQ(change.inserted, step.inserted);
        EXPECT_EQ(change.evicted, -1);
    }
    EXPECT_EQ(Keys(table), (std::vector<std::string>{"127250/2/255", "127250/3/255", "129025/7/255",
                                                     "130312/2/255", "130312/5/255", "130316/0/255"}));
    EXPECT_EQ(table.Cell(1, PgnRowTable::kCount), "2");
}

// PDU1 groups (PF below 240) are addressed: each destination is its own row.
// A PDU2 group's destination byte is noise and must not split its row.
TEST(PgnRowTable, SplitsRowsByDestinationOnlyForAddressedGroups) {
    struct Case {
        uint32_t pgn;
        bool addressed;
    };
    const Case cases[] = {{59904, true},  {61184, true},  {126208, true}, {126720, true},
                          {61440, false}, {65280, false}, {126996, false}, {130312, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pgn);
        PgnRowTable table;
        table.Add(Msg(c.pgn, 1, 2), 0);
        table.Add(Msg(c.pgn, 1, 3), 0);
        ASSERT_EQ(table.Rows(), c.addressed ? 2u : 1u);
        EXPECT_EQ(table.Cell(0, PgnRowTable::kDestination), c.addressed ? "2" : "255");
        EXPECT_EQ(table.Cell(0, PgnRowTable::kCount), c.addressed ? "1" : "2");
    }
}

TEST(PgnRowTable, ReportsOnlyTheCellsAMessageChanged) {
    PgnRowTable table;
    EXPECT_EQ(table.Add(Msg(127250, 1), 0).cells, (1u << PgnRowTable::kColumns) - 1);
    EXPECT_EQ(table.Add(Msg(127250, 1), 0).cells, Bit(PgnRowTable::kCount));
    EXPECT_EQ(table.Add(Msg(127250, 1, 255, {1, 2, 3}, 6), 0).cells,
              Bit(PgnRowTable::kCount) | Bit(PgnRowTable::kPriority));
    EXPECT_EQ(table.Add(Msg(127250, 1, 255, {1, 2, 4}, 6), 0).cells,
              Bit(PgnRowTable::kCount) | Bit(PgnRowTable::kData));
    EXPECT_EQ(table.Add(Msg(127250, 1, 255, {1, 2}, 6), 0).cells,
              Bit(PgnRowTable::kCount) | Bit(PgnRowTable::kLength) | Bit(PgnRowTable::kData));
    EXPECT_EQ(table.Cell(0, PgnRowTable::kData), "01 02");
    EXPECT_EQ(table.Cell(0, PgnRowTable::kPriority), "6");
}

TEST(PgnRowTable, EvictsTheLeastRecentlyUpdatedRowWhenFull) {
    PgnRowTable table(3);
    table.Add(Msg(100, 1), 0);
    table.Add(Msg(200, 1), 0);
    table.Add(Msg(300, 1), 0);
    table.Add(Msg(100, 1), 0);

    auto change = table.Add(Msg(250, 1), 0);
    EXPECT_EQ(change.evicted, 1);  // 200, updated longest ago, though 100 came first
    EXPECT_EQ(change.row, 1);      // 250 lands between 100 and 300 once 200 is gone
    EXPECT_EQ(Keys(table), (std::vector<std::string>{"100/1/255", "250/1/255", "300/1/255"}));

    EXPECT_EQ(table.Add(Msg(300, 1), 0).evicted, -1);
    change = table.Add(Msg(50, 1), 0);
    EXPECT_EQ(change.evicted, 0);
    EXPECT_EQ(change.row, 0);
    EXPECT_EQ(Keys(table), (std::vector<std::string>{"50/1/255", "250/1/255", "300/1/255"}));
    EXPECT_EQ(table.Evictions(), 2u);
}

TEST(PgnRowTable, StaysWithinItsCapacityAcrossEndlessNewSenders) {
    PgnRowTable table(16);
    uint32_t state = 1;
    uint64_t inserted = 0;
    for (uint32_t i = 0; i < 20000; ++i) {
        state = state * 1664525u + 1013904223u;
        const std::size_t before = table.Rows();
        const auto change = table.Add(Msg(127000 + (state >> 24) % 40, static_cast<uint8_t>(state >> 16)), i);
        if (!change.inserted) {
            ASSERT_EQ(table.Rows(), before);
        }
        inserted += change.inserted;
        ASSERT_LE(table.Rows(), 16u);
    }
    EXPECT_EQ(table.Rows(), 16u);
    EXPECT_EQ(table.Evictions(), inserted - 16);
}

// 10 messages a second, ticks of 10 ms: the rate shows once a whole second
// has passed after the row's first one, and falls to 0 as the window slides
// past the last message.
TEST(PgnRowTable, RateIsTheMeanOfTheLastWholeSecondsAndDecays) {
    for (const uint32_t start : {0u, 4294967200u}) {
        SCOPED_TRACE(start);
        PgnRowTable table;
        std::string rateAtOneSecond;
        for (uint32_t tick = 0; tick < 300; tick += 10) {
            table.Add(Msg(127250, 1), start + tick);
            if (tick == 190) rateAtOneSecond = table.Cell(0, PgnRowTable::kRate);
        }
        EXPECT_EQ(rateAtOneSecond, "");
        EXPECT_EQ(table.Cell(0, PgnRowTable::kRate), "10.0");

        EXPECT_TRUE(table.Age(start + 350).empty());  // second 3, empty so far, is still under way
        EXPECT_EQ(table.Age(start + 400), std::vector<int>{0});
        EXPECT_EQ(table.Cell(0, PgnRowTable::kRate), "6.7");  // 10, 10, 0
        table.Age(start + 900);
        EXPECT_EQ(table.Cell(0, PgnRowTable::kRate), "0.0");
        EXPECT_TRUE(table.Age(start + 800).empty());  // time going back changes nothing
    }
}

// The window ages on its own clock, which need not be the one that stamped
// the messages (a simulated clock, a replayed log): time runs on from the
// latest stamp at the window's pace, and a message brings it back in step.
TEST(PgnRowTable, AgeAtRunsOnFromTheLatestStampAtTheCallersPace) {
    for (const uint32_t stamps : {0u, 4294967200u}) {
        SCOPED_TRACE(stamps);
        PgnRowTable table;
        EXPECT_TRUE(table.AgeAt(7).empty()) << "no time before the first message";
        for (uint32_t tick = 0; tick < 300; tick += 10) table.Add(Msg(127250, 1), stamps + tick);
        ASSERT_EQ(table.Cell(0, PgnRowTable::kRate), "10.0");

        const uint32_t local = 123456;
        EXPECT_TRUE(table.AgeAt(local).empty()) << "notes the clocks only";
        EXPECT_TRUE(table.AgeAt(local + 5).empty()) << "second 2 still under way";
        EXPECT_EQ(table.AgeAt(local + 110), std::vector<int>{0});
        EXPECT_EQ(table.Cell(0, PgnRowTable::kRate), "6.7");  // 10, 10, 0

        // A message moves time itself; the next call only notes the clocks
        // again rather than adding the 8 s the caller's clock moved.
        table.Add(Msg(127250, 1), stamps + 405);
        EXPECT_TRUE(table.AgeAt(local + 900).empty());
        EXPECT_EQ(table.Cell(0, PgnRowTable::kRate), "6.7");
        table.AgeAt(local + 1500);
        EXPECT_EQ(table.Cell(0, PgnRowTable::kRate), "0.0") << "six seconds later";
    }
}

TEST(PgnRowTable, ReportsOtherRowsWhoseRateChangedByTheirIndexAfterTheInsertion) {
    PgnRowTable table;
    table.Add(Msg(127250, 1), 0);
    table.Add(Msg(130312, 1), 0);
    for (uint32_t tick = 10; tick < 200; tick += 10) table.Add(Msg(127250, 1), tick);

    const auto change = table.Add(Msg(59904, 1, 7), 205);
    EXPECT_EQ(change.row, 0);
    EXPECT_EQ(change.rateRows, (std::vector<int>{1, 2}));
    EXPECT_EQ(table.Cell(1, PgnRowTable::kRate), "10.0");
    EXPECT_EQ(table.Cell(2, PgnRowTable::kRate), "0.0");
}

TEST(PgnRowTable, ShowsALengthPastTheDataFieldClampedAndAtMost32BytesOfData) {
    struct Case {
        uint16_t length;
        const char* lengthCell;
        std::size_t bytesShown;
        bool more;
    };
    const Case cases[] = {{0, "0", 0, false},       {32, "32", 32, false},    {33, "33", 32, true},
                          {1786, "1786", 32, true}, {1787, "1786", 32, true}, {65535, "1786", 32, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.length);
        PgnRowTable table;
        N2KMsg msg = Msg(126996, 1);
        for (unsigned i = 0; i < N2KMsg::kMaxData; ++i) msg.data[i] = static_cast<uint8_t>(0xA0 + i);
        msg.length = c.length;
        table.Add(msg, 0);
        EXPECT_EQ(table.Cell(0, PgnRowTable::kLength), c.lengthCell);
        const std::string& data = table.Cell(0, PgnRowTable::kData);
        EXPECT_EQ(data.size(), c.bytesShown == 0 ? 0 : c.bytesShown * 3 - 1 + (c.more ? 4 : 0));
        if (c.more) {
            EXPECT_EQ(data.substr(data.size() - 6), "BF ...");  // byte 31 of A0, A1, ...
        }
    }
}

TEST(PgnRowTable, ShowsTheManufacturerCodeOfProprietaryGroupsOnly) {
    struct Case {
        uint32_t pgn;
        std::initializer_list<uint8_t> data;
        const char* code;
    };
    const Case cases[] = {
        {126720, {0x3F, 0x9F, 0x01}, "1855"},  // 11 bits: the industry code above them is not part of it
        {61184, {0xFF, 0xFF}, "2047"},
        {65280, {0x89, 0x98}, "137"},
        {131071, {0x01, 0x00}, "1"},
        {130816, {0x01}, ""},  // too short to hold a code
        {130312, {0x3F, 0x9F}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pgn);
        PgnRowTable table;
        table.Add(Msg(c.pgn, 1, 255, c.data), 0);
        EXPECT_EQ(table.Cell(0, PgnRowTable::kManufacturer), c.code);
    }
}

TEST(PgnNames, NamesStandardGroupsAndMarksTheProprietaryRanges) {
    struct Case {
        uint32_t pgn;
        const char* name;
    };
    const Case cases[] = {
        {59392, "ISO Acknowledgement"}, {60928, "ISO Address Claim"}, {128267, "Water Depth"},
        {130586, "Entertainment, Zone Configuration"}, {61183, ""}, {61184, "Proprietary"},
        {61185, ""}, {65279, ""}, {65280, "Proprietary"}, {65535, "Proprietary"}, {126719, ""},
        {126720, "Proprietary"}, {130815, ""}, {130816, "Proprietary"}, {131071, "Proprietary"},
        {131072, ""}, {0, ""}, {0xFFFFFFFF, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pgn);
        EXPECT_EQ(PgnNames::Lookup(c.pgn), c.name);
    }
}

}  // namespace

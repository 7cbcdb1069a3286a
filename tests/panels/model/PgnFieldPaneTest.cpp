// The monitor's field pane without a display: the decoder's JSON turned into
// rows, the latest message kept per list row, and the pane writing only what
// changed into a list of plain rows.
#include "panels/model/LatestMessages.h"
#include "panels/model/PgnFieldPane.h"
#include "panels/model/PgnFields.h"

#include "RowList.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using ferrow::panels::FieldRow;
using ferrow::panels::LatestMessages;
using ferrow::panels::PgnFieldPane;
using ferrow::panels::PgnFields;
using ferrow::panels::PgnRowTable;
using ferrow::panels::test::RowList;

const char* const kDescribed = R"({"pgn":130316,"fields":[{"name":"SID","resolution":1},
  {"name":"Temperature","unit":"K","resolution":0.001}, {"name":"Latitude","unit":"deg","resolution":1e-7},
  {"name":"Speed","unit":"m/s","resolution":0.01}, {"name":"Time","unit":"s","resolution":0.0001},
  {"name":"Alarms"}, {"name":"PRN","resolution":1}, {"name":"Elevation","unit":"rad","resolution":0.0001}]})";

N2KMsg Msg(uint32_t pgn, uint8_t source, uint8_t destination, uint8_t first, uint16_t length = 8) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.addressA = source;
    msg.addressB = destination;
    msg.length = length;
    msg.data[0] = first;
    return msg;
}

TEST(PgnFields, RowsKeepTheDecodersOrderWithResolutionDecimalsUnitsOnNumbersAndNumberedSets) {
    const auto rows = PgnFields::Rows(
        R"({"pgn":130316,"fields":{"Temperature":274.387,"SID":0,"Latitude":52.00000011,"Speed":12,
            "Time":"10:00:00","Alarms":["Low Oil","High Temp"],"Other":1.25,"Obj":{"a":1},
            "list":[{"PRN":3,"Elevation":0.5},{"PRN":7}],"list2":[{"PRN":9}]}})",
        PgnFields::ScalesOf(kDescribed));
    const std::vector<FieldRow> expected = {
        {"Temperature", "274.387", "K"}, {"SID", "0", ""}, {"Latitude", "52.0000001", "deg"},
        {"Speed", "12.00", "m/s"}, {"Time", "10:00:00", ""}, {"Alarms", "Low Oil, High Temp", ""},
        {"Other", "1.25", ""}, {"Obj", R"({"a":1})", ""}, {"[1] PRN", "3", ""},
        {"[1] Elevation", "0.5000", "rad"}, {"[2] PRN", "7", ""}, {"[2.1] PRN", "9", ""}};
    EXPECT_EQ(rows, expected);
    EXPECT_EQ(PgnFields::Title(R"({"pgn":130316,"description":"Temperature Extended Range"})"),
              "130316 Temperature Extended Range");
    for (const char* bad : {"", "{", "[1,2]", "null", R"({"fields":3})", "\xff\xfe"}) {
        SCOPED_TRACE(bad);
        EXPECT_TRUE(PgnFields::Rows(bad, {}).empty());
        EXPECT_TRUE(PgnFields::ScalesOf(bad).empty());
        EXPECT_EQ(PgnFields::Title(bad), "");
    }
    EXPECT_TRUE(PgnFields::ScalesOf(R"({"fields":[3,{"name":7},{"unit":"K"}]})").empty());
}

TEST(PgnFields, WrittenGrowsTheBufferUntilTheTextAndItsZeroFit) {
    const auto needs = [](std::size_t length) {
        return [length](char* json, int size) {
            if (static_cast<int>(length) + 1 > size) return -1;
            std::memset(json, 'x', length);
            json[length] = '\0';
            return static_cast<int>(length);
        };
    };
    EXPECT_EQ(PgnFields::Written(needs(16 * 1024 - 1)).size(), 16u * 1024 - 1);
    EXPECT_EQ(PgnFields::Written(needs(16 * 1024)).size(), 16u * 1024);
    int calls = 0;
    EXPECT_EQ(PgnFields::Written([&](char*, int) { return ++calls, -1; }), "");
    EXPECT_EQ(calls, 2) << "gives up after the largest buffer";
}

TEST(LatestMessages, KeepsEachRowsLatestBytesKeyedAsTheListAndEvictsTheLeastRecent) {
    LatestMessages latest(2);
    // A broadcast group's destination does not split its row; an addressed one's does.
    latest.Note(Msg(130306, 1, 7, 1));
    latest.Note(Msg(130306, 1, 9, 2, 3));
    latest.Note(Msg(59904, 1, 7, 3));
    N2KMsg out;
    std::memset(&out, 0xEE, sizeof out);
    const uint64_t wind = latest.Latest({130306, 1, 255}, &out);
    EXPECT_NE(wind, 0u);
    EXPECT_EQ(out.data[0], 2);
    EXPECT_EQ(out.length, 3);
    EXPECT_EQ(out.addressB, 9);
    EXPECT_EQ(out.data[3], 0xEE) << "only the message's own bytes";
    EXPECT_EQ(latest.Latest({59904, 1, 9}, &out), 0u);

    latest.Note(Msg(130306, 1, 255, 4));
    latest.Note(Msg(127250, 2, 255, 5));
    EXPECT_EQ(latest.Size(), 2u);
    EXPECT_EQ(latest.Latest({59904, 1, 7}, &out), 0u) << "the least recently updated went";
    const uint64_t newer = latest.Latest({130306, 1, 255}, &out);
    EXPECT_GT(newer, wind);
    latest.Clear();
    latest.Note(Msg(130306, 1, 255, 6));
    EXPECT_GT(latest.Latest({130306, 1, 255}, &out), newer) << "a serial is never shown twice";

    PgnRowTable table;
    table.Add(Msg(59904, 3, 7, 0), 0);
    table.Add(Msg(130306, 4, 7, 0), 0);
    EXPECT_EQ(LatestMessages::KeyOfRow(table, 0), (LatestMessages::Key{59904, 3, 7}));
    EXPECT_EQ(LatestMessages::KeyOfRow(table, 1), (LatestMessages::Key{130306, 4, 255}));
    EXPECT_EQ(LatestMessages::KeyOfRow(table, 2), std::nullopt);
}

class FieldPane : public ::testing::Test {
protected:
    PgnFieldPane pane{[this](const N2KMsg* msg, char* json, int size) {
                          ++decodes;
                          if (!database) return -1;
                          const std::string text =
                              R"({"pgn":130316,"description":"Temperature Extended Range","fields":{"SID":)" +
                              std::to_string(msg->data[0]) + R"(,"Temperature":274.387)" +
                              (msg->length > 4 ? R"(,"Speed":1)" : "") + "}}";
                          if (static_cast<int>(text.size()) >= size) return -1;
                          std::memcpy(json, text.c_str(), text.size() + 1);
                          return static_cast<int>(text.size());
                      },
                      [this](unsigned long, char* json, int size) {
                          ++describes;
                          if (!database) return -1;
                          std::strncpy(json, kDescribed, static_cast<std::size_t>(size));
                          return static_cast<int>(std::strlen(kDescribed));
                      }};
    RowList list;
    bool database = true;
    int decodes = 0;
    int describes = 0;
};

TEST_F(FieldPane, ShowsEachNewLatestMessageOnceWritingOnlyTheCellsThatChangedOrSaysWhyNot) {
    pane.Init(list);
    EXPECT_EQ(list.headings, (std::vector<std::string>{"Field", "Value", "Unit"}));
    N2KMsg msg = Msg(130316, 35, 255, 1);
    EXPECT_TRUE(pane.Show(&msg, 1, list));
    EXPECT_EQ(pane.Title(), "130316 Temperature Extended Range, from 35 to 255");
    EXPECT_EQ(list.rows, (std::vector<std::vector<std::string>>{
                             {"SID", "1", ""}, {"Temperature", "274.387", "K"}, {"Speed", "1.00", "m/s"}}));
    EXPECT_FALSE(pane.Show(&msg, 1, list));
    EXPECT_EQ(decodes, 1) << "the serial shown is not decoded again";

    msg.data[0] = 2;
    list.cellWrites = 0;
    EXPECT_TRUE(pane.Show(&msg, 2, list));
    EXPECT_EQ(list.cellWrites, 1);
    EXPECT_EQ(list.rows[0][PgnFieldPane::kValue], "2");
    EXPECT_FALSE(pane.Show(&msg, 3, list)) << "a repeat of the same values changes nothing";

    msg.length = 4;
    EXPECT_TRUE(pane.Show(&msg, 4, list));
    EXPECT_EQ(list.RowCount(), 2) << "a field gone takes its row along";
    EXPECT_EQ(describes, 1) << "one description per PGN";

    EXPECT_TRUE(pane.Show(nullptr, 0, list));
    EXPECT_EQ(list.RowCount(), 0);
    EXPECT_EQ(pane.Title(), "");
    EXPECT_FALSE(pane.Show(nullptr, 0, list));

    database = false;
    EXPECT_TRUE(pane.Show(&msg, 5, list));
    EXPECT_EQ(pane.Title(), "130316 (not decoded: no PGN database), from 35 to 255");
    EXPECT_EQ(list.RowCount(), 0);
    database = true;
    // A list emptied behind the pane's back is filled afresh.
    list.rows.clear();
    EXPECT_TRUE(pane.Show(&msg, 6, list));
    EXPECT_EQ(list.RowCount(), 2);
    EXPECT_EQ(list.rows[0][PgnFieldPane::kName], "SID");
}

}  // namespace

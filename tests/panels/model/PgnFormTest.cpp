// The generator's form: a group's fields from a literal description, the
// operator's entries checked and turned into the encoder's object.
#include "panels/model/PgnForm.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using ferrow::panels::BuiltBytes;
using ferrow::panels::ParseSmall;
using ferrow::panels::PgnCatalog;
using ferrow::panels::PgnForm;

constexpr const char* kDescription = R"({"pgn":130316,"id":"temperatureExtendedRange",
  "description":"Temperature Extended Range","fields":[
  {"name":"SID","type":"NUMBER","bits":8,"min":0,"max":252},
  {"name":"Source","type":"LOOKUP","bits":8,
   "lookup":[{"name":"Outside Temperature","value":1},{"name":"Sea Temperature","value":0}]},
  {"name":"Temperature","unit":"K","type":"NUMBER","bits":24,"resolution":0.001,"min":0,"max":16777.213},
  {"name":"Reserved","type":"RESERVED","bits":8},
  {"name":"Alerts","type":"BITLOOKUP","bits":4,"lookup":[{"name":"High","bit":1},{"name":"Low","bit":0}]},
  {"name":"Station Name","type":"STRING_LAU"},
  {"name":"Station ID","type":"ISO_NAME","min":-1,"max":1e20},
  {"name":"Date","type":"DATE"},
  {"name":"Industry Code","type":"LOOKUP","match":4,"lookup":[{"name":"Marine","value":4}]},
  {"name":"Count","type":"NUMBER"},
  {"name":"Item","type":"NUMBER"}],
  "repeat1":{"start":11,"size":1,"countField":10}})";

PgnForm Form() {
    std::optional<PgnForm> form = PgnForm::FromDescription(kDescription);
    EXPECT_TRUE(form.has_value());
    return form.value_or(PgnForm());
}

TEST(PgnForm, ShowsWhatTheOperatorSetsWithItsKindChoicesAndHint) {
    const PgnForm form = Form();
    ASSERT_EQ(form.Fields().size(), 7u);
    const PgnForm::Kind kinds[] = {PgnForm::Kind::Number, PgnForm::Kind::Choice,
                                   PgnForm::Kind::Number, PgnForm::Kind::Flags,
                                   PgnForm::Kind::Text,   PgnForm::Kind::Number,
                                   PgnForm::Kind::Text};
    for (std::size_t i = 0; i < form.Fields().size(); ++i) {
        EXPECT_EQ(form.Fields()[i].kind, kinds[i]) << form.Fields()[i].name;
    }
    const PgnForm::Field& source = form.Fields()[1];
    ASSERT_EQ(source.choices.size(), 2u);
    EXPECT_EQ(source.choices[0].name, "Sea Temperature") << "in the order of their values";
    EXPECT_EQ(source.choices[1].value, 1);
    EXPECT_EQ(form.Fields()[3].choices[1].name, "High") << "a bit lookup's bits";
    EXPECT_EQ(PgnForm::Hint(form.Fields()[2]), "K, 0 to 16777.213");
    EXPECT_EQ(PgnForm::Hint(form.Fields()[3]), "names separated by commas");
    EXPECT_EQ(PgnForm::Hint(form.Fields()[4]), "");
    EXPECT_EQ(PgnForm::Hint(form.Fields()[6]), "YYYY.MM.DD");

    for (const char* bad : {"", "[]", "{\"pgn\":1}", "{\"pgn\":-5,\"fields\":[]}", "{\"pgn\":1,",
                            "{\"pgn\":1,\"fields\":{}}"}) {
        EXPECT_FALSE(PgnForm::FromDescription(bad)) << bad;
    }
}

TEST(PgnForm, NamesTheFirstFieldWhoseEntryCannotBeSent) {
    PgnForm form = Form();
    EXPECT_EQ(form.Problem(), "") << "empty entries are sent as not available";
    const struct {
        std::size_t field;
        const char* text;
        const char* problem;
    } cases[] = {
        {0, "252", ""},
        {0, "253", "SID: above 252"},
        {0, "-0.5", "SID: below 0"},
        {0, "12x", "SID: not a number"},
        {0, "1e999", "SID: not a number"},
        {1, "sea temperature", "Source: no such choice"},
        {2, "16777.213", ""},
        {2, "16777.2131", "Temperature: above 16777.213"},
        {3, "High, Low", ""},
        {3, "High, Medium", "Alerts: no flag Medium"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        PgnForm entered = form;
        ASSERT_TRUE(entered.Set(c.field, c.text));
        EXPECT_EQ(entered.Problem(), c.problem);
        EXPECT_EQ(entered.ToJson(2, 35, 255).empty(), *c.problem != '\0');
    }
    EXPECT_FALSE(form.Set(7, "1"));
}

// The encoder counts the instances and places matched values itself.
TEST(PgnForm, RepeatingSetsGainAndLoseInstancesKeepingTheEntriesThatStay) {
    PgnForm form = Form();
    EXPECT_TRUE(form.HasSet(1));
    EXPECT_FALSE(form.HasSet(2));
    EXPECT_FALSE(form.SetInstances(2, 1));
    EXPECT_FALSE(form.SetInstances(1, PgnForm::kMaxSets + 1));
    form.Set(0, "1");
    ASSERT_TRUE(form.SetInstances(1, 2));
    ASSERT_EQ(form.Fields().size(), 9u);
    EXPECT_EQ(PgnForm::Label(form.Fields()[8]), "Item #2");
    form.Set(7, "5");
    form.Set(8, "x");
    EXPECT_EQ(form.Problem(), "Item #2: not a number");
    form.Set(8, "");
    EXPECT_EQ(form.ToJson(2, 1, 255),
              R"({"pgn":130316,"prio":2,"src":1,"dst":255,"fields":{"SID":1,"list":[{"Item":5},{}]}})");
    ASSERT_TRUE(form.SetInstances(1, 1));
    ASSERT_TRUE(form.SetInstances(1, 3));
    EXPECT_EQ(form.Instances(1), 3u);
    EXPECT_EQ(form.ToJson(2, 1, 255),
              R"({"pgn":130316,"prio":2,"src":1,"dst":255,"fields":{"SID":1,"list":[{"Item":5},{},{}]}})");
    ASSERT_TRUE(form.SetInstances(1, 0));
    EXPECT_EQ(form.ToJson(2, 1, 255), R"({"pgn":130316,"prio":2,"src":1,"dst":255,"fields":{"SID":1}})");
}

TEST(PgnForm, SendsTheEnteredFieldsInOrderWithWholeNumbersExact) {
    PgnForm form = Form();
    form.Set(2, "274.387");
    form.Set(1, "Outside Temperature");
    form.Set(3, "Low, High");
    form.Set(4, "Cabin \"aft\"");
    form.Set(5, "18446744073709551615");
    form.Set(6, "2024.01.01");
    EXPECT_EQ(form.ToJson(2, 35, 255),
              R"({"pgn":130316,"prio":2,"src":35,"dst":255,"fields":{"Source":"Outside Temperature",)"
              R"("Temperature":274.387,"Alerts":["Low","High"],"Station Name":"Cabin \"aft\"",)"
              R"("Station ID":18446744073709551615,"Date":"2024.01.01"}})");
    form.Set(5, "-1");
    form.Set(2, "");
    form.Set(4, "Cabin \xff");
    form.Set(0, "7");
    EXPECT_EQ(form.ToJson(7, 0, 12),
              R"({"pgn":130316,"prio":7,"src":0,"dst":12,"fields":{"SID":7,"Source":"Outside Temperature",)"
              R"("Alerts":["Low","High"],"Station Name":"Cabin )" "\xEF\xBF\xBD" R"(","Station ID":-1,"Date":"2024.01.01"}})")
        << "a byte that is not UTF-8 is replaced";
}

TEST(PgnCatalog, ListsEachNumberOnceInOrderAndFindsByNumberOrName) {
    const std::optional<PgnCatalog> catalog = PgnCatalog::FromJson(
        R"([{"pgn":130316,"id":"t","description":"Temperature Extended Range"},
            {"pgn":126720,"id":"a","description":"Airmar: Attitude Offset"},
            {"pgn":59904,"id":"r","description":"ISO Request"},
            {"pgn":126720,"id":"b","description":"Maretron: Slave Response"},
            {"id":"no number"}, 7])");
    ASSERT_TRUE(catalog);
    ASSERT_EQ(catalog->Entries().size(), 3u);
    EXPECT_EQ(PgnCatalog::Label(catalog->Entries()[0]), "59904 ISO Request");
    EXPECT_EQ(PgnCatalog::Label(catalog->Entries()[1]), "126720 Airmar: Attitude Offset")
        << "the first definition of a number, as FerrowDescribePgn describes it";
    EXPECT_EQ(catalog->Find(""), (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(catalog->Find("1"), (std::vector<std::size_t>{1, 2}));
    EXPECT_EQ(catalog->Find("  TEMPERATURE "), (std::vector<std::size_t>{2}));
    EXPECT_EQ(catalog->Find("9904"), (std::vector<std::size_t>{})) << "numbers match from the start";
    EXPECT_FALSE(PgnCatalog::FromJson("{}"));
    EXPECT_FALSE(PgnCatalog::FromJson("[{"));
}

TEST(PgnFormBoxes, ReadPriorityAndAddressesAndShowTheBuiltBytes) {
    EXPECT_EQ(ParseSmall("7", 7), 7u);
    EXPECT_EQ(ParseSmall(" 255 ", 255), 255u);
    for (const char* bad : {"8", "", "-1", "0x10", "1000", "25 5"}) {
        EXPECT_FALSE(ParseSmall(bad, bad[0] == '8' ? 7 : 255)) << bad;
    }

    N2KMsg msg{};
    msg.transport = 1;
    msg.length = 3;
    msg.data[0] = 0x00;
    msg.data[1] = 0xED;
    msg.data[2] = 0x01;
    EXPECT_EQ(BuiltBytes(msg), "3 bytes, single frame\n00 ED 01");
    msg.length = 0xFFFF;
    msg.transport = 3;
    std::memset(msg.data, 0xAB, sizeof msg.data);
    const std::string text = BuiltBytes(msg);
    EXPECT_EQ(text.rfind("1786 bytes, ISO transport\nAB AB", 0), 0u);
    EXPECT_EQ(text.size(), std::string("1786 bytes, ISO transport\n").size() + 1786 * 3 - 1)
        << "no byte past the record";
}

}  // namespace

// The decoder and encoder against the PGN database the build installed:
// literal messages of each field type, decoded to the values the canboat
// tools print for them.
#include <ferrow/N2KDecode.h>

#include "panels/model/PgnNames.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using nlohmann::json;

N2KMsg Message(uint32_t pgn, std::initializer_list<uint8_t> bytes, uint8_t src = 35,
               uint8_t dst = 255) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 2;
    msg.addressA = src;
    msg.addressB = dst;
    msg.transport = bytes.size() > 8 ? 2 : 1;
    msg.length = static_cast<uint16_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), msg.data);
    return msg;
}

class N2KDecodeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(FerrowLoadPgnDatabase(nullptr), 0); }

    static json Decode(const N2KMsg& msg) {
        std::vector<char> text(1 << 16);
        const int length = FerrowDecodeN2K(&msg, text.data(), static_cast<int>(text.size()));
        EXPECT_GT(length, 0);
        if (length <= 0) return json();
        EXPECT_EQ(std::string(text.data()).size(), static_cast<std::size_t>(length));
        return json::parse(text.data());
    }
    static json Fields(const N2KMsg& msg) { return Decode(msg)["fields"]; }
};

TEST_F(N2KDecodeTest, NumbersScaleSignAndLookUpAsTheCanboatToolsPrintThem) {
    const json t = Decode(Message(130316, {0x00, 0x00, 0x02, 0xd3, 0x2f, 0x04, 0xff, 0xff}));
    EXPECT_EQ(t["pgn"], 130316);
    EXPECT_EQ(t["prio"], 2);
    EXPECT_EQ(t["src"], 35);
    EXPECT_EQ(t["dst"], 255);
    EXPECT_EQ(t["description"], "Temperature Extended Range");
    EXPECT_EQ(t["id"], "temperatureExtendedRange");
    // 24-bit temperature in mK; the 16-bit set temperature is not available.
    EXPECT_EQ(t["fields"], json::parse(R"({"SID":0,"Instance":0,"Source":"Inside Temperature",
                                           "Temperature":274.387})"));
    EXPECT_TRUE(std::regex_match(t["timestamp"].get<std::string>(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")));

    // Heading 31250 x 0.0001 rad, a negative deviation, variation not
    // available, a 2-bit lookup, the 6 reserved bits zero.
    EXPECT_EQ(Fields(Message(127250, {0x01, 0x12, 0x7a, 0x9c, 0xff, 0xff, 0x7f, 0x01})),
              json::parse(R"({"SID":1,"Heading":3.125,"Deviation":-0.01,"Reference":"Magnetic",
                              "Reserved1":0})"));
    // Halves round up as the tools round them: 35240 x 2^-7 Hz = 275.3125.
    EXPECT_EQ(Fields(Message(65021, {0xff, 0xff, 0xff, 0xff, 0xa8, 0x89, 0xff, 0xff}))
                  ["AC Frequency"].dump(),
              "275.313");
    // 0.01 V steps print as two decimals, not as the nearest double's digits.
    EXPECT_EQ(Fields(Message(127508, {0x00, 0xe9, 0x04, 0xf6, 0xff, 0x5b, 0x74, 0x07}))["Voltage"]
                  .dump(),
              "12.57");
}

TEST_F(N2KDecodeTest, NotAvailableValuesAreLeftOut) {
    EXPECT_EQ(Fields(Message(130316, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})),
              json::object());
    // Signed fields: only the highest positive value means "not available",
    // so all ones is -1 step.
    EXPECT_EQ(Fields(Message(127250, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})),
              json::parse(R"({"Deviation":-0.0001,"Variation":-0.0001})"));
    // A field cut short by the end of the data is left out, not read past it.
    EXPECT_EQ(Fields(Message(127508, {0x00, 0xe9})), json::parse(R"({"Instance":0})"));
}

TEST_F(N2KDecodeTest, DatesTimesStringsAndBitLookups) {
    // Date 19723 days, time 452,965,000 x 0.1 ms.
    EXPECT_EQ(Fields(Message(126992, {0x01, 0xf0, 0x0b, 0x4d, 0x88, 0xb2, 0xff, 0x1a})),
              json::parse(R"({"SID":1,"Source":"GPS","Date":"2024.01.01","Time":"12:34:56.50000"})"));

    // Fixed strings padded with 0xFF, spaces, '@' and NULs.
    N2KMsg product = Message(126996, {0x34, 0x08, 0xd2, 0x04});
    auto put = [&](const std::string& text, uint8_t pad) {
        for (std::size_t i = 0; i < 32; ++i) {
            product.data[product.length++] = i < text.size() ? static_cast<uint8_t>(text[i]) : pad;
        }
    };
    put("Ferrow Demo", 0xff);
    put("1.2.3", ' ');
    put("Rev A@", '@');
    put("SN-42", 0);
    product.data[product.length++] = 1;
    product.data[product.length++] = 2;
    EXPECT_EQ(Fields(product), json::parse(R"({"NMEA 2000 Version":2.1,"Product Code":1234,
        "Model ID":"Ferrow Demo","Software Version Code":"1.2.3","Model Version":"Rev A",
        "Model Serial Code":"SN-42","Certification Level":"Level B","Load Equivalency":2})"));

    // Length-and-control strings: ASCII trimmed, control 0 as UTF-8, an
    // empty one left out.
    EXPECT_EQ(Fields(Message(126998, {9, 1, 'B', 'r', 'i', 'd', 'g', 'e', ' ', 7, 0, 'C', 'a', 'f',
                                      0xc3, 0xa9, 2, 1})),
              json::parse(R"({"Installation Description #1":"Bridge",
                              "Installation Description #2":"Caf\u00e9"})"));

    // Bit lookups list the names of the bits set; a bit without a name is null.
    const json engine = Fields(Message(127489, {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                                                0x7f, 0xff, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff,
                                                0xff, 0xff, 0xff, 0xff, 0x05, 0x00, 0x00, 0x80,
                                                0x7f, 0x7f}));
    EXPECT_EQ(engine["Discrete Status 1"], json::parse(R"(["Check Engine","Low Oil Pressure"])"));
    EXPECT_EQ(engine["Discrete Status 2"], json::parse("[null]"));
}

TEST_F(N2KDecodeTest, RepeatingSetsFollowTheirCountOrRunToTheEnd) {
    // Two satellites; the second has its azimuth, SNR and residual not
    // available.
    const json sats = Fields(Message(
        129540, {7, 0xfd, 2, 5, 0xae, 0x1e, 0xb8, 0x7a, 0x9a, 0x10, 0xc7, 0xcf, 0xff, 0xff, 0xf2,
                 12, 0x9c, 0xff, 0xff, 0xff, 0xff, 0x7f, 0xff, 0xff, 0xff, 0x7f, 0xf5}));
    EXPECT_EQ(sats["list"], json::parse(R"([
        {"PRN":5,"Elevation":0.7854,"Azimuth":3.1416,"SNR":42.5,"Range residuals":-0.12345,
         "Status":"Used"},
        {"PRN":12,"Elevation":-0.01,"Status":"Used+Diff"}])"));
    // A count larger than the data holds stops at the data's end.
    N2KMsg cut = Message(129540, {7, 0xfd, 9, 5, 0xae, 0x1e});
    EXPECT_EQ(Fields(cut)["list"], json::parse(R"([{"PRN":5,"Elevation":0.7854}])"));
    // Data that ends inside a group's 48-bit address ends the list there.
    EXPECT_EQ(Fields(Message(130584, {0x5a, 0x9e, 0x74, 0x72, 0xc9, 0x41, 0x81, 0x78}))["list"],
              json::array());
    // A group function's values take the types of the commanded PGN's
    // fields; a keyed value the type its key names, in the bytes its length
    // gives.
    EXPECT_EQ(Fields(Message(126208, {1, 0x08, 0xfd, 0x01, 0xf8, 2, 4, 0x3f, 0x75, 2, 5}))["list"],
              json::parse(R"([{"Parameter":4,"parameterId":"actualTemperature","Value":300.15},
                              {"Parameter":2,"parameterId":"instance","Value":5}])"));
    EXPECT_EQ(Fields(Message(130824, {0x7d, 0x99, 0x04, 0x21, 0xd2, 0x04, 0x29, 0x10, 0x0a}))["list"],
              json::parse(R"([{"Key":"Sailing Time to Waypoint","Length":2,"Value":1.234},
                              {"Key":41,"Length":1,"Value":10}])"));
    // Without a count field the set repeats to the end.
    EXPECT_EQ(Fields(Message(126464, {0, 0x00, 0xee, 0x00, 0x14, 0xf0, 0x01})),
              json::parse(R"({"Function Code":"Transmit PGN list",
                              "list":[{"PGN":60928},{"PGN":126996}]})"));
}

TEST_F(N2KDecodeTest, ProprietaryAndUnknownPgns) {
    // Matched by manufacturer, industry and message id.
    const json fusion = Decode(Message(130820, {0xa3, 0x99, 0x21, 0x80, 5, 'S', 'a', 'l', 'o', 'n'}));
    EXPECT_EQ(fusion["id"], "fusionDeviceName");
    EXPECT_EQ(fusion["fields"], json::parse(R"({"Manufacturer Code":"Fusion Electronics",
        "Industry Code":"Marine Industry","Message ID":"Unit Name","Name":"Salon"})"));
    // A maker the database has no definition for: its range's general form.
    const json other = Decode(Message(65280, {0x3b, 0x9f, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(other["id"], "0xff000xffffManufacturerProprietarySingleFrameNonAddressed");
    EXPECT_EQ(other["fields"]["Manufacturer Code"], "Raymarine");
    EXPECT_EQ(other["fields"]["Data"], "01 02 03 04 05 06");
    // A number no range covers: its bytes.
    const json unknown = Decode(Message(0x3FFFF, {1, 0xab, 3}, 7, 9));
    EXPECT_EQ(unknown["id"], "unknown");
    EXPECT_EQ(unknown["description"], "Unknown PGN");
    EXPECT_EQ(unknown["src"], 7);
    EXPECT_EQ(unknown["dst"], 9);
    EXPECT_EQ(unknown["fields"], json::parse(R"({"data":"01 ab 03"})"));
}

TEST_F(N2KDecodeTest, BadArgumentsAndShortBuffersGiveMinusOne) {
    const N2KMsg msg = Message(127508, {0x00, 0xe9, 0x04, 0xf6, 0xff, 0x5b, 0x74, 0x07});
    char text[4096];
    const int length = FerrowDecodeN2K(&msg, text, sizeof text);
    ASSERT_GT(length, 0);
    EXPECT_EQ(FerrowDecodeN2K(nullptr, text, sizeof text), -1);
    EXPECT_EQ(FerrowDecodeN2K(&msg, nullptr, sizeof text), -1);
    EXPECT_EQ(FerrowDecodeN2K(&msg, text, length), -1);  // no room for the zero
    EXPECT_EQ(FerrowDecodeN2K(&msg, text, length + 1), length);
    N2KMsg wild = msg;
    wild.length = 0xFFFF;  // past the record: read as its whole data
    EXPECT_GT(FerrowDecodeN2K(&wild, text, sizeof text), 0);
}

TEST_F(N2KDecodeTest, AFailedLoadKeepsTheDatabaseLoadedBefore) {
    const std::string bad = ::testing::TempDir() + "ferrow_bad_db.json";
    const N2KMsg msg = Message(127508, {0x00, 0xe9, 0x04, 0xf6, 0xff, 0x5b, 0x74, 0x07});
    for (const char* content : {"{\"PGNs\": [", "{\"Version\": \"1\"}", "{\"PGNs\": []}"}) {
        std::ofstream(bad) << content;
        EXPECT_EQ(FerrowLoadPgnDatabase(bad.c_str()), -1) << content;
    }
    EXPECT_EQ(FerrowLoadPgnDatabase("/nonexistent/canboat.json"), -1);
    std::remove(bad.c_str());
    EXPECT_EQ(Fields(msg)["Voltage"], 12.57);
}

TEST_F(N2KDecodeTest, DescribesOnePgnOrListsThemAll) {
    std::vector<char> text(1 << 20);
    const int size = static_cast<int>(text.size());
    ASSERT_GT(FerrowDescribePgn(130312, text.data(), size), 0);
    const json def = json::parse(text.data());
    EXPECT_EQ(def["id"], "temperature");
    ASSERT_EQ(def["fields"].size(), 6u);
    const json& actual = def["fields"][3];
    EXPECT_EQ(actual["name"], "Actual Temperature");
    EXPECT_EQ(actual["unit"], "K");
    EXPECT_EQ(actual["bits"], 16);
    EXPECT_EQ(actual["resolution"], 0.01);
    EXPECT_EQ(actual["signed"], false);
    const json& source = def["fields"][2];
    EXPECT_EQ(source["type"], "LOOKUP");
    EXPECT_NE(std::find(source["lookup"].begin(), source["lookup"].end(),
                        json::parse(R"({"name":"Engine Room Temperature","value":3})")),
              source["lookup"].end());

    const int length = FerrowDescribePgn(0, text.data(), size);
    ASSERT_GT(length, 0);
    const json all = json::parse(text.data());
    std::set<uint32_t> seen;
    for (const json& entry : all) EXPECT_TRUE(seen.insert(entry["pgn"].get<uint32_t>()).second);
    EXPECT_TRUE(seen.count(130312) && seen.count(126208) && seen.count(130820));
    EXPECT_EQ(FerrowDescribePgn(0, text.data(), length), -1);
    EXPECT_EQ(FerrowDescribePgn(12, text.data(), size), -1);
    EXPECT_EQ(FerrowDescribePgn(130312, nullptr, size), -1);
}

// Panels and emulators decode on their own threads while the operator
// loads another database.
TEST_F(N2KDecodeTest, DecodesAlikeOnManyThreadsWhileADatabaseReloads) {
    const N2KMsg msg = Message(129540, {7, 0xfd, 1, 5, 0xae, 0x1e, 0xb8, 0x7a, 0x9a, 0x10, 0xc7,
                                        0xcf, 0xff, 0xff, 0xf2});
    std::vector<char> expected(4096);
    ASSERT_GT(FerrowDecodeN2K(&msg, expected.data(), 4096), 0);
    std::vector<std::thread> threads;
    std::vector<int> differing(3, 0);
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            char text[4096];
            N2KMsg built{};
            for (int i = 0; i < 300; ++i) {
                if (FerrowDecodeN2K(&msg, text, sizeof text) < 0 || std::strcmp(text, expected.data()) ||
                    FerrowEncodeN2K(text, &built) != 0) {
                    ++differing[t];
                }
            }
        });
    }
    for (int i = 0; i < 2; ++i) EXPECT_EQ(FerrowLoadPgnDatabase(nullptr), 0);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(differing, std::vector<int>(3, 0));
}

// The monitor's row names: the database's words, the hand-written table's
// where the database has several definitions for one number.
TEST_F(N2KDecodeTest, RowNamesComeFromTheDatabase) {
    using ferrow::panels::PgnNames;
    EXPECT_EQ(PgnNames::Lookup(65001), "Bus #1 Phase C Basic AC Quantities");
    EXPECT_EQ(PgnNames::Lookup(130586), "Zone Configuration");
    EXPECT_EQ(PgnNames::Lookup(126208), "Group Function");
    EXPECT_EQ(PgnNames::Lookup(65280), "Proprietary");
    EXPECT_EQ(PgnNames::Lookup(0x1FFFF), "Proprietary");
    EXPECT_EQ(PgnNames::Lookup(61183), "");
}

class N2KEncodeTest : public N2KDecodeTest {
protected:
    static std::string Text(const N2KMsg& msg) {
        std::vector<char> text(1 << 16);
        EXPECT_GT(FerrowDecodeN2K(&msg, text.data(), static_cast<int>(text.size())), 0);
        return text.data();
    }
    static std::vector<uint8_t> Bytes(const N2KMsg& msg) {
        return std::vector<uint8_t>(msg.data, msg.data + msg.length);
    }
};

// Each message's not-available values, reserved bits and padding are all
// ones, so that what the decoder prints builds the very same bytes.
TEST_F(N2KEncodeTest, WhatTheDecoderPrintsBuildsTheSameBytes) {
    const std::vector<N2KMsg> messages = {
        Message(130316, {0x00, 0x00, 0x02, 0xd3, 0x2f, 0x04, 0xff, 0xff}),
        Message(127250, {0x01, 0x12, 0x7a, 0x9c, 0xff, 0xff, 0x7f, 0xfd}),
        Message(127508, {0x00, 0xe9, 0x04, 0xf6, 0xff, 0x5b, 0x74, 0x07}),
        Message(126992, {0x01, 0xf0, 0x0b, 0x4d, 0x88, 0xb2, 0xff, 0x1a}),
        Message(129540, {7, 0xfd, 2, 5, 0xae, 0x1e, 0xb8, 0x7a, 0x9a, 0x10, 0xc7, 0xcf, 0xff, 0xff,
                         0xf2, 12, 0x9c, 0xff, 0xff, 0xff, 0xff, 0x7f, 0xff, 0xff, 0xff, 0x7f, 0xf5}),
        Message(126998, {9, 1, 'B', 'r', 'i', 'd', 'g', 'e', '!', 7, 0, 'C', 'a', 'f', 0xc3, 0xa9,
                         2, 1}),
        Message(130820, {0xa3, 0x99, 0x21, 0x80, 5, 'S', 'a', 'l', 'o', 'n'}),
        Message(126464, {0, 0x00, 0xee, 0x00, 0x14, 0xf0, 0x01}),
        Message(65240, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 35, 9),
        Message(126208, {1, 0x08, 0xfd, 0x01, 0xf8, 2, 4, 0x3f, 0x75, 2, 5}),
        Message(130824, {0x7d, 0x99, 0x04, 0x21, 0xd2, 0x04, 0x29, 0x10, 0x0a}),
    };
    for (const N2KMsg& original : messages) {
        const std::string text = Text(original);
        N2KMsg built{};
        ASSERT_EQ(FerrowEncodeN2K(text.c_str(), &built), 0) << text;
        EXPECT_EQ(Bytes(built), Bytes(original)) << text;
        EXPECT_EQ(built.pgn, original.pgn);
        EXPECT_EQ(built.priority, original.priority);
        EXPECT_EQ(built.addressA, original.addressA);
        EXPECT_EQ(built.addressB, original.addressB);
    }
}

TEST_F(N2KEncodeTest, FieldsByNameOrValueAndLeftOutAsNotAvailable) {
    N2KMsg msg{};
    msg.addressA = 17;
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":130312,"dst":255,"fields":{
                  "Instance":2,"Source":"Engine Room Temperature","Actual Temperature":300.15}})",
                              &msg),
              0);
    // Priority from the database, our own address kept, the SID and set
    // temperature not available, the reserved byte all ones.
    EXPECT_EQ(msg.priority, 5);
    EXPECT_EQ(msg.addressA, 17);
    EXPECT_EQ(msg.transport, 1);
    EXPECT_EQ(Bytes(msg), (std::vector<uint8_t>{0xff, 2, 3, 0x3f, 0x75, 0xff, 0xff, 0xff}));

    // The same lookup by value; a fast-packet PGN's framing.
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":130312,"prio":2,"src":4,"dst":9,
                  "fields":{"Instance":2,"Source":3,"Actual Temperature":300.15}})", &msg),
              0);
    EXPECT_EQ(Bytes(msg)[2], 3);
    EXPECT_EQ(msg.priority, 2);
    EXPECT_EQ(msg.addressA, 4);
    EXPECT_EQ(msg.addressB, 9);
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":126996,"fields":{"Model ID":"X"}})", &msg), 0);
    EXPECT_EQ(msg.transport, 2);
    EXPECT_EQ(msg.length, 134);
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":65240,"dst":9,"fields":{"New Source Address":20}})", &msg), 0);
    EXPECT_EQ(msg.transport, 3);  // the one PGN that only ISO transport carries

    // Times and dates as printed, bit lookups as the names of the bits set.
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":126992,"fields":{"Date":"2024.01.01",
                  "Time":"12:34:56.50000"}})", &msg),
              0);
    EXPECT_EQ(Bytes(msg), (std::vector<uint8_t>{0xff, 0xff, 0x0b, 0x4d, 0x88, 0xb2, 0xff, 0x1a}));
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":127489,"fields":{"Instance":0,
                  "Discrete Status 1":["Check Engine","Low Oil Pressure"]}})", &msg),
              0);
    EXPECT_EQ(msg.data[20], 0x05);
    EXPECT_EQ(msg.data[21], 0x00);

    // The definition a proprietary PGN's maker and message id choose, the
    // count of a repeating set from its list.
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":130820,"fields":{"Message ID":"Unit Name",
                  "Name":"Salon"}})", &msg),
              0);
    EXPECT_EQ(Bytes(msg), (std::vector<uint8_t>{0xa3, 0x99, 0x21, 0x80, 5, 'S', 'a', 'l', 'o', 'n'}));
    ASSERT_EQ(FerrowEncodeN2K(R"({"pgn":129540,"fields":{"list":[{"PRN":5},{"PRN":6}]}})", &msg), 0);
    EXPECT_EQ(msg.data[2], 2);
    EXPECT_EQ(msg.data[3], 5);
}

TEST_F(N2KEncodeTest, RefusalsLeaveTheMessageUntouched) {
    N2KMsg msg{};
    msg.pgn = 1;
    msg.length = 3;
    const N2KMsg before = msg;
    for (const char* json : {
             "",
             "{\"pgn\":130312",
             "[130312]",
             R"({"fields":{}})",
             R"({"pgn":12})",                                          // no such PGN
             R"({"pgn":130312,"prio":8})",                             // priority past 7
             R"({"pgn":130312,"fields":{"Colour":1}})",                // no such field
             R"({"pgn":130312,"fields":{"Source":"Somewhere"}})",      // no such name
             R"({"pgn":130312,"fields":{"Actual Temperature":-1}})",   // below its range
             R"({"pgn":130312,"fields":{"Instance":"two"}})",          // not a number
             R"({"pgn":126992,"fields":{"Time":"25:61:00"}})",
             R"({"pgn":126996,"fields":{"Model ID":"123456789012345678901234567890123"}})",
             R"({"pgn":130820,"fields":{"Manufacturer Code":"Garmin","Message ID":"Unit Name"}})",
         }) {
        EXPECT_EQ(FerrowEncodeN2K(json, &msg), -1) << json;
        EXPECT_EQ(std::memcmp(&msg, &before, sizeof msg), 0) << json;
    }
    EXPECT_EQ(FerrowEncodeN2K(nullptr, &msg), -1);
    EXPECT_EQ(FerrowEncodeN2K(R"({"pgn":130312})", nullptr), -1);
}

}  // namespace

// Our decoder against canboatjs's analyzerjs, key by key, on a case set that
// covers every field type the database uses: numbers of any length, offset
// and sign, resolutions, "not available" and reserved values, lookups, bit
// and indirect lookups, dates, times and durations, fixed, variable,
// zero-terminated and UTF-16 texts, ISO NAMEs, MMSIs, decimal digits,
// floats, binary data, repeating sets with and without a count, group
// functions with their variable values, proprietary PGNs matched by maker,
// industry and message id, and PGNs only a range names. Each message goes
// through our CAN codec: analyzerjs reads its frames as candump -L lines, our
// decoder reads what our codec reassembles from them. analyzerjs cannot
// reassemble ISO transport, so a message of more than 223 bytes reaches it as
// one plain line of its whole payload. Where the two disagree on purpose,
// docs/decoder-differences.md says why.
#include "net/can/N2KCanCodec.h"
#include "net/formats/CandumpLineFormat.h"
#include "tests/support/DecoderPeer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace ferrow::net;
using namespace ferrow::test;
using namespace std::chrono_literals;

struct Case {
    const char* what;
    uint32_t pgn;
    uint8_t destination;
    const char* payload;  // hex
};

constexpr Case kCases[] = {
    {"lookups, a PGN field", 59392, 66,
     "01FFFFFFFF14F001"},
    {"a 3-byte message", 59904, 66,
     "00EE01"},
    {"21 and 11-bit fields, an indirect lookup, a spare bit", 60928, 255,
     "3412A01C8B82F1C2"},
    {"date and time", 126992, 255,
     "01F0554DD2BDFF1A"},
    {"a duration, 2-bit lookups", 126993, 255,
     "701707C8FFFFFFFF"},
    {"signed angles", 127245, 255,
     "00FA2EFB2909FFFF"},
    {"not-available deviation", 127250, 255,
     "123930FF7FD4FEFD"},
    {"signed 32 bits, fine resolution", 127251, 255,
     "03CDF8F9FFFFFFFF"},
    {"three signed angles", 127257, 255,
     "041127F5FDD106FF"},
    {"a date, signed variation", 127258, 255,
     "05F80B4D9DFDFFFF"},
    {"a quarter-unit speed, signed trim", 127488, 255,
     "0171170C00FBFFFF"},
    {"28 two-bit lookups", 127501, 255,
     "02D1DFFFFFFFFF3F"},
    {"4-bit instance and lookup", 127505, 255,
     "03E835B5040000FF"},
    {"signed current", 127508, 255,
     "010005CCFF777403"},
    {"speeds", 128259, 255,
     "064101590100F2FF"},
    {"signed offset", 128267, 255,
     "07D20400000CFE0A"},
    {"a bit lookup", 128777, 255,
     "0801C57B002D0000"},
    {"signed 32-bit latitude and longitude", 129025, 255,
     "8768111FCBFE46FD"},
    {"direction reference", 129026, 255,
     "09FC18790D02FFFF"},
    {"date, time and a signed offset", 129033, 255,
     "DB4C0008AF2FFBFF"},
    {"signed cross-track error", 129283, 255,
     "0A302EFBFFFFFFFF"},
    {"signed DOPs", 129539, 255,
     "0BD25A007800CEFF"},
    {"wind", 130306, 255,
     "0CEE02AE1EFAFFFF"},
    {"obsolete environment", 130310, 255,
     "0D5771956FF503FF"},
    {"6 and 2-bit lookups", 130311, 255,
     "0E04E7726F2CF403"},
    {"temperature", 130312, 255,
     "0F02032F802382FF"},
    {"signed humidity", 130313, 255,
     "1000003336D430FF"},
    {"signed 32-bit pressure", 130314, 255,
     "11000007760F00FF"},
    {"24-bit temperature", 130316, 255,
     "000002D32F04FFFF"},
    {"bit lookup and a short duration", 128006, 255,
     "1201523201645C3D"},
    {"transmission", 127493, 255,
     "00FC1900CB0DFFFF"},
    {"leeway", 128000, 255,
     "13A3FEFFFFFFFFFF"},
    {"signed 24-bit current", 127751, 255,
     "14011401CCCFFFFF"},
    {"request group function, parameters", 126208, 66,
     "0012F101E8030000000001041027"},
    {"command group function", 126208, 66,
     "010CFD01F0010305"},
    {"acknowledge group function", 126208, 66,
     "020CFD010001F1"},
    {"a repeating PGN list", 126464, 255,
     "0000E80000EA0000EE0000EE010CFD01"},
    {"ISO NAMEs", 126983, 255,
     "150506D2040000887766554433221102DA00000123456789ABCDEF02"},
    {"variable texts after an ISO NAME", 126985, 255,
     "0801024D00000088776655443322110300140142696C67652070756D702072756E6E696E670D01456E67696E"
     "6520726F6F6D"},
    {"fixed texts", 126996, 255,
     "3408D204466572726F772070656572FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF312E302E30FFFFFF"
     "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF41FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "FFFFFFFFFFFFFFFFFFFFFFFF3432FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"
     "0102"},
    {"three variable texts", 126998, 255,
     "080148656C6D2031020104014F6B"},
    {"MMSI, date and times", 127233, 255,
     "1540E20100F800B4DB15F8A34D10DBDB1540A7DC1D00E548FFFC983AFA0040078D0EF8"},
    {"bit lookups, 32-bit engine hours", 127489, 255,
     "00B80B2F0EBB8A8C057D0052CA4300E803C800FF0500010037F6"},
    {"variable texts after numbers", 127498, 255,
     "004038090156494E30303031090145435520322E33"},
    {"repeating lines with their count", 127503, 255,
     "0102FC0A5A66008913A000FC080000640000005FF1402E21006F172C0186010000140000005A"},
    {"durations and a lookup", 127506, 255,
     "160100575FF20232000000"},
    {"date, time, 32-bit logs", 128275, 255,
     "464DF0707F3340E2010015030000"},
    {"64-bit signed position, reference stations", 129029, 255,
     "07DB4C0008AF2FC0D8BCEF13CC3B07FF7F1B09BD2060FF20BCBE000000000022FD09500096005C1200000250"
     "00C800C100F401"},
    {"AIS bit fields, MMSI, binary", 129038, 255,
     "0140078D0E803075026A69621F7B39306C02393000E02E2000C0FF03"},
    {"AIS fixed texts", 129040, 255,
     "136F258B0E40A5AE0240D40D1F28F0553601FFFF2408521F7800280014003C00464552524F57204F4E45FFFF"
     "FFFFFFFFFFFFFFFF7CF8"},
    {"AIS variable text", 129041, 255,
     "159273273B80DE8002C0582C1F15320032001900190009E300E014014E4F5254482043415244494E414C2020"
     "2020"},
    {"4-character fixed texts", 129044, 255,
     "573834FFE803000030F8FFFF96000000573834FF"},
    {"floats", 129045, 255,
     "960000001FFFFFFF2C0100000000003F000080BEBD3786350800803FC4430426ED209543574753FF"},
    {"navigation data", 129284, 255,
     "1740E201000000CCBF19884DF82AE02E010000000200000040DD4A1FE0CAD4026AFF"},
    {"repeating waypoints with texts", 129285, 255,
     "0000020001000300E00601486F6D65FF01000701537461727440D40D1F409C710202000501456E6480161D1F"
     "80DE8002"},
    {"repeating satellites", 129540, 255,
     "18FC03018813983AC611402BFEFFF207D0071879B80B400D0300F116F82A50C3C90400000000F0"},
    {"AIS static data, many fixed texts", 129794, 255,
     "05929F930E80368B00504431323334FF464552524F572054574FFFFFFFFFFFFFFFFFFFFF46B004C80064002C"
     "01C14D808EF20D2602524F5454455244414DFFFFFFFFFFFFFFFFFFFFFF85E0"},
    {"a PGN and a text", 130060, 255,
     "010CFD0102000304050801467269646765"},
    {"12-bit binary mask, ISO NAME", 130061, 255,
     "01CDAB88776655443322110CFD010200030104"},
    {"direction data", 130577, 255,
     "C0191027C800F82ABE0088131E00"},
    {"station data, texts", 130323, 255,
     "F00C4D505595060092FE1E005A620226023075F82003F2038F7006014E4C30310A01494A6D756964656E"},
    {"AIS safety text", 129802, 255,
     "0040078D0EC11601414C4C205348495053204B45455020434C454152"},
    {"proprietary single frame, matched by maker", 61184, 66,
     "6699001040E20100"},
    {"proprietary matched by maker", 65280, 255,
     "3F9F85FFFFFFFFFF"},
    {"proprietary matched by maker and report", 65305, 255,
     "419F640A10000000"},
    {"proprietary fast packet, matched by message id", 126720, 66,
     "A39918000114"},
    {"proprietary zero-terminated text", 130816, 255,
     "1399FF0E000300000008536F6E67206F6E650000000000000000000000000000000000000000000000"},
    {"proprietary variable zero-terminated text", 130820, 255,
     "A3990580010200000004426C756500"},
    {"decimal digits", 129808, 255,
     "7864244123456067643136FFFFFFFF3136FFFFFFFF0701313233343540D40D1F80DE8002002A751524400011"
     "1075FC3730FFFFFFFF3730FFFFFFFF50ED7515694D0700"},
    {"ISO transport: 100 PGNs", 126464, 255,
     "0000ED0107ED010EED0115ED011CED0123ED012AED0131ED0138ED013FED0146ED014DED0154ED015BED0162"
     "ED0169ED0170ED0177ED017EED0185ED018CED0193ED019AED01A1ED01A8ED01AFED01B6ED01BDED01C4ED01"
     "CBED01D2ED01D9ED01E0ED01E7ED01EEED01F5ED01FCED0103EE010AEE0111EE0118EE011FEE0126EE012DEE"
     "0134EE013BEE0142EE0149EE0150EE0157EE015EEE0165EE016CEE0173EE017AEE0181EE0188EE018FEE0196"
     "EE019DEE01A4EE01ABEE01B2EE01B9EE01C0EE01C7EE01CEEE01D5EE01DCEE01E3EE01EAEE01F1EE01F8EE01"
     "FFEE0106EF010DEF0114EF011BEF0122EF0129EF0130EF0137EF013EEF0145EF014CEF0153EF015AEF0161EF"
     "0168EF016FEF0176EF017DEF0184EF018BEF0192EF0199EF01A0EF01A7EF01AEEF01B5EF01"},
    {"ISO transport: 20 satellites", 129540, 255,
     "01FC140100000000D007C0BDF0FFF202F401B80B34086044F2FFF203E8037017980800CBF3FFF204DC052823"
     "FC08A051F5FFF205D007E02E600940D8F6FFF206C409983AC409E05EF8FFF207B80B5046280A80E5F9FFF208"
     "AC0D08528C0A206CFBFFF209A00FC05DF00AC0F2FCFFF20A94117869540B6079FEFFF20B88133075B80B0000"
     "0000F20C7C15E8801C0CA0860100F20D7017A08C800C400D0300F20E64195898E40CE0930400F20F581B10A4"
     "480D801A0600F2104C1DC8AFAC0D20A10700F211401F80BB100EC0270900F212342138C7740E60AE0A00F213"
     "2823F0D2D80E00350C00F2141C25A8DE3C0FA0BB0D00F2"},
    {"ISO transport: long texts", 126998, 255,
     "5D01506F727420656E67696E6520726F6F6D2C20666F72776172642062756C6B686561642C2062656C6F7720"
     "7468652073746172626F617264206675656C2074616E6B20616E6420626573696465207468652062696C6765"
     "2070756D703A014D61737420686561642C203138206D65747265732061626F7665207468652077617465726C"
     "696E652C20666163696E6720666F72776172644901466572726F772074657374206465766963653A20746865"
     "206361736520736574207468617420636865636B7320746865206465636F646572206669656C642062792066"
     "69656C64"},
    {"proprietary keys that give the next field its type and length", 130824, 255,
     "7D990B20570400206400"},
    {"a UTF-16 text", 126998, 255,
     "06004800E90002010201"},
    {"a not-available temperature", 130316, 255,
     "000002FFFFFFFFFF"},
    {"a value its lookup lacks", 130312, 255,
     "0F02C82F802382FF"},
    {"a reserved heading", 127250, 255,
     "12FEFFFF7FD4FEFD"},
    {"every field not available", 127508, 255,
     "01FFFFFF7FFFFFFF"},
    {"a maker the database does not know", 65280, 255,
     "E79B010203040506"},
    {"a PGN only its range names", 130000, 255,
     "0102030405060708"},
};

N2KMsg Message(const Case& c, int index) {
    N2KMsg msg{};
    msg.pgn = c.pgn;
    msg.priority = uint8_t(1 + index % 7);
    msg.addressA = uint8_t(10 + index);
    msg.addressB = c.destination;
    const std::string hex = c.payload;
    msg.length = uint16_t(hex.size() / 2);
    for (std::size_t i = 0; i < msg.length; ++i) {
        msg.data[i] = uint8_t(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
    }
    msg.transport = msg.length > 223 ? 3 : 0;  // the codec frames the rest as the PGN is sent
    return msg;
}

// A whole message as one plain line, as the gateways that reassemble write it.
std::string PlainLine(const N2KMsg& msg) {
    char head[96];
    std::snprintf(head, sizeof head, "2023-11-14T22:13:20.000Z,%d,%lu,%d,%d,%d", msg.priority,
                  static_cast<unsigned long>(msg.pgn), msg.addressA, msg.addressB, msg.length);
    std::string line = head;
    for (int i = 0; i < msg.length; ++i) {
        char byte[4];
        std::snprintf(byte, sizeof byte, ",%02x", msg.data[i]);
        line += byte;
    }
    return line + "\n";
}

// The field types of every PGN's first definition in the database.
std::set<std::string> FieldTypes(const std::set<unsigned long>& pgns) {
    std::set<std::string> types;
    for (unsigned long pgn : pgns) {
        std::string text(256 * 1024, '\0');
        const int length = FerrowDescribePgn(pgn, text.data(), int(text.size()));
        if (length < 0) continue;
        text.resize(std::size_t(length));
        for (const Json& field : Json::parse(text).value("fields", Json::array())) {
            types.insert(field.value("type", ""));
        }
    }
    return types;
}

TEST(DecoderPeer, EveryCaseDecodesAsAnalyzerjsPrintsIt) {
    REQUIRE_PEER();
    REQUIRE_PGN_DATABASE();

    // The set covers 60 PGNs and more, and every field type of the definitions
    // FerrowDescribePgn gives (each PGN's first).
    std::set<unsigned long> ours;
    for (const Case& c : kCases) ours.insert(c.pgn);
    EXPECT_GE(ours.size(), 60u);
    std::string list(256 * 1024, '\0');
    const int listed = FerrowDescribePgn(0, list.data(), int(list.size()));
    ASSERT_GT(listed, 0);
    list.resize(std::size_t(listed));
    std::set<unsigned long> all;
    for (const Json& entry : Json::parse(list)) all.insert(entry.value("pgn", 0ul));
    std::set<std::string> missing = FieldTypes(all);
    EXPECT_GE(missing.size(), 15u) << "the database's field types";
    for (const std::string& type : FieldTypes(ours)) missing.erase(type);
    EXPECT_TRUE(missing.empty()) << "no case has a field of type " << *missing.begin();

    // Framed by our codec, candump lines for analyzerjs, reassembled by our codec for ours.
    N2KCanCodec sender;
    N2KCanCodec receiver;
    const CandumpLineFormat candump;
    // analyzerjs takes every line after a plain one of more than 8 bytes as
    // a whole message: those of ISO transport come last.
    std::string lines;
    std::string plain;
    std::vector<std::size_t> order;  // the cases in the order analyzerjs reads them
    std::vector<std::size_t> last;
    std::vector<N2KMsg> received;
    std::vector<CanFrame> replies;
    for (std::size_t i = 0; i < std::size(kCases); ++i) {
        const N2KMsg sent = Message(kCases[i], int(i));
        std::vector<CanFrame> frames;
        ASSERT_EQ(sender.Send(sent, 0ms, frames), N2K_OK) << kCases[i].what;
        const std::size_t before = received.size();
        for (const CanFrame& frame : frames) {
            N2KMsg msg{};
            if (receiver.Receive(frame, 0ms, msg, replies)) received.push_back(msg);
            if (sent.length <= 223) {
                lines += candump.Format(frame, LineFormat::Direction::Received, 1700000000s);
            }
        }
        ASSERT_EQ(received.size(), before + 1) << kCases[i].what;
        if (sent.length > 223) {
            plain += PlainLine(received.back());
            last.push_back(i);
        } else {
            order.push_back(i);
        }
    }
    order.insert(order.end(), last.begin(), last.end());
    TempDir dir;
    TempDir::Write(dir.File("cases.log"), lines + plain);
    std::vector<Json> theirs;
    ASSERT_TRUE(Analyze(dir, dir.File("cases.log"), theirs));
    std::string printed;
    for (const Json& object : theirs) printed += " " + std::to_string(object.value("pgn", 0u));
    ASSERT_EQ(theirs.size(), std::size(kCases)) << "analyzerjs printed" << printed;

    std::set<const Explained*> seen;  // the explained differences that still occur
    for (std::size_t n = 0; n < order.size(); ++n) {
        const Case& c = kCases[order[n]];
        EXPECT_EQ(theirs[n].value("pgn", 0u), c.pgn) << c.what;
        std::string unexplained;
        for (const std::string& difference : Differences(DecodeOurs(received[order[n]]), theirs[n])) {
            if (const Explained* explained = FindExplained(c.pgn, difference)) {
                seen.insert(explained);
            } else {
                unexplained += "\n  " + difference;
            }
        }
        EXPECT_TRUE(unexplained.empty()) << c.pgn << " " << c.what << ":" << unexplained;
    }
    for (const Explained& explained : kExplained) {
        EXPECT_EQ(seen.count(&explained), 1u)
            << explained.pgn << " " << explained.path << " no longer differs: take it out of the list";
    }
}

}  // namespace

// What the demo monitor sends, recorded as CAN frames by its gateway and
// decoded by canboatjs (tests/peer/decode.js): the claim's NAME fields, the
// temperatures in kelvin, the battery voltage, the engine speed, the
// heartbeat's interval and the product information read there as the device
// documents them; and what its headless `decode on` prints for each message
// it sent, key by key as analyzerjs prints the recorded frames.
#include "tests/examples/monitor/MonitorRig.h"
#include "tests/support/CanboatPeer.h"
#include "tests/support/DecoderPeer.h"

#include "Summary.h"

#include <sstream>

namespace monitor_test {
namespace {

using ferrow::test::Decoded;
using ferrow::test::DecodeLog;
using ferrow::test::ExpectFields;

TEST(MonitorPeer, CanboatjsDecodesWhatItSends) {
    REQUIRE_PEER();
    REQUIRE_PGN_DATABASE();
    TempDir peerDir;
    const std::string log = peerDir.File("frames.log");
    MonitorRig rig(1, log);
    const std::string unique = std::to_string(kUnique);
    rig.Start(2600);
    ASSERT_EQ(rig[0].Emu()->n2kGen->PutISORequest(kProductInfoPgn, kTool, kDefaultAddress, 0), 1);
    rig.Run(50);
    // The monitor's stores still hold every message since the start.
    monitor::Summary summary(*rig[0].device);
    std::string reply;
    ASSERT_TRUE(summary.Command("decode on", reply));
    ASSERT_EQ(reply, "decode on");
    std::vector<ferrow::test::Json> ours;
    std::istringstream printed(summary.Drain());
    for (std::string line; std::getline(printed, line);) {
        if (line.empty() || line.front() != '{') continue;
        ours.push_back(ferrow::test::Json::parse(line));
        if (ours.back()["src"] != kDefaultAddress) ours.pop_back();
    }
    rig.Shutdown();

    std::vector<ferrow::test::Json> theirs;
    ASSERT_TRUE(ferrow::test::Analyze(peerDir, log, theirs));
    theirs.erase(std::remove_if(theirs.begin(), theirs.end(),
                                [](const auto& m) { return m["src"] != kDefaultAddress; }),
                 theirs.end());
    ASSERT_EQ(ours.size(), theirs.size());
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const uint32_t pgn = theirs[i].value("pgn", 0u);
        // The answer to a request is addressed to whoever asked, but a PGN whose
        // identifier has no destination (PDU2) goes to all on the wire.
        const bool pdu2 = (pgn >> 8 & 0xFF) >= 240;
        for (const std::string& difference : ferrow::test::Differences(ours[i], theirs[i])) {
            if (pdu2 && difference.compare(0, 4, "dst:") == 0 && theirs[i]["dst"] == kGlobal) continue;
            EXPECT_TRUE(ferrow::test::FindExplained(pgn, difference))
                << "message " << i << ", " << pgn << ": " << difference;
        }
    }

    std::vector<Decoded> decoded;
    ASSERT_TRUE(DecodeLog(peerDir, log, decoded));
    // The newest message of `pgn` whose field `key` (if given) is `value`.
    const auto newest = [&](uint32_t pgn, const std::string& key = "",
                            const std::string& value = "") -> const Decoded* {
        for (auto it = decoded.rbegin(); it != decoded.rend(); ++it) {
            if (it->pgn != pgn) continue;
            EXPECT_EQ(it->src, kDefaultAddress) << pgn;
            const auto field = it->fields.find(key);
            if (key.empty() || (field != it->fields.end() && field->second == value)) return &*it;
        }
        ADD_FAILURE() << "canboatjs decoded no " << pgn << " " << key << " " << value;
        return nullptr;
    };

    const Decoded* claim = newest(kClaimPgn);
    ASSERT_TRUE(claim);
    EXPECT_EQ(claim->dst, kGlobal);
    EXPECT_EQ(claim->prio, 6);
    ExpectFields(*claim, {{"uniqueNumber", unique}, {"manufacturerCode", "2046"},
                          {"deviceInstanceLower", "0"}, {"deviceInstanceUpper", "0"},
                          {"deviceFunction", "130"}, {"deviceClass", "75"},
                          {"systemInstance", "0"}, {"industryGroup", "4"},
                          {"arbitraryAddressCapable", "1"}});

    const std::pair<int, const char*> kelvin[] = {
        {kSourceEngineRoom, "299.15"}, {kSourceSea, "288.15"}, {kSourceInside, "294.65"}};
    for (const auto& [source, temperature] : kelvin) {
        const Decoded* t = newest(kTemperaturePgn, "source", std::to_string(source));
        ASSERT_TRUE(t) << "source " << source;
        EXPECT_EQ(t->prio, 5);
        ExpectFields(*t, {{"instance", "0"}, {"temperature", temperature}}, 0.0015);
    }
    // Each PGN with its fields and the rounding its resolution allows.
    const std::tuple<uint32_t, ferrow::test::Fields, double> readings[] = {
        {kBatteryPgn, {{"instance", "0"}, {"voltage", "12.6"}}, 0.011},
        {kEnginePgn, {{"instance", "0"}, {"speed", "1500"}}, 8},
        // The transmit interval in its 0.01 s resolution: 60 s, not 10 minutes or 6 s.
        {kHeartbeatPgn, {{"dataTransmitOffset", "\"00:01:00\""}, {"sequenceCounter", "0"}}, 0},
        {kProductInfoPgn,
         {{"nmea2000Version", "2.1"}, {"productCode", "1"},
          {"modelId", "\"Ferrow demo monitor\""}, {"softwareVersionCode", "\"1.0.0\""},
          {"modelVersion", "\"1\""}, {"modelSerialCode", "\"" + unique + "\""},
          {"certificationLevel", "1"}, {"loadEquivalency", "1"}},
         0},
    };
    for (const auto& [pgn, fields, tolerance] : readings) {
        if (const Decoded* d = newest(pgn)) ExpectFields(*d, fields, tolerance);
    }
}

}  // namespace
}  // namespace monitor_test

// What the demo monitor sends, recorded as CAN frames by its gateway and
// decoded by canboatjs (tests/peer/decode.js): the claim's NAME fields, the
// temperatures in kelvin, the battery voltage, the engine speed, the
// heartbeat's interval and the product information read there as the device
// documents them.
#include "tests/examples/monitor/MonitorRig.h"
#include "tests/support/CanboatPeer.h"

namespace monitor_test {
namespace {

using ferrow::test::Decoded;
using ferrow::test::DecodeLog;
using ferrow::test::ExpectFields;

TEST(MonitorPeer, CanboatjsDecodesWhatItSends) {
    REQUIRE_PEER();
    TempDir peerDir;
    const std::string log = peerDir.File("frames.log");
    MonitorRig rig(1, log);
    const std::string unique = std::to_string(kUnique);
    rig.Start(2600);
    ASSERT_EQ(rig[0].Emu()->n2kGen->PutISORequest(kProductInfoPgn, kTool, kDefaultAddress, 0), 1);
    rig.Run(50);
    rig.Shutdown();

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

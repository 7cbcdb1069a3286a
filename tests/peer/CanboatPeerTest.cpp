// Our CAN framing, line formats, fast-packet table, gateway and serial frames
// against canboatjs, an independent NMEA 2000 decoder and encoder run under
// node (tests/peer). canboatjs has no ISO transport and drops a faulty
// fast-packet sequence without a word, so only standard PGNs a fast packet or
// a frame carries are used, and a message it does not report counts as a
// failure. Without node or the installed package the tests skip, or fail when
// CI is set.
#include "net/can/CanFrame.h"
#include "net/can/FastPacketPgns.h"
#include "net/can/N2KCanCodec.h"
#include "net/formats/CandumpLineFormat.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/links/FrameLog.h"
#include "net/formats/RawLineFormat.h"
#include "net/serial/SerialMessageCodec.h"
#include "tests/support/CanboatPeer.h"
#include "tests/support/FreeLoopbackPort.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/N2KMsg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace ferrow::net;
using namespace ferrow::test;
using namespace std::chrono_literals;

constexpr uint8_t kSingleFrame = 1;
constexpr uint8_t kFastPacket = 2;
constexpr uint8_t kGlobal = 255;

std::string Hex(const uint8_t* data, std::size_t length) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += {kDigits[data[i] >> 4], kDigits[data[i] & 15]};
    return text;
}
std::string Hex(const std::vector<uint8_t>& bytes) { return Hex(bytes.data(), bytes.size()); }
std::string PayloadHex(const N2KMsg& msg) { return Hex(msg.data, msg.length); }

// Payloads built byte by byte, little-endian as NMEA 2000 has them.
class Payload {
public:
    explicit Payload(std::vector<uint8_t> bytes = {}) : data_(std::move(bytes)) {}
    Payload& Le(int64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) data_.push_back(uint8_t(uint64_t(value) >> (8 * i)));
        return *this;
    }
    Payload& U8(int64_t value) { return Le(value, 1); }
    Payload& U16(int64_t value) { return Le(value, 2); }
    Payload& U24(int64_t value) { return Le(value, 3); }
    Payload& U32(int64_t value) { return Le(value, 4); }
    Payload& U64(int64_t value) { return Le(value, 8); }
    // A fixed-width text field padded with 0xFF.
    Payload& Fixed(const std::string& text, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) data_.push_back(i < text.size() ? text[i] : 0xFF);
        return *this;
    }
    // A variable text field: its length with these two bytes, 1 for ASCII,
    // the characters.
    Payload& Lau(const std::string& text) {
        data_.push_back(uint8_t(text.size() + 2));
        data_.push_back(1);
        data_.insert(data_.end(), text.begin(), text.end());
        return *this;
    }
    const std::vector<uint8_t>& Bytes() const { return data_; }

private:
    std::vector<uint8_t> data_;
};

// A message we send, with the field values canboatjs must find in it (JSON).
struct Sent { N2KMsg msg; Fields fields; };

Sent Make(uint32_t pgn, uint8_t priority, uint8_t source, uint8_t destination,
          uint8_t transport, const Payload& payload, Fields fields = {}) {
    Sent sent{{}, std::move(fields)};
    sent.msg.pgn = pgn;
    sent.msg.priority = priority;
    sent.msg.addressA = source;
    sent.msg.addressB = destination;
    sent.msg.transport = transport;
    sent.msg.length = uint16_t(payload.Bytes().size());
    std::copy(payload.Bytes().begin(), payload.Bytes().end(), sent.msg.data);
    return sent;
}

// 127250 Vessel Heading: 8 bytes.
Sent Heading(uint8_t source, int sid, int heading, int variation) {
    return Make(127250, 2, source, kGlobal, kSingleFrame,
                Payload().U8(sid).U16(heading).U16(0x7FFF).U16(variation).U8(0xFD),
                {{"sid", std::to_string(sid)},
                 {"heading", std::to_string(heading * 1e-4)},
                 {"variation", std::to_string(variation * 1e-4)},
                 {"reference", "1"}});
}

// 126998 Configuration Information: three variable texts, 6 + their lengths.
Sent Configuration(uint8_t source, const std::string& a, const std::string& b,
                   const std::string& c) {
    Fields fields;
    if (!a.empty()) fields.push_back({"installationDescription1", "\"" + a + "\""});
    if (!b.empty()) fields.push_back({"installationDescription2", "\"" + b + "\""});
    if (!c.empty()) fields.push_back({"manufacturerInformation", "\"" + c + "\""});
    return Make(126998, 6, source, kGlobal, kFastPacket, Payload().Lau(a).Lau(b).Lau(c),
                std::move(fields));
}

// 126464 PGN List: a function code and 3 bytes a PGN.
Sent PgnList(uint8_t source, int function, const std::vector<uint32_t>& pgns) {
    Payload payload;
    payload.U8(function);
    Fields fields = {{"functionCode", std::to_string(function)}};
    for (std::size_t i = 0; i < pgns.size(); ++i) {
        payload.U24(pgns[i]);
        fields.push_back({"list." + std::to_string(i) + ".pgn", std::to_string(pgns[i])});
    }
    return Make(126464, 6, source, kGlobal, kFastPacket, payload, std::move(fields));
}

std::string Repeat(const std::string& unit, std::size_t length) {
    std::string text;
    while (text.size() < length) text += unit;
    return text.substr(0, length);
}

// Three senders, each sending its messages in order.
std::vector<std::vector<Sent>> Senders() {
    std::vector<uint32_t> many;
    for (uint32_t i = 0; i < 74; ++i) many.push_back(126208 + i);  // 1 + 3 * 74 = 223 bytes

    const std::vector<Sent> a = {
        Heading(0x23, 0x12, 12345, -300),
        Configuration(0x23, "", "", ""),    // 6 bytes: one frame
        Configuration(0x23, "A", "", ""),   // 7 bytes: two frames
        Configuration(0x23, "AB", "", ""),  // 8 bytes
        // 129029 GNSS Position Data, 43 bytes without reference stations.
        Make(129029, 3, 0x23, kGlobal, kFastPacket,
             Payload().U8(7).U16(19675).U32(360005000).U64(521234567890000000LL)
                 .U64(-45000000000000000LL).U64(12500000).U8(0x10).U8(0xFC).U8(9).U16(80)
                 .U16(150).U32(4700).U8(0),
             {{"sid", "7"}, {"latitude", "52.12345678900000"}, {"longitude", "-4.5"},
              {"altitude", "12.5"}, {"numberOfSvs", "9"}, {"hdop", "0.8"}, {"pdop", "1.5"},
              {"geoidalSeparation", "47"}, {"referenceStations", "0"}}),
        PgnList(0x23, 0, many),  // 223 bytes: 32 frames
    };
    const std::vector<Sent> b = {
        // 127508 Battery Status: 8 bytes.
        Make(127508, 6, 0x24, kGlobal, kSingleFrame,
             Payload().U8(1).U16(1280).U16(-52).U16(29815).U8(3),
             {{"instance", "1"}, {"voltage", "12.8"}, {"current", "-5.2"},
              {"temperature", "298.15"}, {"sid", "3"}}),
        // 59904 ISO Request, addressed.
        Make(59904, 6, 0x24, 0x42, kSingleFrame, Payload().U24(126996), {{"pgn", "126996"}}),
        Configuration(0x24, "ABC", "", ""),  // 9 bytes
        PgnList(0x24, 1, {127250, 127508}),  // 7 bytes
        // 126208 Request group function, addressed fast packet: 11 bytes.
        Make(126208, 3, 0x24, 0x42, kFastPacket,
             Payload().U8(0).U24(126996).U32(0xFFFFFFFF).U16(0xFFFF).U8(0),
             {{"pgn", "126996"}, {"numberOfParameters", "0"}}),
        // 126996 Product Information: 134 bytes.
        Make(126996, 6, 0x24, kGlobal, kFastPacket,
             Payload().U16(2100).U16(1234).Fixed("Ferrow peer", 32).Fixed("1.0.0", 32)
                 .Fixed("A", 32).Fixed("42", 32).U8(1).U8(2),
             {{"nmea2000Version", "2.1"}, {"productCode", "1234"},
              {"modelId", "\"Ferrow peer\""}, {"softwareVersionCode", "\"1.0.0\""},
              {"modelVersion", "\"A\""}, {"modelSerialCode", "\"42\""},
              {"certificationLevel", "1"}, {"loadEquivalency", "2"}}),
    };
    const std::vector<Sent> c = {
        Configuration(0x31, "Helm 1", "", "x"),                 // 13 bytes
        Configuration(0x31, "Engine", "", "Ok"),                // 14 bytes
        PgnList(0x31, 0, {127250, 127508, 129029, 126996}),     // 13 bytes
        Configuration(0x31, Repeat("Port engine room ", 70), Repeat("Mast-", 70),
                      Repeat("Ferrow 0123456789 ", 77)),        // 223 bytes
        Heading(0x31, 0, 0, 0),
    };
    return {a, b, c};
}

// The frames of each sender, taken one frame from each in turn.
std::vector<CanFrame> Interleave(const std::vector<std::vector<CanFrame>>& senders) {
    std::vector<CanFrame> frames;
    for (std::size_t i = 0;; ++i) {
        const std::size_t before = frames.size();
        for (const auto& sender : senders) {
            if (i < sender.size()) frames.push_back(sender[i]);
        }
        if (frames.size() == before) return frames;
    }
}

// Our codec's frames of three senders, interleaved and recorded through
// FrameLog as candump -L lines, decode there to the messages we sent.
TEST(CanboatPeer, DecodesOurFramesAsWeSentThem) {
    REQUIRE_PEER();
    const auto senders = Senders();
    std::vector<std::vector<CanFrame>> framesBySender;
    for (const auto& messages : senders) {
        N2KCanCodec codec(messages.front().msg.addressA);
        auto& frames = framesBySender.emplace_back();
        for (const Sent& sent : messages) {
            ASSERT_EQ(codec.Send(sent.msg, 0ms, frames), N2K_OK) << "pgn " << sent.msg.pgn;
        }
    }

    TempDir dir;
    const std::string log = dir.File("ours.log");
    {
        FrameLog recorder(log, "can0", [] { return std::chrono::system_clock::time_point(1700000000s); });
        std::string error;
        ASSERT_EQ(recorder.Open(error), 0) << error;
        for (const CanFrame& frame : Interleave(framesBySender)) {
            recorder.Record(frame, LineFormat::Direction::Received);
        }
        recorder.Close();
        ASSERT_EQ(recorder.TakeError(), "");
    }
    std::vector<Decoded> decoded;
    ASSERT_TRUE(DecodeLog(dir, log, decoded));

    std::size_t total = 0;
    for (const auto& messages : senders) {
        const int source = messages.front().msg.addressA;
        std::vector<Decoded> fromSource;
        std::copy_if(decoded.begin(), decoded.end(), std::back_inserter(fromSource),
                     [&](const Decoded& d) { return d.src == source; });
        total += fromSource.size();
        ASSERT_EQ(fromSource.size(), messages.size()) << "messages from source " << source;
        for (std::size_t i = 0; i < messages.size(); ++i) {
            const N2KMsg& sent = messages[i].msg;
            const Decoded& got = fromSource[i];
            SCOPED_TRACE(::testing::Message() << "source " << source << " message " << i << " pgn "
                                              << sent.pgn << " length " << sent.length);
            EXPECT_EQ(got.pgn, sent.pgn);
            EXPECT_EQ(got.dst, sent.addressB);
            EXPECT_EQ(got.prio, sent.priority);
            // A fast packet's first frame carries 6 bytes, the others 7 each.
            EXPECT_EQ(got.frames, sent.transport == kFastPacket ? 1 + sent.length / 7 : 1);
            EXPECT_EQ(got.payload, PayloadHex(sent));
            ExpectFields(got, messages[i].fields);
        }
    }
    EXPECT_EQ(total, decoded.size()) << "canboatjs decoded messages from other sources";
}

// Messages for canboatjs's encoder, one source and PGN each: the header, and
// the fields as JSON.
struct PeerMessage { uint32_t pgn; uint8_t priority, source, destination; const char* fields; };
constexpr PeerMessage kPeerMessages[] = {
    {127250, 2, 35, 255,
     R"({"sid":18,"heading":1.2345,"deviation":0.0021,"variation":-0.03,"reference":1})"},
    {127508, 6, 36, 255,
     R"({"instance":1,"voltage":12.8,"current":-5.2,"temperature":298.15,"sid":3})"},
    {59904, 6, 49, 66, R"({"pgn":126996})"},
    {126996, 6, 35, 255,
     R"({"nmea2000Version":2.1,"productCode":1234,"modelId":"Ferrow peer",
         "softwareVersionCode":"1.0.0","modelVersion":"A","modelSerialCode":"42",
         "certificationLevel":1,"loadEquivalency":2})"},
    {129029, 3, 36, 255,
     R"({"sid":7,"date":"2023.11.14","latitude":52.123456789,"longitude":-4.5,
         "altitude":12.5,"gnssType":0,"method":1,"integrity":0,"numberOfSvs":9,
         "hdop":0.8,"pdop":1.5,"geoidalSeparation":47,"referenceStations":0})"},
    {126464, 6, 49, 255,
     R"({"functionCode":0,"list":[{"pgn":127250},{"pgn":127508},{"pgn":129029},{"pgn":126996}]})"},
    {126998, 6, 50, 255,
     R"({"installationDescription1":"Helm 1","installationDescription2":"",
         "manufacturerInformation":"Ok"})"},
};
constexpr std::size_t kPeerCount = std::size(kPeerMessages);

// Reads canboatjs's lines of one kind through `format` and our codec, the
// lines of its messages taken one from each in turn, and checks each message
// against the header it was given and the payload canboatjs encoded.
void ExpectOurCodecReads(const std::map<int, std::vector<std::string>>& lines,
                         const std::map<int, std::string>& payloads, const LineFormat& format) {
    std::vector<std::vector<CanFrame>> framesByMessage;
    for (const auto& [index, texts] : lines) {
        auto& frames = framesByMessage.emplace_back();
        for (const std::string& text : texts) {
            const auto line = format.Parse(text);
            if (line) frames.push_back(line->frame);
            else ADD_FAILURE() << "our line format refused canboatjs's line: " << text;
        }
    }

    N2KCanCodec codec;
    std::vector<N2KMsg> received;
    std::vector<CanFrame> replies;
    for (const CanFrame& frame : Interleave(framesByMessage)) {
        N2KMsg msg{};
        if (codec.Receive(frame, 0ms, msg, replies)) received.push_back(msg);
    }
    EXPECT_TRUE(replies.empty());
    ASSERT_EQ(received.size(), kPeerCount);
    for (std::size_t i = 0; i < kPeerCount; ++i) {
        const PeerMessage& want = kPeerMessages[i];
        SCOPED_TRACE(::testing::Message() << "message " << i << " pgn " << want.pgn);
        const auto got = std::find_if(received.begin(), received.end(), [&](const N2KMsg& m) {
            return m.pgn == want.pgn && m.addressA == want.source;
        });
        ASSERT_NE(got, received.end()) << "our codec did not deliver it";
        EXPECT_EQ(got->priority, want.priority);
        EXPECT_EQ(got->addressB, want.destination);
        EXPECT_EQ(got->transport, FastPacketPgns::Contains(want.pgn) ? kFastPacket : kSingleFrame);
        const auto payload = payloads.find(int(i));
        ASSERT_NE(payload, payloads.end());
        EXPECT_EQ(PayloadHex(*got), payload->second);
    }
}

// The candump -L and plain-text gateway lines canboatjs encodes read back
// through our line formats and codec to the messages it encoded.
TEST(CanboatPeer, OurLineFormatsAndCodecReadWhatItEncodes) {
    REQUIRE_PEER();
    TempDir dir;
    std::string json = "[";
    for (const PeerMessage& m : kPeerMessages) {
        json += (json.size() > 1 ? "," : "") + ("{\"pgn\":" + std::to_string(m.pgn)) +
                ",\"prio\":" + std::to_string(m.priority) + ",\"src\":" + std::to_string(m.source) +
                ",\"dst\":" + std::to_string(m.destination) + ",\"fields\":" + m.fields + "}";
    }
    TempDir::Write(dir.File("messages.json"), json + "]");
    std::string out;
    ASSERT_TRUE(RunPeer(dir, {"encode", dir.File("messages.json")}, out));

    // DATA, CANDUMP or RAW → message → its lines; any other kind is a complaint.
    std::map<std::string, std::map<int, std::vector<std::string>>> said;
    for (const std::string& line : Lines(out)) {
        std::istringstream in(line);
        std::string kind, rest;
        int index = -1;
        in >> kind >> index;
        std::getline(in >> std::ws, rest);
        said[kind][index].push_back(rest);
    }
    ASSERT_EQ(said.size(), 3u) << out;
    std::map<int, std::string> payloads;
    for (const auto& [index, data] : said["DATA"]) payloads[index] = data.front();
    ASSERT_EQ(payloads.size(), kPeerCount);
    // Where we know the bytes, canboatjs encoded them as we would.
    EXPECT_EQ(payloads[0], "1239301500D4FEFD");
    EXPECT_EQ(payloads[1], "010005CCFF777403");
    EXPECT_EQ(payloads[2], "14F001");
    {
        SCOPED_TRACE("candump -L lines");
        ExpectOurCodecReads(said["CANDUMP"], payloads, CandumpLineFormat());
    }
    SCOPED_TRACE("plain-text gateway lines");
    ExpectOurCodecReads(said["RAW"], payloads, RawLineFormat());
}

// Every PGN canboatjs's database sends as a fast packet is one in our table,
// and no other, outside the proprietary ranges whose members only the makers
// know: those our table must send as fast packets.
TEST(CanboatPeer, FastPacketPgnsAgreeWithItsDatabase) {
    REQUIRE_PEER();
    TempDir dir;
    std::string out;
    ASSERT_TRUE(RunPeer(dir, {"fastpgns"}, out));
    const auto lines = Lines(out);
    ASSERT_EQ(lines.size(), 1u);
    std::istringstream in(lines.front());
    std::string kind;
    in >> kind;
    ASSERT_EQ(kind, "FASTPGNS");
    std::set<uint32_t> theirs;
    for (uint32_t pgn; in >> pgn;) theirs.insert(pgn);
    ASSERT_GT(theirs.size(), 100u);

    for (uint32_t pgn = 0; pgn <= 0x1FFFF; ++pgn) {
        const bool proprietary = pgn == 126720 || (pgn >= 130816 && pgn <= 131071);
        const bool ours = FastPacketPgns::Contains(pgn);
        EXPECT_EQ(ours, proprietary || theirs.count(pgn) == 1)
            << "PGN " << pgn << (proprietary ? " (proprietary)" : "")
            << ": fast packet in our table " << ours << ", in canboatjs's " << theirs.count(pgn);
    }
}

// canboatjs as a node on our network: its network-gateway client, which
// claims an address and answers ISO requests, connects (loopback, plain-text
// lines) to our emulator as the gateway, and the firmware side asks it for its
// Product Information.
TEST(CanboatPeer, ItsNetworkNodeAnswersOurRequestThroughOurGateway) {
    REQUIRE_PEER();
    constexpr auto kNodeWait = 20s;  // no wait for the node may take longer
    TempDir dir;
    const std::string port = std::to_string(FreeLoopbackPort());
    // Plain-text gateway lines, the default on a socket.
    TestEmulator gateway(nullptr, 0, nullptr, "GW_PORT_NAME=\"tcp-listen:" + port + "\"\n");
    ASSERT_EQ(gateway->Connect(), 0);
    NodeProcess node(dir, "node_gateway.js", {port, "60"});
    ASSERT_TRUE(node.Running()) << node.Error();

    std::vector<std::string> heard;
    const auto said = [&] {
        return "we heard: " + ::testing::PrintToString(heard) + "\nthe node said:\n" +
               TempDir::Read(dir.File("node.out")) + TempDir::Read(dir.File("node.err"));
    };
    // The first message from the network that `match` accepts, within kNodeWait.
    const auto waitFor = [&](auto match, N2KMsg& got) {
        const auto deadline = std::chrono::steady_clock::now() + kNodeWait;
        while (std::chrono::steady_clock::now() < deadline) {
            if (gateway->GetMsg(&got) == N2K_OK) {
                heard.push_back(std::to_string(got.pgn) + " from " + std::to_string(got.addressA));
                if (match(got)) return true;
            } else if (!node.Running()) {
                return false;
            } else {
                std::this_thread::sleep_for(1ms);
            }
        }
        return false;
    };

    // Its address claim: 8 bytes of name from the address it takes.
    N2KMsg claim{};
    ASSERT_TRUE(waitFor([](const N2KMsg& m) { return m.pgn == 60928 && m.length == 8; }, claim))
        << "no address claim from the node\n" << said();
    const uint8_t address = claim.addressA;
    ASSERT_LT(address, 252) << said();
    // Once its claim holds it announces its Product Information unasked;
    // only then does it answer requests.
    N2KMsg announced{};
    ASSERT_TRUE(waitFor(
        [&](const N2KMsg& m) { return m.pgn == 126996 && m.addressA == address; }, announced))
        << "the node never announced itself\n" << said();

    // ISO Request for 126996, from a firmware at 0x23 to the node.
    N2KMsg request = Make(59904, 6, 0x23, address, kSingleFrame, Payload().U24(126996)).msg;
    ASSERT_EQ(gateway->PutMsg(&request), N2K_OK);
    N2KMsg answer{};
    ASSERT_TRUE(waitFor([&](const N2KMsg& m) { return m.pgn == 126996; }, answer))
        << "no Product Information after our request\n" << said();
    EXPECT_EQ(answer.addressA, address);
    EXPECT_EQ(answer.addressB, kGlobal);
    EXPECT_EQ(answer.transport, kFastPacket);
    // Version, product code, four 32-character texts, certification, load.
    EXPECT_EQ(answer.length, 134);
    EXPECT_EQ(answer.data[2] | answer.data[3] << 8, 667) << "canboatjs's default product code";
    EXPECT_EQ(PayloadHex(answer), PayloadHex(announced));

    node.Stop();
    gateway->DisConnect();
}

// A serial gateway's frames (tests/peer/compose_serial.js), DLE bytes in
// every place they can be: in the PGN (126992 is 0x1F010), the destination,
// the data, the frame's length (a 10-byte message), its checksum (the 0x24)
// and the largest messages. canboatjs writes our messages byte for byte as we
// do, and reads the frames our simulated gateway sends as the messages in them.
TEST(CanboatPeer, SerialGatewayFramesAgreeBothWays) {
    REQUIRE_PEER();
    std::vector<uint8_t> rising(SerialMessageCodec::kMaxSendData);
    for (std::size_t i = 0; i < rising.size(); ++i) rising[i] = uint8_t(i * 3 + 1);
    // The serial codec ignores the transport.
    const auto make = [](uint32_t pgn, uint8_t priority, uint8_t destination,
                         std::vector<uint8_t> data) {
        return Make(pgn, priority, 0x23, destination, 0, Payload(std::move(data))).msg;
    };
    const std::vector<N2KMsg> messages = {
        make(127250, 2, kGlobal, {0x00, 0x39, 0x30, 0xFF, 0x7F, 0xD4, 0xFE, 0xFD}),
        make(126992, 3, kGlobal, std::vector<uint8_t>(8, 0x10)),
        make(59904, 6, 0x10, {0x10, 0xF0, 0x01}),
        make(126208, 3, 0x42, std::vector<uint8_t>(10, 0x10)),
        make(127250, 3, kGlobal, {1, 2, 3, 4, 5, 6, 7, 0x24}),
        make(129029, 3, kGlobal, std::vector<uint8_t>(223, 0x10)),
        make(130816, 7, kGlobal, std::vector<uint8_t>(rising.begin(), rising.begin() + 244)),
        make(130817, 7, kGlobal, rising),
        make(60928, 6, kGlobal, {}),
    };
    const auto frameHex = [](uint8_t command, const std::vector<uint8_t>& payload) {
        std::vector<uint8_t> frame;
        DleFrameEncoder::Append(command, payload.data(), payload.size(), frame);
        return Hex(frame);
    };

    std::ostringstream json;            // our messages, for canboatjs to compose
    std::vector<std::string> composed;  // the frames it must compose
    std::string sent;                   // the frames our gateway sends of those that fit
    std::vector<std::string> parsed;    // the messages it must read from them
    for (const N2KMsg& msg : messages) {
        json << (composed.empty() ? "[" : ",") << "{\"prio\":" << int(msg.priority)
             << ",\"pgn\":" << msg.pgn << ",\"dst\":" << int(msg.addressB) << ",\"data\":\""
             << PayloadHex(msg) << "\"}";
        std::vector<uint8_t> payload;
        ASSERT_EQ(SerialMessageCodec::EncodeSend(msg, payload), N2K_OK) << msg.pgn;
        composed.push_back("FRAME " + std::to_string(composed.size()) + " " +
                           frameHex(SerialMessageCodec::kSendCommand, payload));
        if (msg.length > SerialMessageCodec::kMaxReceivedData) continue;
        payload.clear();
        ASSERT_EQ(SerialMessageCodec::EncodeReceived(msg, 0x10203040, payload), N2K_OK) << msg.pgn;
        sent += frameHex(SerialMessageCodec::kReceivedCommand, payload);
        parsed.push_back("MSG " + std::to_string(msg.priority) + " " + std::to_string(msg.pgn) +
                         " " + std::to_string(msg.addressA) + " " +
                         std::to_string(msg.addressB) + " " + PayloadHex(msg));
    }
    TempDir dir;
    TempDir::Write(dir.File("messages.json"), json.str() + "]");
    TempDir::Write(dir.File("frames.hex"), sent);
    std::string out;
    ASSERT_TRUE(RunPeer(dir, {"compose", dir.File("messages.json")}, out, "compose_serial.js"));
    EXPECT_EQ(Lines(out), composed);
    ASSERT_TRUE(RunPeer(dir, {"parse", dir.File("frames.hex")}, out, "compose_serial.js"));
    EXPECT_EQ(Lines(out), parsed);
}

}  // namespace

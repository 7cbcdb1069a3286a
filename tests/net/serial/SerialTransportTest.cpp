// The serial gateway transport against a simulated gateway on a
// pseudo-terminal: every message both ways at full rate, in order and whole;
// what it refuses; a full device; garbage from the device; a file that is no
// terminal; its recording; and the gateway object on a serial port name.
// What every transport owes is checked by the link contract.
#include "net/transport/N2KRecord.h"
#include "net/can/CanId.h"
#include "net/can/FastPacketPgns.h"
#include "net/can/N2KCanCodec.h"
#include "net/formats/CandumpLineFormat.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialTransport.h"
#include "tests/net/GatewayRig.h"
#include "tests/net/serial/SerialGatewayRig.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using ferrow::net::CandumpLineFormat;
using ferrow::net::CanFrame;
using ferrow::net::FrameLog;
using ferrow::net::N2KCanCodec;
using ferrow::net::SerialMessageCodec;
using ferrow::net::SerialTransport;
using namespace ferrow::test;
using namespace std::chrono_literals;

constexpr uint32_t kBaud = 115200;

// Sample `seq`: its length cycles through the edge cases (244 bytes the
// most a received message carries), one in three is
// all DLE bytes, and its PGNs include one whose bytes hold a DLE (126992,
// 0x1F010) and addressed ones to destination 0x10.
N2KMsg Sample(uint32_t seq) {
    static const uint16_t kLengths[] = {0, 8, 223, 244, 1, 9, 16, 100, 4};
    static const uint32_t kPgns[] = {127250, 126992, 129029, 59904, 130816, 126208, 65280};
    N2KMsg msg{};
    msg.pgn = kPgns[seq % 7];
    msg.priority = static_cast<uint8_t>(seq % 8);
    msg.addressA = 0x23;
    msg.addressB = ferrow::net::CanId::IsPdu1(msg.pgn) ? 0x10 : 255;
    msg.length = kLengths[seq % 9];
    for (uint16_t i = 0; i < msg.length; ++i) {
        msg.data[i] = seq % 3 == 0 ? 0x10 : static_cast<uint8_t>(seq * 31 + i);
    }
    if (msg.length >= 4 && seq % 3 != 0) std::memcpy(msg.data, &seq, sizeof seq);
    return msg;
}

// `got` carries `want` as a gateway delivers it: from `source`, the
// transport the bus would use.
void ExpectCarries(const N2KMsg& got, const N2KMsg& want, uint8_t source) {
    EXPECT_EQ(got.pgn, want.pgn);
    EXPECT_EQ(got.priority, want.priority);
    EXPECT_EQ(got.addressA, source);
    EXPECT_EQ(got.addressB, want.addressB);
    EXPECT_EQ(got.transport, ferrow::net::FastPacketPgns::TransportFor(want.pgn, want.length));
    ASSERT_EQ(got.length, want.length);
    EXPECT_EQ(std::memcmp(got.data, want.data, want.length), 0);
}

// What the gateway heard, read back as messages.
std::vector<N2KMsg> HeardMessages(SimulatedGateway& gateway) {
    std::vector<N2KMsg> messages;
    for (const auto& payload : gateway.Heard()) {
        N2KMsg msg{};
        EXPECT_TRUE(SerialMessageCodec::DecodeSend(payload.data(), payload.size(), msg));
        messages.push_back(msg);
    }
    return messages;
}

struct Rig {
    Pty pty;
    SimulatedGateway gateway;
    SerialTransport transport;
    explicit Rig(SimulatedGateway::Options options = {},
                 std::unique_ptr<FrameLog> log = nullptr)
        : gateway(pty, options), transport(pty.Path(), kBaud, std::move(log)) {}
};

std::optional<N2KMsg> Next(SerialTransport& transport) {
    N2KMsg msg{};
    if (!Eventually([&] { return transport.Fetch(msg) == N2K_OK; })) return std::nullopt;
    return msg;
}

TEST(SerialTransport, CarriesEveryMessageBothWaysInOrderAtFullRate) {
    Rig rig;
    ASSERT_TRUE(rig.pty.Ok());
    ASSERT_EQ(rig.transport.Open(), 0);
    EXPECT_TRUE(rig.transport.IsUp());
    const uint32_t total = 20000;
    uint32_t sent = 0;
    uint32_t received = 0;
    const uint32_t start = ferrow::net::N2KRecord::TimeStampNow();
    const auto deadline = std::chrono::steady_clock::now() + 120s;
    while ((sent < total || received < total) && std::chrono::steady_clock::now() < deadline) {
        bool moved = false;
        if (sent < total) {
            const N2KStatus status = rig.transport.Send(Sample(sent));
            ASSERT_TRUE(status == N2K_OK || status == N2K_TX_BUSY) << status;
            if (status == N2K_OK) ++sent, moved = true;
        }
        N2KMsg msg{};
        while (rig.transport.Fetch(msg) == N2K_OK) {
            SCOPED_TRACE(received);
            ExpectCarries(msg, Sample(received), SimulatedGateway::kEchoSource);
            ASSERT_GE(msg.timeStamp, start) << "stamped on arrival, on the process clock";
            ASSERT_LE(msg.timeStamp, ferrow::net::N2KRecord::TimeStampNow());
            ++received;
            moved = true;
        }
        if (!moved) std::this_thread::yield();
    }
    // Each echo is what the device heard, so it was heard whole and in order.
    ASSERT_EQ(sent, total);
    ASSERT_EQ(received, total);
    const SerialTransport::Counters counters = rig.transport.GetCounters();
    EXPECT_EQ(counters.dropped, 0u);
    EXPECT_EQ(counters.unsent, 0u);
    EXPECT_EQ(counters.badFrames, 0u);
    EXPECT_EQ(counters.discardedBytes, 0u);
}

TEST(SerialTransport, RefusesWhatTheGatewayCannotCarryWithoutWritingIt) {
    Rig rig;
    ASSERT_EQ(rig.transport.Open(), 0);
    N2KMsg tooLong = Sample(1);
    tooLong.length = SerialMessageCodec::kMaxSendData + 1;
    N2KMsg badPriority = Sample(1);
    badPriority.priority = 8;
    N2KMsg badPgn = Sample(1);
    badPgn.pgn = 59905;
    EXPECT_EQ(rig.transport.Send(tooLong), N2K_TOO_LONG);
    tooLong.length = 256;
    EXPECT_EQ(rig.transport.Send(tooLong), N2K_TOO_LONG);
    EXPECT_EQ(rig.transport.Send(badPriority), N2K_BAD_MESSAGE);
    EXPECT_EQ(rig.transport.Send(badPgn), N2K_BAD_MESSAGE);
    N2KMsg longest = Sample(3);
    longest.length = SerialMessageCodec::kMaxSendData;
    ASSERT_EQ(rig.transport.Send(longest), N2K_OK);
    ASSERT_TRUE(Eventually([&] { return rig.gateway.HeardCount() == 1; }));
    ExpectCarries(HeardMessages(rig.gateway).at(0), longest, 0);
}

TEST(SerialTransport, SaysBusyWhileTheDeviceTakesNothingAndLosesNoneItTook) {
    SimulatedGateway::Options options;
    options.echo = false;
    options.reads = false;
    Rig rig(options);
    ASSERT_EQ(rig.transport.Open(), 0);
    uint32_t accepted = 0;
    const bool filled = Eventually([&] {
        const N2KStatus status = rig.transport.Send(Sample(3 + 9 * accepted));
        if (status == N2K_OK) ++accepted;
        return status == N2K_TX_BUSY;
    }, 30s);
    ASSERT_TRUE(filled);

    rig.gateway.SetReading(true);
    ASSERT_TRUE(Eventually([&] { return rig.gateway.HeardCount() == accepted; }));
    const std::vector<N2KMsg> heard = HeardMessages(rig.gateway);
    for (uint32_t i = 0; i < accepted; ++i) ExpectCarries(heard[i], Sample(3 + 9 * i), 0);
    EXPECT_EQ(rig.transport.Send(Sample(3)), N2K_OK) << "room again once the device reads";
    EXPECT_EQ(rig.transport.GetCounters().unsent, 0u);
}

TEST(SerialTransport, SkipsGarbageAndMalformedMessagesFromTheDeviceAndCountsThem) {
    Rig rig;
    ASSERT_EQ(rig.transport.Open(), 0);
    const std::vector<uint8_t> garbage = {0x01, 0x10, 0x41, 0xFF};
    // A good frame whose message says 9 data bytes and has 8.
    std::vector<uint8_t> payload;
    ASSERT_EQ(SerialMessageCodec::EncodeReceived(Sample(1), 0, payload), N2K_OK);
    payload[10] = 9;
    std::vector<uint8_t> malformed;
    ferrow::net::DleFrameEncoder::Append(SerialMessageCodec::kReceivedCommand, payload.data(),
                                              payload.size(), malformed);
    std::vector<uint8_t> status;
    ferrow::net::DleFrameEncoder::Append(0xA0, payload.data(), 4, status);

    rig.gateway.InjectBytes(garbage);
    rig.gateway.Inject(Sample(1));
    rig.gateway.InjectBytes(malformed);
    rig.gateway.InjectBytes(status);
    rig.gateway.Inject(Sample(2));
    const auto first = Next(rig.transport);
    const auto second = Next(rig.transport);
    ASSERT_TRUE(first && second);
    ExpectCarries(*first, Sample(1), 0x23);
    ExpectCarries(*second, Sample(2), 0x23);
    const SerialTransport::Counters counters = rig.transport.GetCounters();
    EXPECT_EQ(counters.badFrames, 1u) << "the malformed message; the status is no message";
    EXPECT_EQ(counters.discardedBytes, garbage.size());
    EXPECT_EQ(counters.dropped, 0u);
}

TEST(SerialTransport, OpenRefusesAFileThatIsNoTerminal) {
    CapturedMessages messages;
    TempDir dir;
    const std::string plain = dir.File("not-a-terminal");
    TempDir::Write(plain, "x");
    SerialTransport file(plain, kBaud);
    EXPECT_LT(file.Open(), 0);
    EXPECT_EQ(messages.Shown(), (std::vector<std::wstring>{
                                    L"Gateway|Cannot use " + std::wstring(plain.begin(), plain.end()) +
                                    L" as a serial port: Inappropriate ioctl for device."}));
}

// The frames a recording holds, reassembled as a replay does.
std::vector<N2KMsg> Replayed(const std::string& file) {
    const CandumpLineFormat format;
    N2KCanCodec codec;
    std::vector<N2KMsg> messages;
    std::vector<CanFrame> replies;
    std::istringstream lines(TempDir::Read(file));
    std::string line;
    while (std::getline(lines, line)) {
        const auto parsed = format.Parse(line);
        EXPECT_TRUE(parsed) << line;
        N2KMsg msg{};
        if (parsed && codec.Receive(parsed->frame, 0ms, msg, replies)) messages.push_back(msg);
    }
    return messages;
}

TEST(SerialTransport, RecordsEachMessageAsTheCanFramesThatCarryIt) {
    TempDir dir;
    const std::string file = dir.File("gateway.log");
    Rig rig({}, std::make_unique<FrameLog>(file));
    ASSERT_EQ(rig.transport.Open(), 0);
    // A fast packet, and an addressed message that takes ISO transport.
    N2KMsg fast = Sample(2 * 7 + 2);
    N2KMsg addressed = Sample(3 * 7 + 3);
    ASSERT_EQ(fast.pgn, 129029u);
    ASSERT_EQ(addressed.pgn, 59904u);
    addressed.length = 20;
    for (const N2KMsg& msg : {fast, addressed}) {
        ASSERT_EQ(rig.transport.Send(msg), N2K_OK);
        ASSERT_TRUE(Next(rig.transport));
    }
    rig.transport.Close();

    std::vector<N2KMsg> sent, received;
    for (const N2KMsg& msg : Replayed(file)) {
        (msg.addressA == SimulatedGateway::kEchoSource ? received : sent).push_back(msg);
    }
    ASSERT_EQ(sent.size(), 2u);
    ASSERT_EQ(received.size(), 2u);
    addressed.addressB = 255;  // recorded as a broadcast: nothing answers a recording
    ExpectCarries(sent[0], fast, 0x23);
    ExpectCarries(sent[1], addressed, 0x23);
    ExpectCarries(received[0], fast, SimulatedGateway::kEchoSource);
    ExpectCarries(received[1], addressed, SimulatedGateway::kEchoSource);
}

TEST(SerialTransport, TheGatewayObjectReachesASerialPortByItsName) {
    Pty pty;
    SimulatedGateway simulated(pty);
    GatewayRig rig;
    auto gateway = rig.Make(pty.Path());
    ASSERT_EQ(gateway->Connect(), 0);
    EXPECT_EQ(gateway->IsConnected(), 1);
    N2KMsg msg = ferrow::test::Numbered(0x23, 77, 223);
    ASSERT_EQ(gateway->PutMsg(&msg), N2K_OK);
    N2KMsg echo{};
    ASSERT_TRUE(Eventually([&] { return gateway->GetMsg(&echo) == N2K_OK; }));
    EXPECT_EQ(ferrow::test::SeqOf(echo), 77u);
    EXPECT_EQ(echo.length, 223);
    EXPECT_EQ(echo.transport, 2);
    N2KMsg tooLong = ferrow::test::Numbered(0x23, 78, 256);
    EXPECT_EQ(gateway->PutMsg(&tooLong), N2K_TOO_LONG);
    EXPECT_EQ(gateway->DisConnect(), 0);
    EXPECT_EQ(simulated.HeardCount(), 1u);
}

}  // namespace

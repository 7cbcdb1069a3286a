// The serial gateway transport against a simulated gateway on a
// pseudo-terminal: every message both ways at full rate, in order and whole,
// and the CAN frames that carry them counted; the device set up at every
// open and each PGN enabled before its first message; what it refuses; a
// full device; garbage from the device; a file that is no terminal; its
// recording; and the gateway object on a serial port name. What every
// transport owes is checked by the link contract.
#include "net/transport/N2KRecord.h"
#include "net/can/CanId.h"
#include "net/can/FastPacketPgns.h"
#include "net/can/Framing.h"
#include "net/can/N2KCanCodec.h"
#include "net/formats/CandumpLineFormat.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialTransport.h"
#include "tests/net/GatewayRig.h"
#include "tests/net/serial/SerialGatewayRig.h"
#include "platform/Text.h"
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
using Frame = SimulatedGateway::Frame;

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

SimulatedGateway::Options Strict() {
    SimulatedGateway::Options options;
    options.strict = true;
    return options;
}

struct Rig {
    Pty pty;
    SimulatedGateway gateway;
    SerialTransport transport;
    explicit Rig(SimulatedGateway::Options options = Strict(),
                 std::unique_ptr<FrameLog> log = nullptr)
        : gateway(pty, options), transport(pty.Path(), kSerialBaud, std::move(log)) {}
};

std::optional<N2KMsg> Next(SerialTransport& transport) {
    N2KMsg msg{};
    if (!Eventually([&] { return transport.Fetch(msg) == N2K_OK; })) return std::nullopt;
    return msg;
}

FerrowGatewayStats StatsOf(const SerialTransport& transport) {
    FerrowGatewayStats stats{};
    transport.AddStats(stats);
    return stats;
}

// The frames and bits of `msg` on the bus, as the CAN codec frames it.
void AddOnBus(const N2KMsg& msg, uint64_t& frames, uint64_t& bits) {
    N2KMsg framed = msg;
    framed.transport = ferrow::net::FastPacketPgns::TransportFor(msg.pgn, msg.length);
    if (framed.transport == 3) framed.addressB = 255;
    N2KCanCodec codec;
    std::vector<CanFrame> out;
    ASSERT_EQ(codec.Send(framed, 0ms, out), N2K_OK);
    frames += out.size();
    for (const CanFrame& frame : out) bits += ferrow::net::Framing::BitsOf(frame);
}

TEST(SerialTransport, CarriesEveryMessageBothWaysInOrderAtFullRateAndCountsTheirFrames) {
    Rig rig;
    ASSERT_TRUE(rig.pty.Ok());
    ASSERT_EQ(rig.transport.Open(), 0);
    EXPECT_TRUE(rig.transport.IsUp());
    const uint32_t total = 20000;
    uint32_t sent = 0;
    uint32_t received = 0;
    uint64_t frames = 0;
    uint64_t bits = 0;
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
            AddOnBus(msg, frames, bits);
            ++received;
            moved = true;
        }
        if (!moved) std::this_thread::yield();
    }
    // Each echo is what the device heard, so it was heard whole and in order.
    ASSERT_EQ(sent, total);
    ASSERT_EQ(received, total);
    const FerrowGatewayStats stats = StatsOf(rig.transport);
    EXPECT_EQ(stats.framesIn, frames);
    EXPECT_EQ(stats.framesOut, frames) << "the echoes are the messages sent";
    EXPECT_EQ(stats.busBits, 2 * bits);
    EXPECT_EQ(stats.dropped + stats.lostSends + stats.badInput + stats.peerLosses, 0u);
    EXPECT_EQ(rig.transport.GetCounters().discardedBytes, 0u);
}

// The payload of the command that enables `pgn`, as the device reads it.
Frame Enable(uint32_t pgn) {
    return {0xA1, {0x47, uint8_t(pgn), uint8_t(pgn >> 8), uint8_t(pgn >> 16), 0x00, 0x01, 0xFE,
                   0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF}};
}
const Frame kStartup{0xA1, {0x11, 0x02, 0x00}};
const Frame kCommit{0xA1, {0x01}};
const Frame kActivate{0xA1, {0x4B}};

Frame Sent(const N2KMsg& msg) {
    Frame frame{SerialMessageCodec::kSendCommand, {}};
    SerialMessageCodec::EncodeSend(msg, frame.payload);
    return frame;
}

// What the device got from `from` on, once it has heard `heard` messages.
std::vector<Frame> GotFrom(SimulatedGateway& gateway, std::size_t from, std::size_t heard) {
    EXPECT_TRUE(Eventually([&] { return gateway.HeardCount() == heard; }));
    const std::vector<Frame> got = gateway.Got();
    return std::vector<Frame>(got.begin() + static_cast<std::ptrdiff_t>(std::min(from, got.size())),
                              got.end());
}

TEST(SerialTransport, SetsTheDeviceUpAtEveryOpenAndEnablesEachPgnBeforeItsFirstMessage) {
    CapturedMessages told;
    PluggableGateway device;
    SerialTransport transport(device.link, kSerialBaud);
    ASSERT_EQ(transport.Open(), 0);
    const N2KMsg a = Sample(0);
    const N2KMsg b = Sample(2);
    ASSERT_LT(a.pgn, b.pgn);
    for (const N2KMsg& msg : {b, a, b}) ASSERT_EQ(transport.Send(msg), N2K_OK);
    EXPECT_EQ(GotFrom(*device.gateway, 0, 3),
              (std::vector<Frame>{kStartup, Enable(b.pgn), kCommit, kActivate, Sent(b),
                                  Enable(a.pgn), kCommit, kActivate, Sent(a), Sent(b)}));

    // A new device knows nothing: the known PGNs are enabled before the rest.
    device.Unplug();
    ASSERT_TRUE(Eventually([&] { return !transport.IsUp(); }));
    device.PlugIn();
    ASSERT_TRUE(Eventually([&] { return transport.IsUp(); }));
    ASSERT_EQ(transport.Send(a), N2K_OK);
    const std::vector<Frame> setup = {kStartup, Enable(a.pgn), Enable(b.pgn), kCommit, kActivate};
    std::vector<Frame> want = setup;
    want.push_back(Sent(a));
    EXPECT_EQ(GotFrom(*device.gateway, 0, 1), want);

    transport.Close();
    ASSERT_EQ(transport.Open(), 0);
    ASSERT_EQ(transport.Send(b), N2K_OK);
    want = setup;
    want.push_back(Sent(b));
    EXPECT_EQ(GotFrom(*device.gateway, 6, 2), want);

    const FerrowGatewayStats stats = StatsOf(transport);
    EXPECT_EQ(stats.peerLosses, 1u);
    EXPECT_EQ(stats.lostSends, 0u);
    EXPECT_EQ(told.Shown().size(), 1u) << "the loss";
}

// A file that is no terminal; messages past its list of PGNs too, telling
// the operator once.
TEST(SerialTransport, RefusesWhatTheGatewayCannotCarryWithoutWritingIt) {
    CapturedMessages told;
    TempDir dir;
    const std::string plain = dir.File("not-a-terminal");
    TempDir::Write(plain, "x");
    EXPECT_LT(SerialTransport(plain, kSerialBaud).Open(), 0);

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
    ExpectCarries(rig.gateway.HeardMessages().at(0), longest, 0);

    N2KMsg msg = Sample(1);
    const uint32_t first = 0x1F000;
    const auto send = [&](uint32_t pgn) {
        msg.pgn = pgn;
        N2KStatus status = N2K_TX_BUSY;
        Eventually([&] { return (status = rig.transport.Send(msg)) != N2K_TX_BUSY; });
        return status;
    };
    for (uint32_t pgn = first; pgn < first + SerialTransport::kMaxPgns - 1; ++pgn) {
        ASSERT_EQ(send(pgn), N2K_OK) << pgn;
    }
    const uint32_t past = first + SerialTransport::kMaxPgns - 1;
    EXPECT_EQ(send(past), N2K_BAD_MESSAGE);
    EXPECT_EQ(send(past + 1), N2K_BAD_MESSAGE);
    EXPECT_EQ(send(first), N2K_OK);
    EXPECT_TRUE(Eventually([&] { return rig.gateway.HeardCount() == SerialTransport::kMaxPgns + 1; }));
    EXPECT_EQ(told.Shown(),
              (std::vector<std::wstring>{
                  L"Gateway|Cannot use " + ferrow::platform::Text::Widen(plain) +
                      L" as a serial port: Inappropriate ioctl for device.",
                  L"Gateway|The serial gateway transmits at most 256 PGNs: PGN " + std::to_wstring(past) +
                      L" and every further new PGN are refused."}));
}

// A new PGN whose enable does not fit with it is not begun.
TEST(SerialTransport, SaysBusyWhileTheDeviceTakesNothingAndLosesNoneItTook) {
    SimulatedGateway::Options options = Strict();
    options.echo = false;
    options.reads = false;
    Rig rig(options);
    ASSERT_EQ(rig.transport.Open(), 0);
    // Full of messages of 244 bytes, then of 1 byte; one PGN.
    std::vector<N2KMsg> accepted;
    for (uint32_t seq : {3u, 31u}) {
        ASSERT_TRUE(Eventually([&] {
            const N2KMsg msg = Sample(seq + 63 * static_cast<uint32_t>(accepted.size()));
            const N2KStatus status = rig.transport.Send(msg);
            if (status == N2K_OK) accepted.push_back(msg);
            return status == N2K_TX_BUSY;
        }, 30s));
    }
    N2KMsg fresh = Sample(0);
    fresh.pgn = 0x1F000;
    EXPECT_EQ(rig.transport.Send(fresh), N2K_TX_BUSY);

    rig.gateway.SetReading(true);
    ASSERT_TRUE(Eventually([&] { return rig.gateway.HeardCount() == accepted.size(); }));
    const std::vector<N2KMsg> heard = rig.gateway.HeardMessages();
    for (std::size_t i = 0; i < accepted.size(); ++i) ExpectCarries(heard[i], accepted[i], 0);
    for (const Frame& frame : rig.gateway.Got()) ASSERT_FALSE(frame == Enable(fresh.pgn));
    EXPECT_EQ(rig.transport.Send(fresh), N2K_OK) << "room again once the device reads";
    EXPECT_TRUE(Eventually([&] { return rig.gateway.HeardCount() == accepted.size() + 1; }));
    EXPECT_EQ(rig.transport.GetCounters().unsent, 0u);
}

TEST(SerialTransport, SkipsWhatTheDeviceSendsThatHoldsNoMessageAndTellsOnceOfPgnsItRefuses) {
    CapturedMessages told;
    SimulatedGateway::Options options = Strict();
    options.refusesPgns = true;
    Rig rig(options);
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

    // One frame of 1 byte, and three of ISO transport for 9.
    ASSERT_EQ(rig.transport.Send(Sample(13)), N2K_OK);
    ASSERT_EQ(rig.transport.Send(Sample(14)), N2K_OK);
    EXPECT_TRUE(Eventually([&] { return rig.transport.GetCounters().refusedPgns == 2; }));
    EXPECT_EQ(told.Shown(), std::vector<std::wstring>{
                                L"Gateway|The serial gateway at " + ferrow::platform::Text::Widen(rig.pty.Path()) +
                                L" refused to transmit a PGN: messages of that PGN do not reach the bus."});
    EXPECT_TRUE(Eventually([&] { return StatsOf(rig.transport).framesOut == 4; }));
    const FerrowGatewayStats stats = StatsOf(rig.transport);
    EXPECT_EQ(stats.framesIn, 1u + 32) << "one frame, and a fast packet of 223 bytes";
    EXPECT_EQ(stats.busBits, (1 + 32 + 3) * 131u + 75);
    EXPECT_EQ(stats.badInput, 1u) << "the malformed message; the status is no message";
    EXPECT_EQ(stats.dropped, 0u);
    EXPECT_EQ(rig.transport.GetCounters().discardedBytes, garbage.size());
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
    Rig rig(Strict(), std::make_unique<FrameLog>(file));
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
    addressed.priority = 7;    // as ISO transport frames go
    ExpectCarries(sent[0], fast, 0x23);
    ExpectCarries(sent[1], addressed, 0x23);
    ExpectCarries(received[0], fast, SimulatedGateway::kEchoSource);
    ExpectCarries(received[1], addressed, SimulatedGateway::kEchoSource);

    // One that cannot be made is counted, and traffic goes on.
    CapturedMessages told;
    SerialTransport unrecorded(rig.pty.Path(), kSerialBaud,
                               std::make_unique<FrameLog>(dir.File("none/gateway.log")));
    ASSERT_EQ(unrecorded.Open(), 0);
    EXPECT_EQ(StatsOf(unrecorded).recordingFailures, 1u);
    EXPECT_EQ(told.Shown().size(), 1u);
}

TEST(SerialTransport, TheGatewayObjectReachesASerialPortByItsName) {
    Pty pty;
    SimulatedGateway simulated(pty, Strict());
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
    EXPECT_EQ(gateway->DisConnect(), 0);
    EXPECT_EQ(simulated.HeardCount(), 1u);
}

}  // namespace

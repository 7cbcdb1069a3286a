// The gateway's frame transport over an in-memory wire, and the port names
// that choose a transport. What every transport owes is checked by the link
// contract.
#include "net/links/FrameTransport.h"
#include "net/PortSpec.h"
#include "tests/net/links/WireLink.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

using ferrow::net::FrameTransport;
using ferrow::net::PortSpec;
using ferrow::test::Wire;
using ferrow::test::WireEnd;

namespace {

N2KMsg Message(uint32_t pgn, uint8_t transport, uint16_t length, uint8_t source, uint8_t dest) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 3;
    msg.transport = transport;
    msg.length = length;
    msg.addressA = source;
    msg.addressB = dest;
    for (uint16_t i = 0; i < length; ++i) msg.data[i] = uint8_t(i * 7 + 1);
    return msg;
}

struct Pair {
    Pair()
        : a(std::make_unique<WireEnd>(wire, true), [this] { return now; }),
          b(std::make_unique<WireEnd>(wire, false), [this] { return now; }) {}
    // Lets both sides work until `b` has a message or nothing moves any more.
    bool Deliver(N2KMsg& out) {
        for (int round = 0; round < 1000; ++round) {
            if (b.Fetch(out) == N2K_OK) return true;
            N2KMsg ignored{};
            a.Fetch(ignored);
            if (wire.toA.empty() && wire.toB.empty()) return b.Fetch(out) == N2K_OK;
        }
        return false;
    }
    Wire wire;
    std::chrono::milliseconds now{1000};
    FrameTransport a, b;
};

}  // namespace

TEST(FrameTransport, MessagesCrossTheWireByEveryTransportButNoneTooLongForIt) {
    struct Case {
        uint32_t pgn;
        uint8_t transport;
        uint16_t length;
        uint8_t dest;
        size_t frames;  // on the wire, answers included
    };
    const Case cases[] = {
        {127250, 1, 8, 255, 1},      // single frame
        {129029, 2, 223, 255, 32},   // fast packet: 6 + 31 x 7 bytes
        {130820, 3, 1785, 255, 256}, // BAM and 255 data packets
        {126208, 3, 1785, 0x42, 0},  // RTS/CTS to our peer: counted below
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pgn);
        Pair pair;
        // The peer makes itself known by sending first.
        N2KMsg hello = Message(59904, 1, 3, 0x42, 255);
        ASSERT_EQ(pair.b.Send(hello), N2K_OK);
        N2KMsg heard{};
        ASSERT_EQ(pair.a.Fetch(heard), N2K_OK);
        pair.wire.frames = 0;

        const N2KMsg sent = Message(c.pgn, c.transport, c.length, 0x23, c.dest);
        ASSERT_EQ(pair.a.Send(sent), N2K_OK);
        N2KMsg got{};
        ASSERT_TRUE(pair.Deliver(got));
        EXPECT_EQ(got.pgn, c.pgn);
        EXPECT_EQ(got.transport, c.transport);
        EXPECT_EQ(got.length, c.length);
        EXPECT_EQ(got.addressA, 0x23);
        EXPECT_EQ(got.addressB, c.dest);
        EXPECT_EQ(got.priority, 3);
        EXPECT_TRUE(std::equal(sent.data, sent.data + c.length, got.data));
        if (c.frames != 0) {
            EXPECT_EQ(pair.wire.frames, c.frames);
        }
    }
    Pair pair;
    EXPECT_EQ(pair.a.Send(Message(129029, 2, 224, 0x23, 255)), N2K_BAD_MESSAGE);
}

TEST(PortSpec, NamesChooseTheirTransport) {
    using K = PortSpec::Kind;
    const PortSpec fellBack{K::VirtualBus, "vbus", 0, 0, false, false, true};
    const struct {
        const char* name;
        PortSpec want;
    } cases[] = {
        {"vbus", {K::VirtualBus, "vbus"}},
        {"vbus:boat", {K::VirtualBus, "boat"}},
        {"", {K::VirtualBus, "vbus"}},
        {"tcp:192.168.1.5:1457", {K::TcpClient, "192.168.1.5", 1457}},
        {"tcp:gw.local:1457:candump", {K::TcpClient, "gw.local", 1457, 0, true}},
        {"tcp-listen:2000", {K::TcpListen, "", 2000}},
        {"tcp-listen:2000:candump", {K::TcpListen, "", 2000, 0, true}},
        {"udp:127.0.0.1:65535", {K::Udp, "127.0.0.1", 65535}},
        {"file:/logs/a:b.log:fast", {K::LogFile, "/logs/a:b.log", 0, 0, false, true}},
        {"file:trip.log", {K::LogFile, "trip.log"}},
        {"/dev/ttyUSB0", {K::Serial, "/dev/ttyUSB0", 0, 115200}},
        {"/dev/ttyACM1:9600", {K::Serial, "/dev/ttyACM1", 0, 9600}},
        {"/dev/ttyUSB0:921600", {K::Serial, "/dev/ttyUSB0", 0, 921600}},
        {"/dev/serial/by-path/pci-0000:00:14.0-usb-0:2:1.0-port0",
         {K::Serial, "/dev/serial/by-path/pci-0000:00:14.0-usb-0:2:1.0-port0", 0, 115200}},
        {"/dev/pts/3:4000000", {K::Serial, "/dev/pts/3", 0, 4000000}},
        {"auto", {K::SerialAuto, "", 0, 115200}},
        {"can:can0", {K::SocketCan, "can0"}},
        {"can:my-bus", {K::SocketCan, "my-bus"}},
        {"can1", {K::SocketCan, "can1"}},
        {"vcan0", {K::SocketCan, "vcan0"}},
        {"slcan12", {K::SocketCan, "slcan12"}},
        {"COM5", fellBack},
        {"canx", fellBack},
        {"vcan", fellBack},
        {"Auto", fellBack},
    };
    for (const auto& c : cases) {
        const std::optional<PortSpec> got = PortSpec::Parse(c.name);
        ASSERT_TRUE(got.has_value()) << c.name;
        EXPECT_EQ(std::tie(got->kind, got->name, got->port, got->baud, got->candump, got->fast,
                           got->fellBack),
                  std::tie(c.want.kind, c.want.name, c.want.port, c.want.baud, c.want.candump,
                           c.want.fast, c.want.fellBack))
            << c.name;
    }
    for (const char* malformed :
         {"tcp:host:0", "tcp:host:65536", "tcp::1457", "tcp:host", "udp:host:12x", "tcp-listen:",
          "file:", "vbus:", "/dev/", "/dev/:9600", "/dev/ttyUSB0:", "/dev/ttyUSB0:12345",
          "/dev/ttyUSB0:115201", "/dev/ttyUSB0:99999999999", "can:", "can:a-name-of-16-chars"}) {
        EXPECT_FALSE(PortSpec::Parse(malformed).has_value()) << malformed;
    }
}

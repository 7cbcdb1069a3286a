// The gateway's frame transport over an in-memory wire, and the port names
// that choose a transport.
#include "net/links/FrameTransport.h"
#include "net/PortSpec.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <mutex>

using ferrow::net::CanFrame;
using ferrow::net::FrameLink;
using ferrow::net::FrameTransport;
using ferrow::net::PortSpec;

namespace {

// Two ends of one wire: what one end sends, the other receives.
struct Wire {
    std::deque<CanFrame> toA, toB;
    bool up = true;
    size_t frames = 0;
};

class WireEnd : public FrameLink {
public:
    WireEnd(Wire& wire, bool isA) : wire_(wire), isA_(isA) {}
    int Open(std::string&) override { return 0; }
    void Close() override {}
    bool Send(const CanFrame& frame) override {
        if (!wire_.up) return false;
        ++wire_.frames;
        (isA_ ? wire_.toB : wire_.toA).push_back(frame);
        return true;
    }
    bool Receive(CanFrame& frame) override {
        auto& in = isA_ ? wire_.toA : wire_.toB;
        if (in.empty()) return false;
        frame = in.front();
        in.pop_front();
        return true;
    }
    bool IsUp() const override { return wire_.up; }

private:
    Wire& wire_;
    bool isA_;
};

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

TEST(FrameTransport, MessagesCrossTheWireByEveryTransport) {
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
}

TEST(FrameTransport, ADownLinkRefusesAndTooLongMessagesAreBad) {
    Pair pair;
    N2KMsg tooLong = Message(129029, 2, 224, 0x23, 255);
    EXPECT_EQ(pair.a.Send(tooLong), N2K_BAD_MESSAGE);
    pair.wire.up = false;
    EXPECT_FALSE(pair.a.IsUp());
    N2KMsg msg = Message(127250, 1, 8, 0x23, 255);
    EXPECT_EQ(pair.a.Send(msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(pair.b.Fetch(msg), N2K_NO_MESSAGE);
}

TEST(PortSpec, NamesChooseTheirTransport) {
    struct Case {
        const char* name;
        PortSpec::Kind kind;
        const char* target;
        uint16_t port;
        bool candump, fast, fellBack;
    };
    using K = PortSpec::Kind;
    const Case cases[] = {
        {"vbus", K::VirtualBus, "vbus", 0, false, false, false},
        {"vbus:boat", K::VirtualBus, "boat", 0, false, false, false},
        {"COM5", K::VirtualBus, "vbus", 0, false, false, true},
        {"", K::VirtualBus, "vbus", 0, false, false, false},
        {"tcp:192.168.1.5:1457", K::TcpClient, "192.168.1.5", 1457, false, false, false},
        {"tcp:gw.local:1457:candump", K::TcpClient, "gw.local", 1457, true, false, false},
        {"tcp-listen:2000", K::TcpListen, "", 2000, false, false, false},
        {"tcp-listen:2000:candump", K::TcpListen, "", 2000, true, false, false},
        {"udp:127.0.0.1:65535", K::Udp, "127.0.0.1", 65535, false, false, false},
        {"file:/logs/a:b.log:fast", K::LogFile, "/logs/a:b.log", 0, false, true, false},
        {"file:trip.log", K::LogFile, "trip.log", 0, false, false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<PortSpec> wanted = PortSpec::Parse(c.name);
        ASSERT_TRUE(wanted.has_value());
        EXPECT_EQ(wanted->kind, c.kind);
        EXPECT_EQ(wanted->name, c.target);
        EXPECT_EQ(wanted->port, c.port);
        EXPECT_EQ(wanted->candump, c.candump);
        EXPECT_EQ(wanted->fast, c.fast);
        EXPECT_EQ(wanted->fellBack, c.fellBack);
    }
    for (const char* malformed : {"tcp:host:0", "tcp:host:65536", "tcp::1457", "tcp:host",
                                  "udp:host:12x", "tcp-listen:", "file:", "vbus:"}) {
        EXPECT_FALSE(PortSpec::Parse(malformed).has_value()) << malformed;
    }
}

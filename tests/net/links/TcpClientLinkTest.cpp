// The link to a network gateway over TCP, against a gateway of plain
// sockets: the lines it writes and its echoes, how it watches a gateway
// that dies or hangs. A gateway that stops reading, and what every link
// owes, are checked by the link contract.
#include "net/formats/RawLineFormat.h"
#include "net/links/TcpClientLink.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netinet/in.h>
#include <netinet/tcp.h>
#endif

namespace {

using ferrow::net::CanFrame;
using ferrow::net::RawLineFormat;
using ferrow::net::Socket;
using ferrow::net::TcpClientLink;
using namespace ferrow::test;

const CanFrame kIsoRequest{0x18EAFF23, 3, {0x14, 0xF0, 0x01}};

// The gateway answers with its own form, in lines ended by CR alone, and
// marks our own request, echoed, with T.
TEST(TcpClientLink, WritesWhatAGatewayTakesAndLeavesItsOwnEchoesOut) {
    RawGateway gateway;
    TcpClientLink link(kLoopback, gateway.Port(),
                       std::make_unique<RawLineFormat>(RawLineFormat::Form::ToGateway));
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    ASSERT_TRUE(link.Send(kIsoRequest));
    std::string line;
    ASSERT_TRUE(Eventually([&] { return gateway.ReceiveLine(line); }));
    EXPECT_EQ(line, "18EAFF23 14 F0 01\r\n");

    ASSERT_TRUE(gateway.SendBytes("10:00:00.000 T 18EAFF23 14 F0 01\r"
                                  "10:00:00.002 R 18EAFF10 14 F0 01\r"));
    EXPECT_EQ(NextFrame(link), (CanFrame{0x18EAFF10, 3, {0x14, 0xF0, 0x01}}));
    CanFrame more;
    EXPECT_FALSE(link.Receive(more));
    EXPECT_EQ(link.GetCounters().echoes, 1u);
    EXPECT_EQ(link.GetCounters().badLines, 0u);
}

int Option(const Socket& socket, int level, int name) {
    // Zeroed, as Windows may write a flag as one byte.
    int value = 0;
    socklen_t size = sizeof value;
    getsockopt(socket.Fd(), level, name, reinterpret_cast<char*>(&value), &size);
    return value;
}

// Both ends of a gateway connection notice a dead peer within seconds.
TEST(TcpClientLink, ConnectionsProbeTheirPeerAndGiveUpWithinSeconds) {
    std::string error;
    const Socket listener = Socket::Listen({LoopbackAddress(), 0}, error);
    const Socket client = Socket::StartConnect({LoopbackAddress(), listener.LocalPort()}, error);
    ASSERT_TRUE(client) << error;
    int accepting = 0;
    Socket accepted;
    ASSERT_TRUE(
        Eventually([&] { return static_cast<bool>(accepted = listener.Accept(accepting)); }));
    for (const Socket* end : {&client, static_cast<const Socket*>(&accepted)}) {
        EXPECT_EQ(Option(*end, SOL_SOCKET, SO_KEEPALIVE), 1);
#ifdef _WIN32
        // Windows reads back what it was given, and its probe times are
        // set by an ioctl it does not read back.
        EXPECT_EQ(Option(*end, SOL_SOCKET, SO_SNDBUF), Socket::kSendBuffer);
#else
        EXPECT_EQ(Option(*end, IPPROTO_TCP, TCP_KEEPIDLE), 2);
        EXPECT_EQ(Option(*end, IPPROTO_TCP, TCP_KEEPINTVL), 1);
        EXPECT_EQ(Option(*end, IPPROTO_TCP, TCP_KEEPCNT), 3);
        EXPECT_EQ(Option(*end, IPPROTO_TCP, TCP_USER_TIMEOUT), 5000);
        // The kernel doubles what it is asked for.
        EXPECT_EQ(Option(*end, SOL_SOCKET, SO_SNDBUF), 2 * Socket::kSendBuffer);
#endif
    }
}

// Heard once, then silent for the idle timeout: the connection is dropped,
// counted, and made again.
TEST(TcpClientLink, AGatewayThatFallsSilentIsConnectedToAgain) {
    ManualClock clock;
    RawGateway gateway;
    TcpClientLink link(kLoopback, gateway.Port(), Hex(), clock.Clock());
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    ASSERT_TRUE(Eventually([&] { return gateway.ClientCount() == 1; }));
    ASSERT_TRUE(gateway.Send(FrameOf(0x100, 1)));
    ASSERT_EQ(NextFrame(link), FrameOf(0x100, 1));

    clock.Advance(TcpClientLink::kIdleTimeout);
    ASSERT_TRUE(Eventually([&] { return link.GetCounters().peerLosses == 1; }));
    ASSERT_TRUE(Eventually([&] { return gateway.ClientCount() == 1 && link.IsUp(); }));
    ASSERT_TRUE(link.Send(FrameOf(0x200, 2)));
    CanFrame heard;
    EXPECT_TRUE(Eventually([&] { return gateway.Receive(heard); }));
    EXPECT_EQ(heard, FrameOf(0x200, 2));
    FerrowGatewayStats stats{};
    link.AddStats(stats);
    EXPECT_EQ(stats.peerLosses, 1u);
}

}  // namespace

// The link to a network gateway over UDP, against plain sockets on loopback:
// its own datagrams heard back, the warning when it would hear nothing else,
// and datagrams of many lines. Crossed ports, a gateway falling silent, and
// what every link owes are checked by the link contract.
#include "net/links/UdpLink.h"
#include "tests/net/links/SocketLinkRig.h"
#include "tests/support/FreeLoopbackPort.h"

#include <gtest/gtest.h>

namespace {

using ferrow::net::UdpLink;
using namespace ferrow::test;

// Sent to this machine on the port it receives on, its own datagrams come
// back: they are left out, a peer's still arrive, and the operator is told
// what to write instead.
TEST(UdpLink, HearsPeersOnThePortItSendsToButNotItselfAndSaysSo) {
    const uint16_t port = FreeLoopbackPort(SOCK_DGRAM);
    UdpLink link(kLoopback, port, Hex());
    std::string error;
    ::testing::internal::CaptureStderr();
    ASSERT_EQ(link.Open(error), 0) << error;
    const std::string p = std::to_string(port);
    const std::string q = std::to_string(port + 1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Gateway: udp:127.0.0.1:" + p + " sends to this machine on the port it receives "
              "on, so two programs there hear each other one way at most: write udp:127.0.0.1:" +
                  p + ":" + q + " here and udp:127.0.0.1:" + q + ":" + p +
                  " in the other program, or use a broadcast address.\n");
    ASSERT_TRUE(link.Send(FrameOf(0x09F11223, 1)));
    ASSERT_TRUE(Eventually([&] { return link.GetCounters().echoes == 1; }));
    ASSERT_TRUE(RawSendTo(link.LocalPort(), "00000100#015C3D\n"));
    EXPECT_EQ(NextFrame(link), FrameOf(0x100, 1));
    EXPECT_EQ(link.GetCounters().echoes, 1u);
}

TEST(UdpLink, TakesEveryLineOfADatagramAndSkipsGarbage) {
    UdpLink link(kLoopback, 9, 0, Hex());
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    ASSERT_TRUE(RawSendTo(link.LocalPort(), "00000100#015C3D\rnonsense\n" +
                                                std::string(5000, 'F') + "\r\n00000200#025C3D"));
    EXPECT_EQ(NextFrame(link), FrameOf(0x100, 1));
    EXPECT_EQ(NextFrame(link), FrameOf(0x200, 2));
    FerrowGatewayStats stats{};
    link.AddStats(stats);
    EXPECT_EQ(stats.badInput, 2u);
}

}  // namespace

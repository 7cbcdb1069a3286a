// The link to a network gateway over UDP, between links and plain sockets
// on loopback.
#include "net/links/UdpLink.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

namespace {

using ferrow::net::UdpLink;
using namespace ferrow::test;

// A gateway reached by broadcast is sent to on the port we receive on, so our
// own datagrams come back: they are left out, and a peer's still arrive.
TEST(UdpLink, HearsPeersOnThePortItSendsToButNotItself) {
    UdpLink link(kLoopback, FreePort(SOCK_DGRAM), Hex());
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    EXPECT_TRUE(link.IsUp());
    ASSERT_TRUE(link.Send(FrameOf(0x09F11223, 1)));
    ASSERT_TRUE(Eventually([&] { return link.Echoes() == 1; }));

    const ferrow::net::Socket raw(::socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in to = LoopbackAddress(link.LocalPort());
    const std::string line = "00000100#015C3D\n";
    ASSERT_EQ(sendto(raw.Fd(), line.data(), line.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                     sizeof to),
              static_cast<ssize_t>(line.size()));
    EXPECT_EQ(NextFrame(link), FrameOf(0x100, 1));
    EXPECT_EQ(link.Echoes(), 1u);
}

TEST(UdpLink, CarriesFramesBothWaysBetweenTwoLinks) {
    const uint16_t bPort = FreePort(SOCK_DGRAM);
    UdpLink a(kLoopback, bPort, 0, Hex());
    std::string error;
    ASSERT_EQ(a.Open(error), 0) << error;
    UdpLink b(kLoopback, a.LocalPort(), bPort, Hex());
    ASSERT_EQ(b.Open(error), 0) << error;

    ASSERT_TRUE(a.Send(FrameOf(0x100, 1)));
    EXPECT_EQ(NextFrame(b), FrameOf(0x100, 1));
    ASSERT_TRUE(b.Send(FrameOf(0x200, 2)));
    EXPECT_EQ(NextFrame(a), FrameOf(0x200, 2));
}

TEST(UdpLink, TakesEveryLineOfADatagramAndSkipsGarbage) {
    UdpLink link(kLoopback, 9, 0, Hex());
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    const ferrow::net::Socket raw(::socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in to = LoopbackAddress(link.LocalPort());
    const std::string datagram = "00000100#015C3D\r\nnonsense\n" + std::string(5000, 'F') +
                                 "\n00000200#025C3D";
    ASSERT_EQ(sendto(raw.Fd(), datagram.data(), datagram.size(), 0,
                     reinterpret_cast<const sockaddr*>(&to), sizeof to),
              static_cast<ssize_t>(datagram.size()));
    EXPECT_EQ(NextFrame(link), FrameOf(0x100, 1));
    EXPECT_EQ(NextFrame(link), FrameOf(0x200, 2));
    EXPECT_EQ(link.GetCounters().badLines, 2u);
}

TEST(UdpLink, OpenFailsWithASentenceForAnUnknownHost) {
    UdpLink link("", 9, 0, Hex());
    std::string error;
    EXPECT_LT(link.Open(error), 0);
    EXPECT_EQ(error.rfind("No IPv4 address is known for host ''", 0), 0u) << error;
    EXPECT_FALSE(link.Send(FrameOf(0x100, 1)));
}

}  // namespace

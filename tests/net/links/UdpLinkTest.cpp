// The link to a network gateway over UDP, against plain sockets on loopback:
// its own datagrams heard back, the warning when it would hear nothing else,
// datagrams of many lines, and programs sharing a broadcast port. Crossed
// ports, a gateway falling silent, and what every link owes are checked by
// the link contract.
#include "net/links/UdpLink.h"
#include "tests/net/links/SocketLinkRig.h"
#include "tests/support/FreeLoopbackPort.h"

#include <gtest/gtest.h>

#include <ifaddrs.h>
#include <net/if.h>

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

// The broadcast address of an interface that is up, other than loopback.
std::string BroadcastAddress() {
    std::string found;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return found;
    for (const ifaddrs* entry = list; entry != nullptr && found.empty(); entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            (entry->ifa_flags & (IFF_UP | IFF_BROADCAST)) != (IFF_UP | IFF_BROADCAST) ||
            entry->ifa_broadaddr == nullptr) {
            continue;
        }
        char text[INET_ADDRSTRLEN] = "";
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(entry->ifa_broadaddr)->sin_addr,
                  text, sizeof text);
        found = text;
    }
    freeifaddrs(list);
    return found;
}

// Two programs on one port of a broadcast address: each hears the other,
// neither itself.
TEST(UdpLink, ProgramsShareABroadcastPort) {
    const std::string broadcast = BroadcastAddress();
    if (broadcast.empty())
        GTEST_SKIP() << "Needs an interface that is up and has a broadcast address";
    const uint16_t port = FreeLoopbackPort(SOCK_DGRAM);
    UdpLink a(broadcast, port, Hex());
    UdpLink b(broadcast, port, Hex());
    std::string error;
    ASSERT_EQ(a.Open(error), 0) << error;
    ASSERT_EQ(b.Open(error), 0) << error;
    ASSERT_TRUE(a.Send(FrameOf(0x100, 1)));
    EXPECT_EQ(NextFrame(b), FrameOf(0x100, 1));
    ASSERT_TRUE(b.Send(FrameOf(0x200, 2)));
    EXPECT_EQ(NextFrame(a), FrameOf(0x200, 2));
    ferrow::net::CanFrame own;
    EXPECT_FALSE(a.Receive(own) || b.Receive(own));
    EXPECT_TRUE(Eventually([&] { return a.GetCounters().echoes + b.GetCounters().echoes == 2; }));
}

}  // namespace

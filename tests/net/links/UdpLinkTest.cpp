// The link to a network gateway over UDP, against plain sockets on loopback:
// its own datagrams heard back, and datagrams of many lines. What every link
// owes is checked by the link contract.
#include "net/links/UdpLink.h"
#include "tests/net/links/SocketLinkRig.h"
#include "tests/support/FreeLoopbackPort.h"

#include <gtest/gtest.h>

namespace {

using ferrow::net::UdpLink;
using namespace ferrow::test;

// A gateway reached by broadcast is sent to on the port we receive on, so our
// own datagrams come back: they are left out, and a peer's still arrive.
TEST(UdpLink, HearsPeersOnThePortItSendsToButNotItself) {
    UdpLink link(kLoopback, FreeLoopbackPort(SOCK_DGRAM), Hex());
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    ASSERT_TRUE(link.Send(FrameOf(0x09F11223, 1)));
    ASSERT_TRUE(Eventually([&] { return link.Echoes() == 1; }));
    ASSERT_TRUE(RawSendTo(link.LocalPort(), "00000100#015C3D\n"));
    EXPECT_EQ(NextFrame(link), FrameOf(0x100, 1));
    EXPECT_EQ(link.Echoes(), 1u);
}

TEST(UdpLink, TakesEveryLineOfADatagramAndSkipsGarbage) {
    UdpLink link(kLoopback, 9, 0, Hex());
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    ASSERT_TRUE(RawSendTo(link.LocalPort(), "00000100#015C3D\r\nnonsense\n" +
                                                std::string(5000, 'F') + "\n00000200#025C3D"));
    EXPECT_EQ(NextFrame(link), FrameOf(0x100, 1));
    EXPECT_EQ(NextFrame(link), FrameOf(0x200, 2));
    EXPECT_EQ(link.GetCounters().badLines, 2u);
}

}  // namespace

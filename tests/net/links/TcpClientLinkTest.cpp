// The link to a network gateway over TCP: a gateway that stops reading never
// holds the firmware up. What every link owes is checked by the link
// contract.
#include "net/links/TcpClientLink.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using ferrow::net::TcpClientLink;
using namespace ferrow::test;

TEST(TcpClientLink, NeverHoldsTheFirmwareUpWhenTheGatewayStopsReading) {
    std::string error;
    // Never accepted, so never read; a small window fills soon.
    const auto gateway = ferrow::net::Socket::Listen(0, error);
    const int window = 4096;
    setsockopt(gateway.Fd(), SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    TcpClientLink client(kLoopback, gateway.LocalPort(), Hex());
    ASSERT_EQ(client.Open(error), 0) << error;
    const bool lost = Eventually(
        [&] {
            for (int i = 0; i < 1000; ++i) client.Send(FrameOf(0x09F11223, 1));
            return client.GetCounters().unsent > 0;
        },
        std::chrono::seconds(30));
    EXPECT_TRUE(lost);
    EXPECT_TRUE(client.IsUp());
}

}  // namespace

// The link to a network gateway over TCP, against gateways on loopback: it
// fails at once when none answers, rides out a gateway's restart, and never
// holds the firmware up or lets its queues grow without bound.
#include "net/links/TcpClientLink.h"
#include "net/links/TcpListenLink.h"
#include "tests/net/links/SocketLinkRig.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using ferrow::net::SocketLink;
using ferrow::net::TcpClientLink;
using ferrow::net::TcpListenLink;
using namespace ferrow::test;

TEST(TcpClientLink, OpenFailsAtOnceWithASentenceWhenNothingListens) {
    const uint16_t port = FreePort(SOCK_STREAM);
    TcpClientLink client(kLoopback, port, Hex());
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_LT(client.Open(error), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, TcpClientLink::kConnectTimeout);
    EXPECT_EQ(error, "Cannot connect to the gateway at 127.0.0.1:" + std::to_string(port) +
                         ": Connection refused.");
    EXPECT_FALSE(client.IsUp());
    EXPECT_FALSE(client.Send(FrameOf(0x100, 1)));
}

TEST(TcpClientLink, ComesBackUpWhenTheGatewayReturns) {
    auto gateway = std::make_unique<TcpListenLink>(0, Hex());
    std::string error;
    ASSERT_EQ(gateway->Open(error), 0) << error;
    const uint16_t port = gateway->Port();
    TcpClientLink client(kLoopback, port, Hex());
    ASSERT_EQ(client.Open(error), 0) << error;
    ASSERT_TRUE(client.IsUp());

    gateway.reset();
    ASSERT_TRUE(Eventually([&] { return !client.IsUp(); }));
    EXPECT_FALSE(client.Send(FrameOf(0x100, 1)));

    gateway = std::make_unique<TcpListenLink>(port, Hex());
    ASSERT_EQ(gateway->Open(error), 0) << error;
    ASSERT_TRUE(Eventually([&] { return client.IsUp() && gateway->ClientCount() == 1; }));
    ASSERT_TRUE(client.Send(FrameOf(0x200, 2)));
    EXPECT_EQ(NextFrame(*gateway), FrameOf(0x200, 2));
    ASSERT_TRUE(gateway->Send(FrameOf(0x300, 3)));
    EXPECT_EQ(NextFrame(client), FrameOf(0x300, 3));
}

TEST(TcpClientLink, DropsAndCountsWhatArrivesWhileItsQueueIsFull) {
    TcpListenLink gateway(0, Hex());
    std::string error;
    ASSERT_EQ(gateway.Open(error), 0) << error;
    TcpClientLink client(kLoopback, gateway.Port(), Hex());
    ASSERT_EQ(client.Open(error), 0) << error;
    ASSERT_TRUE(Eventually([&] { return gateway.ClientCount() == 1; }));

    const uint32_t total = SocketLink::kQueueLimit + 10;
    for (uint32_t id = 0; id < total; ++id) {
        ASSERT_TRUE(Eventually([&] { return gateway.Send(FrameOf(id, 0)); }));
    }
    ASSERT_TRUE(Eventually([&] { return client.GetCounters().dropped == 10; }));
    ferrow::net::CanFrame frame;
    for (uint32_t id = 0; id < SocketLink::kQueueLimit; ++id) {
        ASSERT_TRUE(client.Receive(frame));
        ASSERT_EQ(frame.id, id);
    }
    EXPECT_FALSE(client.Receive(frame));
}

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

// Socket port names: what each asks for, and the line forms of the
// transports they make, as a client and as the gateway. Crossed UDP ports
// are checked by the link contract's UDP rig.
#include "net/PortSpec.h"
#include "net/TransportFactory.h"
#include "tests/net/can/CanTestFrames.h"
#include "tests/net/links/SocketLinkRig.h"
#include "tests/support/FreeLoopbackPort.h"

#include <gtest/gtest.h>

#include <regex>
#include <tuple>

namespace {

using ferrow::net::GatewayTransport;
using ferrow::net::PortSpec;
using ferrow::net::TransportForPort;
using namespace ferrow::test;

TEST(PortSpec, SocketNamesTakeABindAddressAndALocalPort) {
    using K = PortSpec::Kind;
    const struct {
        const char* name;
        K kind;
        const char* host;
        uint16_t port;
        uint16_t localPort;
        bool candump;
    } cases[] = {
        {"tcp-listen:2600", K::TcpListen, "", 2600, 0, false},
        {"tcp-listen:127.0.0.1:2600:candump", K::TcpListen, "127.0.0.1", 2600, 0, true},
        {"tcp:gw.local:1457", K::TcpClient, "gw.local", 1457, 0, false},
        {"udp:127.0.0.1:1457:1458", K::Udp, "127.0.0.1", 1457, 1458, false},
        {"udp:192.168.1.255:1457:candump", K::Udp, "192.168.1.255", 1457, 0, true},
        {"udp:gw:1:65535:candump", K::Udp, "gw", 1, 65535, true},
    };
    for (const auto& c : cases) {
        const std::optional<PortSpec> got = PortSpec::Parse(c.name);
        ASSERT_TRUE(got.has_value()) << c.name;
        EXPECT_EQ(std::tie(got->kind, got->name, got->port, got->localPort, got->candump),
                  std::tie(c.kind, c.host, c.port, c.localPort, c.candump))
            << c.name;
    }
    for (const char* malformed :
         {"tcp-listen::2600", "tcp-listen:a:b:2600", "tcp-listen:host:", "udp:h:1457:0",
          "udp:h:1457:", "udp:h:1:2:3", "udp::1457:1458", "tcp:h:1457:1458"}) {
        EXPECT_FALSE(PortSpec::Parse(malformed).has_value()) << malformed;
    }
}

// An ISO request for all from `source`, as the bytes 01 02 03.
N2KMsg Request(uint8_t source) { return Counting(59904, 6, source, 255, 1, 3); }

std::unique_ptr<GatewayTransport> Opened(const std::string& portName) {
    auto transport = TransportForPort({portName, "", 0});
    EXPECT_EQ(transport->Open(), 0) << portName;
    return transport;
}

// As a client our device writes what a gateway takes from a PC; as the
// gateway, what gateways send and chart software reads.
TEST(TransportForPort, ClientsWriteWhatGatewaysTakeAndTheGatewayWhatClientsRead) {
    RawGateway gateway;
    const auto client = Opened("tcp:127.0.0.1:" + std::to_string(gateway.Port()));
    ASSERT_EQ(client->Send(Request(0x23)), N2K_OK);
    std::string line;
    N2KMsg none;
    ASSERT_TRUE(Eventually([&] {
        client->Fetch(none);
        return gateway.ReceiveLine(line);
    }));
    EXPECT_EQ(line, "18EAFF23 01 02 03\r\n");

    const uint16_t port = FreeLoopbackPort();
    const auto server = Opened("tcp-listen:127.0.0.1:" + std::to_string(port));
    const ferrow::net::Socket reader = RawConnect(port);
    std::string heard(34, '\0');
    ASSERT_TRUE(Eventually([&] {
        server->Send(Request(0x23));
        return recv(reader.Fd(), heard.data(), heard.size(), MSG_DONTWAIT) ==
               static_cast<ssize_t>(heard.size());
    }));
    const std::regex sent(R"(\d\d:\d\d:\d\d\.\d\d\d R 18EAFF23 01 02 03\r\n)");
    EXPECT_TRUE(std::regex_match(heard, sent)) << heard;
}

}  // namespace

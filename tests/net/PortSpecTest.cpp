// Port names: what each asks for, and the line forms of the socket
// transports they make, as a client and as the gateway. Crossed UDP ports
// are checked by the link contract's UDP rig.
#include "net/PortSpec.h"
#include "net/TransportFactory.h"
#include "net/links/PollThread.h"
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

// Each platform's names parsed on every platform: Windows has COM ports and
// drive letters, elsewhere COM5 stands for the default bus.
TEST(PortSpec, NamesChooseTheirTransport) {
    using K = PortSpec::Kind;
    constexpr auto kPosix = ferrow::platform::PathStyle::Posix;
    constexpr auto kWindows = ferrow::platform::PathStyle::Windows;
    const PortSpec fellBack{K::VirtualBus, "vbus", 0, 0, false, false, true};
    const struct {
        const char* name;
        PortSpec want;
        ferrow::platform::PathStyle style = kPosix;
    } cases[] = {
        {"vbus", {K::VirtualBus, "vbus"}},
        {"vbus:boat", {K::VirtualBus, "boat"}},
        {"vbus:boat:can", {K::VirtualCanBus, "boat"}},
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
        {"\\\\.\\COM12", fellBack},
        {"canx", fellBack},
        {"vcan", fellBack},
        {"Auto", fellBack},
        {"COM5", {K::Serial, "COM5", 0, 115200}, kWindows},
        {"com12:57600", {K::Serial, "com12", 0, 57600}, kWindows},
        {"COM256:4000000", {K::Serial, "COM256", 0, 4000000}, kWindows},
        {"\\\\.\\COM12", {K::Serial, "\\\\.\\COM12", 0, 115200}, kWindows},
        {"\\\\.\\CNCA0:9600", {K::Serial, "\\\\.\\CNCA0", 0, 9600}, kWindows},
        {"auto", {K::SerialAuto, "", 0, 115200}, kWindows},
        {"file:C:\\logs\\a.log", {K::LogFile, "C:\\logs\\a.log"}, kWindows},
        {"file:C:\\logs\\a.log:fast", {K::LogFile, "C:\\logs\\a.log", 0, 0, false, true}, kWindows},
        {"file:C:fast", {K::LogFile, "C:fast"}, kWindows},
        {"file:fast:fast", {K::LogFile, "fast", 0, 0, false, true}, kWindows},
        {"COMX", fellBack, kWindows},
        {"COM", fellBack, kWindows},
    };
    for (const auto& c : cases) {
        const std::optional<PortSpec> got = PortSpec::Parse(c.name, c.style);
        ASSERT_TRUE(got.has_value()) << c.name;
        EXPECT_EQ(std::tie(got->kind, got->name, got->port, got->baud, got->candump, got->fast,
                           got->fellBack),
                  std::tie(c.want.kind, c.want.name, c.want.port, c.want.baud, c.want.candump,
                           c.want.fast, c.want.fellBack))
            << c.name;
    }
    for (const char* malformed :
         {"tcp:host:0", "tcp:host:65536", "tcp::1457", "tcp:host", "udp:host:12x", "tcp-listen:",
          "file:", "vbus:", "vbus:x:bogus", "vbus::can", "vbus:x:can:can", "/dev/", "/dev/:9600",
          "/dev/ttyUSB0:", "/dev/ttyUSB0:0", "/dev/ttyUSB0:99999999999", "can:", "can:a-name-of-16-chars"}) {
        EXPECT_FALSE(PortSpec::Parse(malformed, kPosix).has_value()) << malformed;
    }
    for (const char* malformed : {"/dev/ttyUSB0", "COM0", "COM05", "COM5:", "COM5:0", "COM5:fast",
                                  "COM12345", "\\\\.\\", "\\\\.\\:9600", "\\\\.\\COM3:x", "file:"}) {
        EXPECT_FALSE(PortSpec::Parse(malformed, kWindows).has_value()) << malformed;
    }
    // Rates are the device interface's: Windows leaves them to the driver.
    const bool windows = ferrow::platform::kNativePaths == kWindows;
    for (const char* odd : {"/dev/ttyUSB0:12345", "/dev/ttyUSB0:115201"}) {
        EXPECT_EQ(PortSpec::Parse(odd, kPosix).has_value(), windows) << odd;
    }
    EXPECT_EQ(PortSpec::Parse("COM5")->kind, windows ? K::Serial : K::VirtualBus);
}

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
    // Sent until one reaches the client, once the gateway has taken it on.
    ferrow::net::PollThread poll;
    std::vector<ferrow::net::PollThread::Watch> watches{{reader.Fd(), false}};
    ASSERT_TRUE(Eventually([&] {
        server->Send(Request(0x23));
        return poll.Wait(watches, std::chrono::milliseconds(0)) && watches[0].readable;
    }));
    std::string heard(34, '\0');
    for (std::size_t got = 0; got < heard.size();) {
        const long n = RawReceive(reader, heard.data() + got, heard.size() - got);
        ASSERT_GT(n, 0);
        got += static_cast<std::size_t>(n);
    }
    const std::regex sent(R"(\d\d:\d\d:\d\d\.\d\d\d R 18EAFF23 01 02 03\r\n)");
    EXPECT_TRUE(std::regex_match(heard, sent)) << heard;
}

}  // namespace

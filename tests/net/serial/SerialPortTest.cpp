// Serial ports on every platform: what cannot be opened is said in a
// sentence, a search with nothing to try or no leave to try says why, and
// devices are tried in number order; and, on request, a gateway on a port
// of this machine.
#include "net/serial/SerialDiscovery.h"
#include "net/serial/SerialPort.h"
#include "net/serial/SerialTransport.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestEmulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

using ferrow::net::SerialDiscovery;
using ferrow::net::SerialPort;
using namespace ferrow::test;

#ifdef _WIN32
constexpr const char* kMissing[] = {"COM250", "\\\\.\\COM251"};
constexpr const char* kNonePresent = "No serial gateway found: no COM port is present.";
#else
constexpr const char* kMissing[] = {"/dev/ferrow-no-such-device"};
constexpr const char* kNonePresent =
    "No serial gateway found: no /dev/ttyUSB* or /dev/ttyACM* device is present.";
#endif

TEST(SerialPort, SaysInASentenceWhatItCannotOpen) {
    for (const std::string name : kMissing) {
        SerialPort port;
        std::string error;
        EXPECT_EQ(port.Open(name, 0, error), -1);
        EXPECT_EQ(error, "Cannot open " + name + ": 0 is not a serial baud rate.");
        const std::string opening = "Cannot open " + name + ": ";
        EXPECT_EQ(port.Open(name, SerialPort::kDefaultBaud, error), -1);
        EXPECT_EQ(error.compare(0, opening.size(), opening), 0) << error;
        EXPECT_GT(error.size(), opening.size() + 1) << "the system's reason";
        EXPECT_EQ(error.find(".."), std::string::npos) << error;
        EXPECT_EQ(error.find_first_of("\r\n"), std::string::npos) << error;
        EXPECT_EQ(error.back(), '.');
        EXPECT_FALSE(port.IsOpen());
    }
}

TEST(SerialDiscovery, SaysWhyItTriedNothingAndTriesDevicesInNumberOrder) {
    std::string error;
    EXPECT_FALSE(SerialDiscovery({kMissing[0]}, 0, SerialPort::kDefaultBaud).Find(error));
    EXPECT_EQ(error, "No serial gateway searched for: MAX_PORT_SEARCH is 0.");
    EXPECT_FALSE(SerialDiscovery({kMissing[0]}, -3, SerialPort::kDefaultBaud).Find(error));
    EXPECT_EQ(error, "No serial gateway searched for: MAX_PORT_SEARCH is -3.");
    EXPECT_FALSE(SerialDiscovery({}, 20, SerialPort::kDefaultBaud).Find(error));
    EXPECT_EQ(error, kNonePresent);
    {
        CapturedMessages messages;
        TestEmulator emulator(nullptr, 0, nullptr, "GW_PORT_NAME=\"auto\"\nMAX_PORT_SEARCH=0\n");
        EXPECT_LT(emulator->Connect(), 0);
        EXPECT_EQ(messages.Shown(), std::vector<std::wstring>{
                                        L"Gateway|No serial gateway searched for: MAX_PORT_SEARCH is 0."});
    }

    EXPECT_EQ(SerialDiscovery::InNumberOrder({"COM10", "COM2", "COM1", "COM2", "COM9"}),
              (std::vector<std::string>{"COM1", "COM2", "COM9", "COM10"}));
    TempDir dir;
    for (const char* name : {"ttyUSB10", "ttyACM0", "ttyS0", "ttyUSB2", "ttyACM1", "tty", "ttyUSB0"}) {
        TempDir::Write(dir.File(name), "");
    }
    EXPECT_EQ(SerialDiscovery::UsbDevicesIn(dir.Path().string()),
              (std::vector<std::string>{dir.File("ttyUSB0"), dir.File("ttyUSB2"), dir.File("ttyUSB10"),
                                        dir.File("ttyACM0"), dir.File("ttyACM1")}));
    EXPECT_TRUE(SerialDiscovery::UsbDevicesIn(dir.File("none")).empty());
}


// A gateway answering on a port of this machine named by
// FERROW_SERIAL_GATEWAY, the only one that does: found by the search among
// the devices present, then messages both ways through it, whole and in
// order. Under Wine, COM33 linked to the pseudo-terminal of a simulated
// gateway and listed in HKLM\HARDWARE\DEVICEMAP\SERIALCOMM.
TEST(SerialTransport, ExchangesMessagesWithAGatewayOnARealPort) {
    const char* name = std::getenv("FERROW_SERIAL_GATEWAY");
    if (!name) GTEST_SKIP() << "FERROW_SERIAL_GATEWAY names no port";
    const std::vector<std::string> present = SerialDiscovery::PresentDevices();
    EXPECT_NE(std::find(present.begin(), present.end(), name), present.end()) << "listed as present";
    ferrow::net::SerialTransport transport(SerialDiscovery(present, 20, SerialPort::kDefaultBaud),
                                           SerialPort::kDefaultBaud);
    ASSERT_EQ(transport.Open(), 0);
    EXPECT_EQ(transport.Path(), name);
    // Message `n`: three PGNs, 8 to 207 bytes, counting up from n.
    const auto nth = [](uint32_t n) {
        N2KMsg msg{};
        msg.pgn = 127250 + n % 3;
        msg.addressB = 255;
        msg.length = static_cast<uint16_t>(8 + n % 200);
        for (uint16_t i = 0; i < msg.length; ++i) msg.data[i] = static_cast<uint8_t>(n + i);
        return msg;
    };
    constexpr uint32_t kCount = 200;
    uint32_t sent = 0;
    uint32_t echoed = 0;
    ASSERT_TRUE(Eventually(
        [&] {
            while (sent < kCount && transport.Send(nth(sent)) == N2K_OK) ++sent;
            N2KMsg got{};
            while (transport.Fetch(got) == N2K_OK) {
                const N2KMsg want = nth(echoed++);
                EXPECT_EQ(std::tie(got.pgn, got.length), std::tie(want.pgn, want.length));
                EXPECT_EQ(0, std::memcmp(got.data, want.data, want.length));
            }
            return echoed >= kCount;
        },
        std::chrono::seconds(20)))
        << sent << " sent, " << echoed << " echoed";
    EXPECT_EQ(transport.GetCounters().losses, 0u);
}

}  // namespace

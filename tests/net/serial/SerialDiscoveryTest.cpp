// Finding a serial gateway among devices, on pseudo-terminals: the first
// that answers is taken, silent and missing ones are named when none does,
// the search limit holds down to the emulator's MAX_PORT_SEARCH, and the
// devices of a directory are tried in number order.
#include "net/serial/SerialDiscovery.h"
#include "net/serial/SerialTransport.h"
#include "tests/net/serial/SerialGatewayRig.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestEmulator.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

using ferrow::net::SerialDiscovery;
using ferrow::net::SerialTransport;
using namespace ferrow::test;
using namespace std::chrono_literals;

constexpr uint32_t kBaud = 115200;
constexpr auto kProbe = 100ms;

std::vector<uint8_t> Drain(int fd) {
    std::vector<uint8_t> bytes;
    uint8_t buffer[256];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) bytes.insert(bytes.end(), buffer, buffer + n);
    return bytes;
}

TEST(SerialDiscovery, TakesTheFirstDeviceThatAnswersLikeAGatewayAndTheTransportUsesIt) {
    Pty silent;
    Pty answering;
    SimulatedGateway gateway(answering);
    const SerialDiscovery discovery({silent.Path(), answering.Path()}, 20, kBaud, kProbe);
    {
        std::string error;
        const auto found = discovery.Find(error);
        ASSERT_TRUE(found) << error;
        EXPECT_EQ(found->path, answering.Path());
        EXPECT_TRUE(found->port.IsOpen());
        EXPECT_EQ(gateway.StartupRequests(), 1u);
        EXPECT_EQ(Drain(silent.Master()), SerialDiscovery::StartupFrame())
            << "asked, and it kept quiet";
    }
    SerialTransport transport(discovery, kBaud);
    ASSERT_EQ(transport.Open(), 0);
    EXPECT_EQ(transport.Path(), answering.Path());
    N2KMsg msg{};
    msg.pgn = 127250;
    msg.addressB = 255;
    msg.length = 8;
    ASSERT_EQ(transport.Send(msg), N2K_OK);
    EXPECT_TRUE(Eventually([&] { return transport.Fetch(msg) == N2K_OK; }));
}

TEST(SerialDiscovery, AGatewayThatOnlyForwardsTrafficCounts) {
    Pty pty;
    SimulatedGateway::Options options;
    options.answersStartup = false;
    SimulatedGateway gateway(pty, options);
    N2KMsg msg{};
    msg.pgn = 127250;
    msg.addressB = 255;
    // Traffic that keeps coming whenever the probe listens.
    std::atomic<bool> done{false};
    std::thread traffic([&] {
        while (!done) {
            gateway.Inject(msg);
            std::this_thread::sleep_for(5ms);
        }
    });
    std::string error;
    const auto found = SerialDiscovery({pty.Path()}, 1, kBaud, kProbe).Find(error);
    done = true;
    traffic.join();
    ASSERT_TRUE(found) << error;
    EXPECT_EQ(found->path, pty.Path());
}

TEST(SerialDiscovery, NamesWhatItTriedWhenNothingAnswers) {
    Pty first;
    Pty second;
    const std::string missing = "/dev/ferrow-no-such-device";
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(SerialDiscovery({first.Path(), missing, second.Path()}, 20, kBaud, kProbe).Find(error));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2 * kProbe) << "each silent device had its time";
    EXPECT_EQ(error, "No serial gateway answered within 100 ms; tried: " + first.Path() +
                         ": no answer. Cannot open " + missing +
                         ": No such file or directory. " + second.Path() + ": no answer.");

    EXPECT_FALSE(SerialDiscovery({first.Path(), second.Path()}, 1, kBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway answered within 100 ms; tried: " + first.Path() + ": no answer.");
    EXPECT_FALSE(SerialDiscovery({first.Path()}, 0, kBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway searched for: MAX_PORT_SEARCH is 0.");
    EXPECT_FALSE(SerialDiscovery({first.Path()}, -3, kBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway searched for: MAX_PORT_SEARCH is -3.");
    EXPECT_FALSE(SerialDiscovery({}, 20, kBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway found: no /dev/ttyUSB* or /dev/ttyACM* device is present.");
}

TEST(SerialDiscovery, TheEmulatorsSearchLimitReachesTheSearch) {
    CapturedMessages messages;
    TestEmulator emulator(nullptr, 0, nullptr, "GW_PORT_NAME=\"auto\"\nMAX_PORT_SEARCH=0\n");
    EXPECT_LT(emulator->Connect(), 0);
    EXPECT_EQ(messages.Shown(), std::vector<std::wstring>{
                                    L"Gateway|No serial gateway searched for: MAX_PORT_SEARCH is 0."});
}

TEST(SerialDiscovery, ListsTheUsbDevicesOfADirectoryInNumberOrder) {
    TempDir dir;
    for (const char* name : {"ttyUSB10", "ttyACM0", "ttyS0", "ttyUSB2", "ttyACM1", "tty", "ttyUSB0"}) {
        TempDir::Write(dir.File(name), "");
    }
    EXPECT_EQ(SerialDiscovery::PresentDevices(dir.Path().string()),
              (std::vector<std::string>{dir.File("ttyUSB0"), dir.File("ttyUSB2"), dir.File("ttyUSB10"),
                                        dir.File("ttyACM0"), dir.File("ttyACM1")}));
    EXPECT_TRUE(SerialDiscovery::PresentDevices(dir.File("none")).empty());
}

}  // namespace

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

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using ferrow::net::SerialDiscovery;
using ferrow::net::SerialTransport;
using namespace ferrow::test;
using namespace std::chrono_literals;

constexpr auto kProbe = 100ms;

std::vector<uint8_t> Drain(int fd) {
    std::vector<uint8_t> bytes;
    uint8_t buffer[256];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) bytes.insert(bytes.end(), buffer, buffer + n);
    return bytes;
}

// `msg` from `gateway` again and again, whenever a probe listens.
struct Traffic {
    Traffic(SimulatedGateway& gateway, const N2KMsg& msg)
        : thread([this, &gateway, msg] {
              while (!done) {
                  gateway.Inject(msg);
                  std::this_thread::sleep_for(5ms);
              }
          }) {}
    ~Traffic() {
        done = true;
        thread.join();
    }
    std::atomic<bool> done{false};
    std::thread thread;
};

// A gateway that answers only with the traffic it forwards counts.
TEST(SerialDiscovery, TakesTheFirstDeviceThatAnswersAndTheTransportSetsItUp) {
    Pty silent;
    Pty forwarding;
    SimulatedGateway::Options options;
    options.answersStartup = false;
    options.strict = true;
    SimulatedGateway gateway(forwarding, options);
    N2KMsg msg{};
    msg.pgn = 127250;
    msg.addressB = 255;
    msg.length = 8;
    const Traffic traffic(gateway, msg);
    const SerialDiscovery discovery({silent.Path(), forwarding.Path()}, 20, kSerialBaud, kProbe);
    {
        std::string error;
        const auto found = discovery.Find(error);
        ASSERT_TRUE(found) << error;
        EXPECT_EQ(found->path, forwarding.Path());
        EXPECT_TRUE(found->port.IsOpen());
        EXPECT_EQ(gateway.StartupRequests(), 1u);
        EXPECT_EQ(Drain(silent.Master()),
                  (std::vector<uint8_t>{0x10, 0x02, 0xA1, 0x03, 0x11, 0x02, 0x00, 0x49, 0x10, 0x03}))
            << "asked, and it kept quiet";
    }
    SerialTransport transport(discovery, kSerialBaud);
    ASSERT_EQ(transport.Open(), 0);
    EXPECT_EQ(transport.Path(), forwarding.Path());
    ASSERT_EQ(transport.Send(msg), N2K_OK);
    EXPECT_TRUE(Eventually([&] { return gateway.HeardCount() == 1; })) << "enabled";
    EXPECT_EQ(gateway.StartupRequests(), 3u) << "the probe's, and the transport's own";
}

TEST(SerialDiscovery, NamesWhatItTriedWhenNothingAnswers) {
    Pty first;
    Pty second;
    const std::string missing = "/dev/ferrow-no-such-device";
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(SerialDiscovery({first.Path(), missing, second.Path()}, 20, kSerialBaud, kProbe).Find(error));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2 * kProbe) << "each silent device had its time";
    EXPECT_EQ(error, "No serial gateway answered within 100 ms; tried: " + first.Path() +
                         ": no answer. Cannot open " + missing +
                         ": No such file or directory. " + second.Path() + ": no answer.");

    EXPECT_FALSE(SerialDiscovery({first.Path(), second.Path()}, 1, kSerialBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway answered within 100 ms; tried: " + first.Path() + ": no answer.");
    EXPECT_FALSE(SerialDiscovery({first.Path()}, 0, kSerialBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway searched for: MAX_PORT_SEARCH is 0.");
    EXPECT_FALSE(SerialDiscovery({first.Path()}, -3, kSerialBaud, kProbe).Find(error));
    EXPECT_EQ(error, "No serial gateway searched for: MAX_PORT_SEARCH is -3.");
    EXPECT_FALSE(SerialDiscovery({}, 20, kSerialBaud, kProbe).Find(error));
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

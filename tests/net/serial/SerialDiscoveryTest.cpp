// Finding a serial gateway among devices, on pseudo-terminals: the first
// that answers is taken, silent and missing ones are named when none does,
// and the search stops at its limit.
#include "net/serial/SerialDiscovery.h"
#include "net/serial/SerialTransport.h"
#include "tests/net/serial/SerialGatewayRig.h"
#include "tests/support/Eventually.h"

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
}

}  // namespace

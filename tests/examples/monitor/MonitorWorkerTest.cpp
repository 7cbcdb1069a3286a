// The demo monitor on its own threads, as the demo program runs it: the
// emulator's worker calls the loop, the timer thread the interrupt, a bench
// thread steps the simulators, while the operator types on the console,
// presses the button and a tool on the network commands it.
#include "tests/examples/monitor/MonitorRig.h"
#include "tests/support/Eventually.h"
#include "tests/support/FreeLoopbackPort.h"

#include "Summary.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace monitor_test {
namespace {

using ferrow::test::Eventually;
using namespace std::chrono_literals;

constexpr auto kPatience = 30s;

TEST(MonitorWorker, RunsOnItsThreadsWhileOperatorAndNetworkPushIn) {
    MonitorRig rig;
    Unit& d = rig[0];
    rig.BootOnThreads();
    d.Calm();
    std::atomic<bool> done{false};
    std::thread bench([&] {
        while (!done) {
            d.bench->Step();
            std::this_thread::sleep_for(10ms);
        }
    });
    // The console's one writer, as the serial panel is.
    std::thread typist([&] {
        for (int i = 0; i < 200 && !done; ++i) {
            d.Type(i == 100 ? "instance 7\r" : i % 2 ? "status\r" : "help\r");
            std::this_thread::sleep_for(2ms);
        }
    });
    // Whether it has sent `pgn` (with instance `instance`, when not -1).
    const auto sent = [&](uint32_t pgn, int instance = -1) {
        rig.Collect();
        return !rig.Of(pgn, 0, [&](const N2KMsg& m) {
                       return m.addressA == kDefaultAddress && (instance < 0 || m.data[1] == instance);
                   }).empty();
    };

    // Read from this thread while the worker runs the loop.
    EXPECT_TRUE(Eventually([&] { return d.device->Settled() && d.device->LoopCount() > 50; },
                           kPatience));
    EXPECT_TRUE(Eventually([&] { return sent(kClaimPgn) && sent(kTemperaturePgn); }, kPatience));
    EXPECT_TRUE(Eventually([&] { return d.device->Instance() == 7; }, kPatience));

    const uint8_t eleven = 11;
    Ferrow_N2K_Gen_c* gen = d.Emu()->n2kGen;
    ASSERT_EQ(gen->PutN2KCmd(kTemperaturePgn, 2, &eleven, 1, kTool, kDefaultAddress, 0), 1);
    ASSERT_EQ(gen->PutISORequest(kProductInfoPgn, kTool, kDefaultAddress, 0), 1);
    EXPECT_TRUE(Eventually([&] { return d.device->Instance() == 11; }, kPatience));
    EXPECT_TRUE(Eventually(
        [&] {
            return sent(kTemperaturePgn, 11) && sent(kProductInfoPgn) && sent(kGroupFunctionPgn);
        },
        kPatience));

    d.Emu()->gpio->SetValPin(monitor::kPinButton, 1);
    EXPECT_TRUE(Eventually([&] { return d.Backlight() == 50000; }, kPatience));
    d.Emu()->gpio->SetValPin(monitor::kPinButton, 0);

    EXPECT_TRUE(Eventually(
        [&] {
            rig.Collect();
            return d.Printed("instance 7 saved") && d.Printed("address 35") &&
                   d.Printed("backlight 50 %");
        },
        kPatience));
    done = true;
    typist.join();
    bench.join();
    rig.Shutdown();
}

// The headless demo's input thread switches decoding on and off while its
// summary thread drains the stores the worker fills: every line given is
// one whole JSON object.
TEST(MonitorWorker, DecodeSwitchedWhileTheSummaryDrains) {
    MonitorRig rig;
    rig.BootOnThreads();
    rig[0].Calm();
    monitor::Summary summary(*rig[0].device);
    std::string reply;
    ASSERT_TRUE(summary.Command("decode on", reply));
    if (reply != "decode on") {
        if (const char* ci = std::getenv("CI"); ci && *ci) FAIL() << reply;
        GTEST_SKIP() << reply;
    }
    std::thread input([&] {
        std::string said;
        for (int i = 0; i < 400; ++i) {
            summary.Command(i % 2 ? "decode off" : "decode on", said);
            std::this_thread::sleep_for(1ms);
        }
        summary.Command("decode on", said);
    });
    std::size_t objects = 0;
    EXPECT_TRUE(Eventually(
        [&] {
            std::istringstream lines(summary.Drain());
            for (std::string line; std::getline(lines, line);) {
                if (line.empty() || line.front() != '{') continue;
                const nlohmann::json m = nlohmann::json::parse(line, nullptr, false);
                EXPECT_TRUE(!m.is_discarded() && m.contains("pgn") && m.contains("fields")) << line;
                ++objects;
            }
            return objects >= 5;
        },
        kPatience));
    input.join();
    rig.Shutdown();
}

// Two demos in one process stand for two programs on one PC sharing a
// network over UDP with crossed ports: each hears the other's claim, so they
// end on two addresses.
TEST(MonitorWorker, TwoDevicesOverUdpWithCrossedPortsClaimTwoAddresses) {
    const uint16_t first = ferrow::test::FreeLoopbackPort(SOCK_DGRAM);
    const uint16_t second = ferrow::test::FreeLoopbackPort(SOCK_DGRAM);
    const std::string host = "udp:127.0.0.1:";
    Unit a(host + std::to_string(first) + ":" + std::to_string(second), "");
    Unit b(host + std::to_string(second) + ":" + std::to_string(first), "");
    a.args = {"--unique", "1"};
    b.args = {"--unique", "2"};
    a.Build(nullptr, {});
    b.Build(nullptr, {});
    EXPECT_TRUE(Eventually(
        [&] {
            const unsigned char one = a.device->SourceAddress();
            const unsigned char two = b.device->SourceAddress();
            return one != two && one < 252 && two < 252 && (one == kDefaultAddress || two == kDefaultAddress);
        },
        kPatience))
        << int(a.device->SourceAddress()) << " and " << int(b.device->SourceAddress());
    b.device.reset();
    a.device.reset();
}

}  // namespace
}  // namespace monitor_test

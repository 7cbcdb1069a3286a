// The demo monitor on its own threads, as the demo program runs it: the
// emulator's worker calls the loop, the timer thread the interrupt, a bench
// thread steps the simulators, while the operator types on the console,
// presses the button and a tool on the network commands it.
#include "tests/examples/monitor/MonitorRig.h"
#include "tests/support/Eventually.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace monitor_test {
namespace {

using ferrow::test::Eventually;
using namespace std::chrono_literals;

constexpr auto kPatience = 30s;

TEST(MonitorWorker, RunsOnItsThreadsWhileOperatorAndNetworkPushIn) {
    MonitorRig rig;
    rig.Boot(5, false);
    rig.Calm();
    std::atomic<bool> done{false};
    std::thread bench([&] {
        while (!done) {
            rig.bench->Step();
            std::this_thread::sleep_for(10ms);
        }
    });
    // The console's one writer, as the serial panel is.
    std::thread typist([&] {
        for (int i = 0; i < 200 && !done; ++i) {
            rig.Type(i == 100 ? "instance 7\r" : i % 2 ? "status\r" : "help\r");
            std::this_thread::sleep_for(2ms);
        }
    });
    const auto heard = [&](uint32_t pgn, const std::function<bool(const N2KMsg&)>& match) {
        rig.Collect();
        return std::any_of(rig.heard.begin(), rig.heard.end(), [&](const Heard& h) {
            return h.msg.pgn == pgn && h.msg.addressA == kDefaultAddress && match(h.msg);
        });
    };
    const auto any = [](const N2KMsg&) { return true; };
    const auto withInstance = [](int instance) {
        return [instance](const N2KMsg& msg) { return msg.data[1] == instance; };
    };

    EXPECT_TRUE(Eventually([&] { return heard(kClaimPgn, any) && heard(kTemperaturePgn, any); },
                           kPatience));
    EXPECT_TRUE(Eventually([&] { return rig.device->Instance() == 7; }, kPatience));

    const uint8_t eleven = 11;
    Ferrow_N2K_Gen_c* gen = rig.Emu()->n2kGen;
    ASSERT_EQ(gen->PutN2KCmd(kTemperaturePgn, 2, &eleven, 1, kTool, kDefaultAddress, 0), 1);
    ASSERT_EQ(gen->PutISORequest(kProductInfoPgn, kTool, kDefaultAddress, 0), 1);
    EXPECT_TRUE(Eventually([&] { return rig.device->Instance() == 11; }, kPatience));
    EXPECT_TRUE(Eventually(
        [&] {
            return heard(kTemperaturePgn, withInstance(11)) && heard(kProductInfoPgn, any) &&
                   heard(kGroupFunctionPgn, any);
        },
        kPatience));

    Ferrow_GPIO_c* gpio = rig.Emu()->gpio;
    gpio->SetValPin(monitor::kPinButton, 1);
    EXPECT_TRUE(Eventually(
        [&] {
            unsigned long duty = 0;
            rig.Emu()->pwm->GetDuty(monitor::kPinBacklight, &duty);
            return duty == 50000;
        },
        kPatience));
    gpio->SetValPin(monitor::kPinButton, 0);

    EXPECT_TRUE(Eventually(
        [&] {
            rig.Collect();
            return rig.Printed("instance 7 saved") && rig.Printed("address 35") &&
                   rig.Printed("backlight 50 %");
        },
        kPatience));
    done = true;
    typist.join();
    bench.join();
    rig.Shutdown();
}

}  // namespace
}  // namespace monitor_test

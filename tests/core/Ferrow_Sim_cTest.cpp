#include "net/vbus/VirtualBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_Sim_c.h>
#include <ferrow/Ferrow_c.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using ferrow::test::TempDir;
using ferrow::test::TestEmulator;

namespace {

// A small firmware: it counts its loop calls and interrupts, and runs what
// the test gives it in each.
struct Device {
    explicit Device(int pace = 5, unsigned long period = 10, const std::string& config = "")
        : node(nullptr, 0, nullptr, config), period(period) {
        Registry()[emu()] = this;
        EXPECT_EQ(emu()->SetDeviceFunction(&Main, &Loop, pace), 0);
    }
    ~Device() { Registry().erase(emu()); }

    // A device on the virtual bus `bus`, recording to `log` when given.
    static std::unique_ptr<Device> OnBus(const std::string& bus, int pace, const std::string& log = "") {
        std::string config = "GW_PORT_NAME=\"" + bus + "\"\n";
        if (!log.empty()) config += "GW_LOG_FILE=\"" + log + "\"\n";
        return std::make_unique<Device>(pace, 10, config);
    }

    Ferrow_c* emu() const { return node.emu.get(); }

    static void Main(void* obj) {
        Device& d = Of(obj);
        if (d.period == 0) return;
        d.emu()->t_init(1, d.period);
        d.emu()->t_interrupt_set(&Tick);
    }
    static void Loop(void* obj) {
        Device& d = Of(obj);
        ++d.loops;
        // A copy: the function may delete the device.
        if (auto fn = d.onLoop) fn(d);
    }
    static void Tick(void* obj) {
        Device& d = Of(obj);
        ++d.ticks;
        if (auto fn = d.onTick) fn(d);
    }
    static Device& Of(void* obj) { return *Registry().at(obj); }
    static std::map<void*, Device*>& Registry() {
        static std::map<void*, Device*> devices;
        return devices;
    }

    // Every message received since the last call, with the receiver's time.
    void Receive() {
        N2KMsg msg{};
        while (emu()->GetMsg(&msg) == N2K_OK) heard.push_back({msg, emu()->t_get_1ms()});
    }
    void Send(uint32_t pgn, uint32_t value) {
        N2KMsg msg{};
        msg.pgn = pgn;
        msg.priority = 6;
        msg.addressA = 1;
        msg.addressB = 255;
        msg.transport = 1;
        msg.length = 8;
        for (int i = 0; i < 4; ++i) msg.data[i] = uint8_t(value >> (8 * i));
        EXPECT_EQ(emu()->PutMsg(&msg), N2K_OK);
    }

    struct Heard {
        N2KMsg msg;
        unsigned long ms;
    };

    TestEmulator node;
    unsigned long period;
    long loops = 0;
    long ticks = 0;
    std::function<void(Device&)> onLoop;
    std::function<void(Device&)> onTick;
    std::vector<Heard> heard;
};

std::string UniqueBus() {
    static std::atomic<unsigned> counter{0};
    return "vbus:sim_" + std::to_string(::getpid()) + "_" + std::to_string(counter++);
}

uint32_t ValueOf(const N2KMsg& msg) {
    return msg.data[0] | msg.data[1] << 8 | msg.data[2] << 16 | uint32_t(msg.data[3]) << 24;
}

TEST(Ferrow_Sim_c, CallsLoopAndInterruptAtTheirPaceInVirtualTime) {
    struct Case {
        int pace;
        unsigned long period;
        long loops, ticks;  // in the first virtual second
    } cases[] = {{5, 10, 200, 100}, {3, 7, 333, 142}, {20, 1, 50, 1000}, {1000, 0, 1, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pace);
        Device d(c.pace, c.period);
        Ferrow_Sim_c sim;
        ASSERT_EQ(sim.Add(d.emu()), 0);
        ASSERT_EQ(sim.Start(0, nullptr), 0);
        EXPECT_EQ(sim.Now(), 0ul);
        EXPECT_EQ(d.loops, 0);
        ASSERT_EQ(sim.Run(999), 0);
        ASSERT_EQ(sim.Run(1), 0);
        EXPECT_EQ(sim.Now(), 1000ul);
        EXPECT_EQ(d.loops, c.loops);
        EXPECT_EQ(d.ticks, c.ticks);
        EXPECT_EQ(d.emu()->t_get_1ms(), 1000ul);
        // The ticks add their period to the emulated count.
        d.emu()->t_set_overwrite(1);
        EXPECT_EQ(d.emu()->t_get_1ms(), c.ticks * c.period);
    }
}

TEST(Ferrow_Sim_c, RefusesWhatItCannotRunAndSurvivesDeletedEmulators) {
    Device a, b, started, other;
    auto doomed = std::make_unique<Device>();
    auto victim = std::make_unique<Device>();
    auto suicidal = std::make_unique<Device>();
    Ferrow_Sim_c sim, elsewhere;
    EXPECT_EQ(sim.Run(10), -1);
    EXPECT_EQ(sim.Add(nullptr), -1);
    ASSERT_EQ(elsewhere.Add(other.emu()), 0);
    EXPECT_EQ(sim.Add(other.emu()), -1);
    EXPECT_EQ(elsewhere.Add(other.emu()), -1);
    ASSERT_EQ(started.emu()->Start(), 0);
    EXPECT_EQ(sim.Add(started.emu()), -1);
    ASSERT_EQ(started.emu()->Stop(), 0);
    for (Device* d : {&a, doomed.get(), victim.get(), suicidal.get(), &b}) {
        ASSERT_EQ(sim.Add(d->emu()), 0);
    }
    ASSERT_EQ(sim.Start(0, nullptr), 0);
    EXPECT_EQ(sim.Start(0, nullptr), -1);
    EXPECT_EQ(sim.Add(started.emu()), -1);
    EXPECT_EQ(sim.RunUntil(nullptr, nullptr, 10), -1);

    // Deleted between runs, by another member's loop at an instant where it
    // is still to run, and by its own interrupt.
    doomed.reset();
    a.onLoop = [&victim](Device&) { victim.reset(); };
    suicidal->onTick = [&suicidal](Device&) { suicidal.reset(); };
    ASSERT_EQ(sim.Run(100), 0);
    EXPECT_FALSE(victim);
    EXPECT_FALSE(suicidal);
    EXPECT_EQ(a.loops, 20);
    EXPECT_EQ(b.loops, 20);
    EXPECT_EQ(sim.Stop(), 0);
    EXPECT_EQ(sim.Run(10), -1);
    EXPECT_EQ(sim.Now(), 100ul);
}

}  // namespace

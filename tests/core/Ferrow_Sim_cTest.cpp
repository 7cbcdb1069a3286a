#include "net/vbus/VirtualBus.h"
#include "platform/ProcessClock.h"
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Exception.h>
#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/Ferrow_Sim_c.h>
#include <ferrow/Ferrow_c.h>

#include <gtest/gtest.h>


#include <atomic>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
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
    explicit Device(int pace = 5, unsigned long period = 10,
                    const std::string& config = ferrow::test::kTestNetwork)
        : node(nullptr, 0, nullptr, config), period(period) {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        Registry()[emu()] = this;
        EXPECT_EQ(emu()->SetDeviceFunction(&Main, &Loop, pace), 0);
    }
    // The emulator goes first: its worker may still look the device up.
    ~Device() {
        void* key = emu();
        node.emu.reset();
        std::lock_guard<std::mutex> lock(RegistryMutex());
        Registry().erase(key);
    }

    // A device on the virtual bus `bus`, recording to `log` when given.
    static std::unique_ptr<Device> OnBus(const std::string& bus, int pace,
                                         const std::string& log = "", unsigned long period = 10) {
        std::string config = "GW_PORT_NAME=\"" + bus + "\"\n";
        if (!log.empty()) config += "GW_LOG_FILE=\"" + log + "\"\n";
        return std::make_unique<Device>(pace, period, config);
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
    static Device& Of(void* obj) {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        return *Registry().at(obj);
    }
    // Devices by emulator; the real-time test reaches it from a worker.
    static std::map<void*, Device*>& Registry() {
        static std::map<void*, Device*> devices;
        return devices;
    }
    static std::mutex& RegistryMutex() {
        static std::mutex mutex;
        return mutex;
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
    std::atomic<long> loops{0};
    std::atomic<long> ticks{0};
    std::function<void(Device&)> onLoop;
    std::function<void(Device&)> onTick;
    std::vector<Heard> heard;
};

std::string UniqueBus() {
    static std::atomic<unsigned> counter{0};
    return "vbus:sim_" + std::to_string(ferrow::test::ProcessId()) + "_" + std::to_string(counter++);
}

// Adds the devices in this order and starts them.
void StartAll(Ferrow_Sim_c& sim, std::initializer_list<Device*> devices) {
    for (Device* d : devices) ASSERT_EQ(sim.Add(d->emu()), 0);
    ASSERT_EQ(sim.Start(0, nullptr), 0);
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
        StartAll(sim, {&d});
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

    // A firmware's exception reaches the caller; the next Run goes on.
    b.onLoop = [](Device& d) {
        if (d.loops == 25) throw utility::Exception("stuck sensor", 1);
    };
    EXPECT_THROW(sim.Run(100), utility::Exception);
    EXPECT_EQ(sim.Now(), 125ul);
    ASSERT_EQ(sim.Run(75), 0);
    EXPECT_EQ(a.loops, 40);
    EXPECT_EQ(b.loops, 40);
    EXPECT_EQ(sim.Stop(), 0);
    EXPECT_EQ(sim.Run(10), -1);
    EXPECT_EQ(sim.Now(), 200ul);
}

TEST(Ferrow_Sim_c, KeepsTheTimerRulesOfRealTime) {
    Device d(5, 10), early(5, 10);
    // A timer set in real time before joining ticks on in virtual time only.
    early.emu()->t_init(1, 10);
    early.emu()->t_interrupt_set(&Device::Tick);
    Ferrow_Sim_c sim;
    StartAll(sim, {&d, &early});
    const long realTicks = early.ticks;
    Ferrow_c& emu = *d.emu();
    ASSERT_EQ(sim.Run(100), 0);
    EXPECT_EQ(early.ticks - realTicks, 10);
    // Manual time swallows the ticks; a tick by hand still counts.
    emu.t_set_overwrite(1);
    ASSERT_EQ(sim.Run(100), 0);
    EXPECT_EQ(d.ticks, 10);
    emu.t_interrupt_exec(7);
    EXPECT_EQ(d.ticks, 11);
    EXPECT_EQ(emu.t_get_1ms(), 107ul);
    // A later t_init changes the amount a tick adds, not their rate.
    emu.t_set_overwrite(0);
    emu.t_init(0, 20);
    emu.t_interrupt_set(&Device::Tick);
    ASSERT_EQ(sim.Run(100), 0);
    EXPECT_EQ(d.ticks, 21);
    EXPECT_EQ(emu.t_get_1ms(), 307ul);
    // Disabled for good.
    emu.t_disable_int();
    emu.t_init(1, 10);
    emu.t_interrupt_set(&Device::Tick);
    ASSERT_EQ(sim.Run(100), 0);
    EXPECT_EQ(d.ticks, 21);
    unsigned long seconds = 0, ms = 0;
    emu.t_get_time(&seconds, &ms);
    EXPECT_EQ(seconds * 1000 + ms, 400ul);
    EXPECT_EQ(d.loops, 80);
}

void Trace(void* trace, unsigned long now) {
    static_cast<std::vector<std::string>*>(trace)->push_back("step " + std::to_string(now));
}
int SevenLoops(void* device) { return static_cast<Device*>(device)->loops >= 7; }
int Never(void*) { return 0; }

TEST(Ferrow_Sim_c, RunsAnInstantInAddOrderInterruptBeforeLoopThenTheStepFunction) {
    std::vector<std::string> trace;
    Device a(10, 10), b(10, 10);
    for (Device* d : {&a, &b}) {
        const std::string name = d == &a ? "a" : "b";
        d->onTick = [&trace, name](Device&) { trace.push_back(name + " tick"); };
        d->onLoop = [&trace, name](Device&) { trace.push_back(name + " loop"); };
    }
    Ferrow_Sim_c sim;
    ASSERT_EQ(sim.SetStepFunction(&Trace, &trace), 0);
    StartAll(sim, {&b, &a});
    ASSERT_EQ(sim.Run(10), 0);
    EXPECT_EQ(trace, (std::vector<std::string>{"b tick", "b loop", "a tick", "a loop", "step 10"}));

    ASSERT_EQ(sim.SetStepFunction(nullptr, nullptr), 0);
    EXPECT_EQ(sim.RunUntil(&SevenLoops, &a, 1000), 0);
    EXPECT_EQ(sim.Now(), 70ul);
    EXPECT_EQ(sim.RunUntil(&SevenLoops, &a, 1000), 0);
    EXPECT_EQ(sim.Now(), 70ul);
    EXPECT_EQ(sim.RunUntil(&Never, nullptr, 55), -1);
    EXPECT_EQ(sim.Now(), 125ul);
    EXPECT_EQ(trace.size(), 5u + 4 * 11);  // the instants 20 to 120
}

TEST(Ferrow_Sim_c, DeliversBusMessagesFromTheirSendInstantInSendOrder) {
    const std::string bus = UniqueBus();
    auto early = Device::OnBus(bus, 1), sender = Device::OnBus(bus, 7), late = Device::OnBus(bus, 1);
    uint32_t sent = 0;
    sender->onLoop = [&sent](Device& d) {
        d.Send(130316, sent++);
        d.Send(130316, sent++);
    };
    early->onLoop = late->onLoop = [](Device& d) { d.Receive(); };
    Ferrow_Sim_c sim;
    StartAll(sim, {early.get(), sender.get(), late.get()});
    ASSERT_EQ(sim.Run(1000), 0);
    ASSERT_EQ(sent, 2u * 142);
    // The receiver that runs after the sender at an instant hears it then;
    // the one before it at its next loop.
    for (Device* d : {late.get(), early.get()}) {
        SCOPED_TRACE(d == late.get() ? "late" : "early");
        ASSERT_EQ(d->heard.size(), sent);
        for (uint32_t i = 0; i < sent; ++i) {
            const unsigned long sentAt = 7 * (i / 2 + 1);
            EXPECT_EQ(ValueOf(d->heard[i].msg), i);
            EXPECT_EQ(d->heard[i].msg.timeStamp, sentAt / 10);
            EXPECT_EQ(d->heard[i].ms, d == late.get() ? sentAt : sentAt + 1);
        }
    }

    // On the bus itself: a message waits for its instant on its sender's
    // clock and holds back those behind it; other clocks see it at once.
    ferrow::net::VirtualBus direct;
    ferrow::net::VirtualBus::Member from, to;
    direct.Join(from);
    direct.Join(to);
    const int clock = 0, otherClock = 0;
    N2KMsg msg{};
    msg.length = 1;
    for (uint8_t value : {1, 2}) {
        msg.data[0] = value;
        direct.Send(from, msg, {&clock, 100});
    }
    EXPECT_FALSE(to.Take(msg, {&clock, 99}));
    EXPECT_TRUE(to.Take(msg, {&otherClock, 0}));
    EXPECT_EQ(msg.data[0], 1);
    EXPECT_TRUE(to.Take(msg, {&clock, 100}));
    EXPECT_EQ(msg.data[0], 2);
    direct.Leave(from);
    direct.Leave(to);
}

TEST(Ferrow_Sim_c, MeasuresBusLoadOverVirtualTimeWhicheverThreadAsks) {
    for (const std::string& bus : {UniqueBus(), UniqueBus() + ":can"}) {
        SCOPED_TRACE(bus);
        auto sender = Device::OnBus(bus, 7), receiver = Device::OnBus(bus, 1);
        sender->onLoop = [](Device& d) { d.Send(130316, 0); };
        receiver->onLoop = [](Device& d) { d.Receive(); };
        Ferrow_Sim_c sim;
        StartAll(sim, {sender.get(), receiver.get()});
        // Read between runs, on wall time that hardly moves: the second
        // reading is a virtual second after the first.
        FerrowGatewayStats first{}, second{};
        ASSERT_EQ(sim.Run(1000), 0);
        ASSERT_EQ(sender->emu()->GetGatewayStats(&first), 0);
        ASSERT_EQ(sim.Run(1000), 0);
        ASSERT_EQ(sender->emu()->GetGatewayStats(&second), 0);
        ASSERT_GT(second.busBits, first.busBits);
        EXPECT_DOUBLE_EQ(second.busLoad, 100.0 * double(second.busBits - first.busBits) / 250000);
    }
}

TEST(Ferrow_Sim_c, RecordsTheSameBytesOnEveryRunWithVirtualTimeStamps) {
    TempDir dir;
    auto record = [&dir](const std::string& name) {
        const std::string bus = UniqueBus(), log = dir.File(name);
        auto a = Device::OnBus(bus, 5, log), b = Device::OnBus(bus, 3, log);
        a->onLoop = [](Device& d) {
            d.Receive();
            if (d.emu()->t_get_1ms() % 50 == 0) d.Send(126996, d.emu()->t_get_1ms());
        };
        b->onLoop = [](Device& d) {
            d.Receive();
            if (d.emu()->t_get_1ms() % 60 == 0) d.Send(127508, d.emu()->t_get_1ms());
        };
        Ferrow_Sim_c sim;
        StartAll(sim, {a.get(), b.get()});
        EXPECT_EQ(sim.Run(5000), 0);
        return TempDir::Read(log);
    };
    const std::string first = record("first.log");
    EXPECT_EQ(first, record("second.log"));
    // A's first message went out at 50 ms, as frames sent, then received by b.
    EXPECT_EQ(first.substr(0, 25), "(0000000000.050000) can0 ");
    EXPECT_NE(first.find("(0000000005.000000) can0 "), std::string::npos);
    EXPECT_EQ(first.find("(0000000005.001000)"), std::string::npos);
}

TEST(Ferrow_Sim_c, ReplaysALogAtItsRecordedPaceInVirtualTime) {
    TempDir dir;
    const std::string log = dir.File("replay.log");
    TempDir::Write(log,
                   "(1700000000.000000) can0 09F11223#0100000000000000\n"
                   "(1700000001.500000) can0 09F11223#0200000000000000\n"
                   "(1700000003.000000) can0 09F11223#0300000000000000\n");
    Device d(1, 10, "GW_PORT_NAME=\"file:" + log + "\"\n");
    d.onLoop = [](Device& device) { device.Receive(); };
    Ferrow_Sim_c sim;
    StartAll(sim, {&d});
    ASSERT_EQ(sim.Run(4000), 0);
    ASSERT_EQ(d.heard.size(), 3u);
    const unsigned long at[] = {1, 1500, 3000};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(d.heard[i].msg.data[0], i + 1);
        EXPECT_EQ(d.heard[i].ms, at[i]);
    }
}

TEST(Ferrow_Sim_c, TwoDevicesHeartbeatForAVirtualDayWithExactWraps) {
    constexpr unsigned long kDay = 24ul * 3600 * 1000;
    constexpr unsigned long kMinute = 60000;
    const std::string bus = UniqueBus();
    auto a = Device::OnBus(bus, 100, "", 100), b = Device::OnBus(bus, 100, "", 100);
    std::map<Device*, int> wraps;
    std::map<Device*, uint32_t> last;
    for (Device* device : {a.get(), b.get()}) {
        device->onLoop = [&wraps, &last](Device& d) {
            d.Receive();
            const uint32_t reading = uint32_t(d.emu()->t_get_100ns());
            if (reading < last[&d]) ++wraps[&d];
            last[&d] = reading;
            const unsigned long now = d.emu()->t_get_1ms();
            if (now % kMinute == 0) d.Send(126993, uint32_t(now / kMinute));
        };
    }
    Ferrow_Sim_c sim;
    StartAll(sim, {a.get(), b.get()});
    ASSERT_EQ(sim.Run(kDay), 0);

    // 864,000,000,000 in 100 ns units is 201 turns of 2^32 and 711,573,504.
    for (Device* d : {a.get(), b.get()}) {
        EXPECT_EQ(d->loops, 864000);
        EXPECT_EQ(d->ticks, 864000);
        EXPECT_EQ(wraps[d], 201);
        for (int overwrite : {0, 1}) {
            d->emu()->t_set_overwrite(overwrite);
            EXPECT_EQ(d->emu()->t_get_100ns(), 711573504ul);
            EXPECT_EQ(d->emu()->t_get_100us(), 864000000ul);
            EXPECT_EQ(d->emu()->t_get_100ms(), 864000ul);
        }
    }
    // b runs after a at an instant and hears each beat as it goes out; a
    // hears b's at its next loop, the last one after the day.
    for (Device* d : {a.get(), b.get()}) {
        const unsigned long delay = d == a.get() ? 100 : 0;
        const unsigned beats = d == a.get() ? 1439 : 1440;
        ASSERT_EQ(d->heard.size(), beats);
        for (unsigned k = 1; k <= beats; ++k) {
            const Device::Heard& h = d->heard[k - 1];
            EXPECT_EQ(ValueOf(h.msg), k);
            EXPECT_EQ(h.msg.timeStamp, k * kMinute / 10);
            EXPECT_EQ(h.ms, k * kMinute + delay);
        }
    }
}

TEST(Ferrow_Sim_c, RunsOnItsThreadBesideARealTimeEmulator) {
    Device real(5, 10, "GW_PORT_NAME=\"" + UniqueBus() + "\"\n");
    ASSERT_EQ(real.emu()->Start(), 0);
    const std::string bus = UniqueBus();
    auto a = Device::OnBus(bus, 5), b = Device::OnBus(bus, 5);
    a->onLoop = [](Device& d) { d.Send(130316, d.emu()->t_get_1ms()); };
    b->onLoop = [](Device& d) { d.Receive(); };
    Ferrow_Sim_c sim;
    StartAll(sim, {a.get(), b.get()});
    std::thread runner([&sim] { EXPECT_EQ(sim.Run(60000), 0); });
    // The simulation's time, read from here while it moves.
    unsigned long virtualMs = 0;
    while (virtualMs < 60000) {
        const unsigned long now = sim.Now();
        EXPECT_GE(now, virtualMs);
        virtualMs = now;
        EXPECT_LE(a->emu()->t_get_1ms(), 60000ul);
    }
    runner.join();
    EXPECT_TRUE(ferrow::test::Eventually([&real] { return real.ticks > 2 && real.loops > 2; }));
    const uint64_t before = ferrow::platform::ProcessClock::WallMs64();
    const uint64_t reading = real.emu()->t_get_1ms();
    EXPECT_LE(before, reading);
    EXPECT_LE(reading, ferrow::platform::ProcessClock::WallMs64());
    EXPECT_EQ(real.emu()->Stop(), 0);
    EXPECT_EQ(b->heard.size(), 12000u);
    EXPECT_EQ(b->heard.back().ms, 60000ul);
}

}  // namespace

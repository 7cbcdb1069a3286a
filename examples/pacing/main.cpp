// A small firmware hosted by the emulator: a 5 ms loop that the emulator runs
// in bursts, a 10 ms periodic interrupt, and the time base read both from the
// process clock and, in manual time mode, from time advanced by hand.
#include <ferrow/ferrow.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

constexpr int kLoopPaceMs = 5;
constexpr unsigned long kTickMs = 10;

std::atomic<unsigned long> g_loopCalls{0};
std::atomic<unsigned long> g_ticks{0};
std::atomic<unsigned long> g_lastLoopMs{0};

void DeviceMain(void* obj, int, char**) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    emu->t_init(1, kTickMs);
    emu->t_interrupt_set([](void*) { ++g_ticks; });
    std::printf("main: started at %lu ms, interrupt every %lu ms\n", emu->t_get_1ms(), kTickMs);
}

void DeviceLoop(void* obj) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    ++g_loopCalls;
    g_lastLoopMs = emu->t_get_1ms();
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 2.0;
    Ferrow_c emu(nullptr, nullptr, nullptr, nullptr, 0);
    emu.SetAutoConnect(0);
    emu.SetDeviceFunction(DeviceMain, DeviceLoop, kLoopPaceMs);
    emu.Start(argc, argv);

    const auto begin = std::chrono::steady_clock::now();
    const auto end = begin + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        std::printf("t=%6lu ms  100us=%8lu  loop calls=%5lu (last at %lu ms)  ticks=%4lu\n",
                    emu.t_get_1ms(), emu.t_get_100us(), g_loopCalls.load(), g_lastLoopMs.load(),
                    g_ticks.load());
    }
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    std::printf("loop: %.0f calls/s (pace %d ms asks for %d/s); interrupt: %.0f ticks/s\n",
                g_loopCalls.load() / elapsed, kLoopPaceMs, 1000 / kLoopPaceMs,
                g_ticks.load() / elapsed);
    const int stopResult = emu.Stop();
    std::printf("stop: %d\n", stopResult);

    // Manual time: the timer's ticks no longer count; time moves by hand.
    emu.t_init(0, kTickMs);
    emu.t_set_overwrite(1);
    const unsigned long before = emu.t_get_1ms();
    unsigned long handTicks = 0;
    emu.t_interrupt_set([](void*) { ++g_ticks; });
    const unsigned long ticksBefore = g_ticks.load();
    for (int i = 0; i < 3; ++i) emu.t_interrupt_exec(7);
    handTicks = g_ticks.load() - ticksBefore;
    std::printf("manual time: %lu ms -> %lu ms after 3 x 7 ms; 10ms=%lu 100us=%lu; "
                "interrupt ran %lu times\n",
                before, emu.t_get_1ms(), emu.t_get_10ms(), emu.t_get_100us(), handTicks);
    return stopResult == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

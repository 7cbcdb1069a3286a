// GPIO round trips per second: the operator (or a test) applies a level to an
// input pin and the firmware reads it back from the pin's register, each an
// exported call under the object's lock. The pin read is the last of `n`, so
// the cost of finding a pin by number shows.
#include <ferrow/Ferrow_GPIO_c.h>

#include <benchmark/benchmark.h>

namespace {

void BM_GpioSetGetRoundTrip(benchmark::State& state) {
    // Pins need no emulator; the calls are the same as with one.
    Ferrow_GPIO_c gpio(nullptr, 0, 1);
    const auto pins = static_cast<unsigned long>(state.range(0));
    for (unsigned long pin = 0; pin < pins; ++pin) gpio.AddPin(pin);
    const unsigned long last = pins - 1;
    int level = 0;
    int value = 0;
    for (auto _ : state) {
        gpio.SetValPin(last, level);
        gpio.GetValReg(last, &value);
        benchmark::DoNotOptimize(value);
        level ^= 1;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GpioSetGetRoundTrip)->Arg(1)->Arg(16)->Arg(64);

}  // namespace

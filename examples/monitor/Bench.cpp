#include "Bench.h"

#include "MonitorBoard.h"
#include "MonitorDevice.h"

#include <ferrow/ferrow.h>

#include <cmath>

using namespace monitor;

namespace {

constexpr unsigned char kBenchChannels = 2;
constexpr unsigned char kBenchBits = 16;

}  // namespace

Bench::Bench(MonitorDevice& device)
    : emu_(*device.Emulator()),
      rpmChannel_(emu_.adc->GetTotalChannel(-1)),
      cabinChannel_(rpmChannel_ + 1),
      capture_(emu_.icap->PN2hndl(kPinEngine)) {
    Ferrow_ADC_c& adc = *emu_.adc;
    const int group = adc.AddChannel(kBenchChannels, kBenchBits, 1, 0, 0);
    adc.SetConfig(group, 0, kBenchRpmMax, 0);
    adc.SetName(group, 0, "BENCH RPM");
    adc.SetConfig(group, 1, kBenchCabinMax, kBenchCabinMin);
    adc.SetName(group, 1, "BENCH CABIN");
    Follow(rpmChannel_, lastRpm_, engine_.Rpm());
    Follow(cabinChannel_, lastCabin_, sensor_.Celsius() * kBenchCabinPerDegree);
    sensor_.Attach(*emu_.i2c);
}

void Bench::Step() {
    if (Moved(rpmChannel_, lastRpm_)) {
        engine_.SetRpm(static_cast<double>(lastRpm_));
    } else {
        Follow(rpmChannel_, lastRpm_, engine_.Rpm());
    }
    if (Moved(cabinChannel_, lastCabin_)) {
        sensor_.SetCelsius(lastCabin_ / kBenchCabinPerDegree);
    } else {
        Follow(cabinChannel_, lastCabin_, sensor_.Celsius() * kBenchCabinPerDegree);
    }
    // The capture timer counts microseconds and wraps at 2^32, as the time base does.
    const uint32_t nowUs = static_cast<uint32_t>(emu_.t_get_1ms() * 1000UL);
    if (capture_ >= 0) engine_.Emit(*emu_.icap, capture_, nowUs);
}

bool Bench::Moved(int channel, long& last) {
    long value = 0;
    if (emu_.adc->GetValue(channel, &value) != 0 || value == last) return false;
    last = value;
    return true;
}

void Bench::Follow(int channel, long& last, double value) {
    const long shown = std::lround(value);
    if (shown == last) return;
    // The channel clamps into its range; `last` keeps what it holds.
    emu_.adc->SetValue(channel, shown);
    emu_.adc->GetValue(channel, &last);
}

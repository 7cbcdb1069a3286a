// PWM period and width conversions, kept apart from the outputs so that their
// rounding and wrapping can be checked value by value.
#include "peripherals/pwm/PwmTiming.h"

#include <algorithm>

namespace ferrow::peripherals::pwm {

std::optional<uint32_t> FrequencyFromPeriod(uint32_t periodNs) {
    if (periodNs == 0) return std::nullopt;
    // Cannot wrap: half of the largest period added to one second stays below 2^32.
    return (kNsPerSecond + periodNs / 2) / periodNs;
}

uint32_t PeriodFromFrequency(uint32_t hz) { return hz == 0 ? 0 : kNsPerSecond / hz; }

std::optional<uint32_t> DutyFromWidth(uint32_t hz, uint32_t widthNs) {
    if (widthNs == 0) return std::nullopt;
    // Widened: in 32 bits a width longer than the period at a high frequency
    // (100 kHz and 50 us) would wrap to a partial duty, where the output is
    // in truth fully on.
    const uint64_t duty = (uint64_t{hz} * widthNs + kWidthScale / 2) / kWidthScale;
    return static_cast<uint32_t>(std::min<uint64_t>(duty, kFullDuty));
}

uint32_t WidthFromDuty(uint32_t hz, uint32_t duty) {
    if (hz == 0) return 0;
    // Wraps as on the device once duty x 10,000 plus half the frequency
    // passes 2^32, as a duty set directly above 429,496 does.
    const uint32_t scaled = duty * kWidthScale + hz / 2;
    return scaled / hz;
}

}  // namespace ferrow::peripherals::pwm

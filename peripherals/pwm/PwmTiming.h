// Conversions between the two ways firmware states a PWM output: frequency
// and duty, or period and pulse width in nanoseconds. Unsigned 32-bit integer
// arithmetic as on the device, so results round and wrap as they do there;
// only a width's product with the frequency is widened.
#pragma once

#include <cstdint>
#include <optional>

namespace ferrow::peripherals::pwm {

constexpr uint32_t kNsPerSecond = 1000000000;
// Duty is in thousandths of a percent.
constexpr uint32_t kFullDuty = 100000;
// ns x Hz / kWidthScale gives thousandths of a percent.
constexpr uint32_t kWidthScale = 10000;

// Rounded to the nearest hertz; none for a zero period.
std::optional<uint32_t> FrequencyFromPeriod(uint32_t periodNs);
// Truncated; 0 for a zero frequency.
uint32_t PeriodFromFrequency(uint32_t hz);
// Rounded, at most full duty, never wrapped; none for a zero width.
std::optional<uint32_t> DutyFromWidth(uint32_t hz, uint32_t widthNs);
// Rounded to the nearest nanosecond; 0 for a zero frequency.
uint32_t WidthFromDuty(uint32_t hz, uint32_t duty);

}  // namespace ferrow::peripherals::pwm

// The PWM conversions at their rounding, limit and 32-bit edges. Expected
// values are worked out by hand; comments give the exact quotient.
#include "peripherals/pwm/PwmTiming.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

using namespace ferrow::peripherals::pwm;

namespace {

struct Row {
    uint32_t a, b;
    std::optional<uint32_t> expected;
};

template <class Convert>
void Check(const char* what, const std::initializer_list<Row>& rows, Convert convert) {
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(what) + std::to_string(row.a) + ", " + std::to_string(row.b));
        EXPECT_EQ(std::optional<uint32_t>(convert(row.a, row.b)), row.expected);
    }
}

}  // namespace

TEST(PwmTiming, APeriodBecomesARoundedFrequencyAndComesBackTruncated) {
    Check("FrequencyFromPeriod ",
          {{0, 0, std::nullopt}, {1, 0, 1000000000}, {3, 0, 333333333},  // 333,333,333.3
           {600000, 0, 1667}, {300000, 0, 3333},                          // 1,666.7; 3,333.3
           {400000000, 0, 3}, {2000000000, 0, 1},                         // 2.5 and 0.5 go up
           {2000000001, 0, 0}, {4294967295u, 0, 0}},
          [](uint32_t period, uint32_t) { return FrequencyFromPeriod(period); });
    Check("PeriodFromFrequency ",
          {{0, 0, 0}, {1, 0, 1000000000}, {3, 0, 333333333},
           {1667, 0, 599880}, {3333, 0, 300030},  // 599,880.02; 300,030.003
           {1000000000, 0, 1}, {1000000001, 0, 0}, {4294967295u, 0, 0}},
          [](uint32_t hz, uint32_t) { return PeriodFromFrequency(hz); });
}

TEST(PwmTiming, AWidthBecomesADutyOfAtMostFullWithoutWrappingButComesBackWrappedAsOnTheDevice) {
    Check("DutyFromWidth ",
          {{1000, 0, std::nullopt}, {0, 1, 0}, {1, 4999, 0}, {1, 5000, 1},  // 0.5, 0.9999, 1.0
           {1000, 250000, 25000}, {1000, 999994, 99999}, {1000, 999995, 100000},
           {1000, 1000005, 100000}, {1000, 2000000, 100000},  // 100,001 and 200,000 limited
           {100000, 50000, 100000},    // 5e9: 70,503 had it wrapped
           {65536, 65536, 100000},     // 2^32: 0 had it wrapped
           {1, 4294967295u, 100000}},  // adding 5,000 would wrap
          DutyFromWidth);
    Check("WidthFromDuty ",
          {{0, 50000, 0}, {1000, 25000, 250000}, {2000, 100000, 500000},  // 250,000.5; 500,000.5
           {20000, 1, 1}, {20001, 1, 0}, {3, 1, 3333},                     // 1.0, 0.99995, 3,333.7
           {1000, 150000, 1500000},    // above full duty, as set directly
           {1, 429496, 4294960000u},   // the largest duty that does not wrap
           {1, 429497, 2704},          // 4,294,970,000 wraps
           {20000, 429496, 0}},        // adding 10,000 wraps to 2,704
          WidthFromDuty);
}

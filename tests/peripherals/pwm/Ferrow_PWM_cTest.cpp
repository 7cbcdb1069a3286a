// PWM outputs: initial settings, refusals, period and width kept as
// frequency and duty, 32-bit and 8-bit stores.
#include <ferrow/Ferrow_PWM_c.h>

#include <gtest/gtest.h>

#include <climits>
#include <iterator>

namespace {

unsigned long Get(Ferrow_PWM_c& pwm, int (Ferrow_PWM_c::*getter)(unsigned long, unsigned long*)) {
    unsigned long value = 99;
    EXPECT_EQ((pwm.*getter)(0x30, &value), 0);
    return value;
}

}  // namespace

TEST(Pwm, ANewOutputIsEnabledWithConfigurationOneAndRefusedCallsChangeNothing) {
    Ferrow_PWM_c pwm(nullptr, 0, 1);
    EXPECT_EQ(pwm.AddPin(0x30, 7), 0);
    EXPECT_EQ(pwm.ID2PN(1), ULONG_MAX);
    int config = -7;
    EXPECT_EQ(pwm.GetConfig(0x30, &config), 0);
    EXPECT_EQ(config, 1);
    EXPECT_EQ(pwm.IsEnabled(0x30), 1);
    pwm.SetFreq(0x30, 1000);
    pwm.SetDuty(0x30, 25000);
    unsigned long out = 0;
    const int results[] = {
        pwm.SetPeriod(0x30, 0), pwm.SetPeriod(0x30, static_cast<unsigned long>(0x1'0000'0000ULL)),
        pwm.SetWidth(0x30, 0), pwm.GetPeriod(0x30, nullptr), pwm.GetWidth(0x30, nullptr),
        pwm.GetDuty(0x30, nullptr), pwm.SetWidth(0x99, 1), pwm.SetDutyDelay(0x99, 1, 1),
        pwm.GetFreq(0x99, &out), pwm.IsEnabled(0x99)};
    for (size_t i = 0; i < std::size(results); ++i) EXPECT_EQ(results[i], -1) << "call " << i;
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetFreq), 1000u);
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetDuty), 25000u);
}

TEST(Pwm, PeriodAndWidthAreKeptAsFrequencyAndDutyAndStoresWrapAsOnTheDevice) {
    Ferrow_PWM_c pwm(nullptr, 0, 1);
    pwm.AddPin(0x30, 0);
    EXPECT_EQ(pwm.SetPeriod(0x30, 300000), 0);
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetFreq), 3333u);
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetPeriod), 300030u);
    pwm.SetFreq(0x30, 1000);
    EXPECT_EQ(pwm.SetWidth(0x30, 250000), 0);
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetDuty), 25000u);
    // 2,000 Hz once wrapped to 32 bits.
    pwm.SetFreq(0x30, static_cast<unsigned long>(0x1'0000'07D0ULL));
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetWidth), 125000u) << "a new frequency keeps the duty";
    EXPECT_EQ(pwm.SetDutyDelay(0x30, 150000, 7), 0);
    EXPECT_EQ(Get(pwm, &Ferrow_PWM_c::GetDuty), 150000u) << "a duty set directly is not limited";
    EXPECT_EQ(pwm.Enable(0x30, -1), 0);
    EXPECT_EQ(pwm.IsEnabled(0x30), 255);
}

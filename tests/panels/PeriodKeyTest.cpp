#include "panels/DisplayPeriods.h"
#include "panels/PeriodKey.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace ferrow::panels {
namespace {

TEST(PeriodKeyTest, NamesTheKeyInWideAndEightBitTextCutToLengthAndNarrowedToTheLowByte) {
    EXPECT_STREQ(PeriodKey(L"ADC").Wide(), L"ADC_DISP_PERIOD");
    const PeriodKey key(L"ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(std::wcslen(key.Wide()), 31u);
    EXPECT_STREQ(key.Wide(), L"ABCDEFGHIJKLMNOPQRSTUVWXYZ_DISP");
    EXPECT_STREQ(PeriodKey(L"\x0141X").Narrow(), "AX_DISP_PERIOD");
}

TEST(PeriodKeyTest, OneSlotPerConfigurationAndName) {
    int configA = 0;
    int configB = 0;
    DisplayPeriods::Slot& adc = DisplayPeriods::For(&configA, L"ADC");
    adc.period = 200;
    EXPECT_EQ(&DisplayPeriods::For(&configA, L"ADC"), &adc) << "a rebuilt panel finds its slot";
    EXPECT_EQ(DisplayPeriods::For(&configA, L"ADC").period, 200);
    EXPECT_NE(&DisplayPeriods::For(&configB, L"ADC"), &adc);
    EXPECT_NE(&DisplayPeriods::For(&configA, L"PWM"), &adc);
    EXPECT_STREQ(DisplayPeriods::For(&configA, L"PWM").key.Narrow(), "PWM_DISP_PERIOD");
}

}  // namespace
}  // namespace ferrow::panels

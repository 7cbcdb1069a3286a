#include "panels/SliderMapping.h"

#include <gtest/gtest.h>

#include <climits>

namespace ferrow::panels {
namespace {

TEST(SliderMappingTest, TicksAreUnitsUpToTwentyThenATwentiethOfTheSpan) {
    EXPECT_EQ(SliderMapping::TickFrequency(15, 0), 1);
    EXPECT_EQ(SliderMapping::TickFrequency(20, 0), 1);
    EXPECT_EQ(SliderMapping::TickFrequency(21, 0), 1);
    EXPECT_EQ(SliderMapping::TickFrequency(1000, 0), 50);
    EXPECT_EQ(SliderMapping::TickFrequency(1023, 0), 51);
    EXPECT_EQ(SliderMapping::TickFrequency(100000, 0), 5000);
    EXPECT_EQ(SliderMapping::TickFrequency(INT_MAX, INT_MIN), 214748364)
        << "the full 32-bit span must not overflow";

    EXPECT_TRUE(SliderMapping::TicksFit(-1023, 0, 51));
    EXPECT_TRUE(SliderMapping::TicksFit(INT_MAX - 40, INT_MAX, 20)) << "ends exactly on the top";
    EXPECT_FALSE(SliderMapping::TicksFit(INT_MAX - 40, INT_MAX, 21));
    EXPECT_FALSE(SliderMapping::TicksFit(-INT_MAX, INT_MAX, 214748364))
        << "the full range's twentieth steps past the top";
    EXPECT_FALSE(SliderMapping::TicksFit(0, 10, 0));
}

TEST(SliderMappingTest, LargerValuesStandHigherAndTheExtremesMapSafely) {
    EXPECT_LT(SliderMapping::Position(1023), SliderMapping::Position(0));
    EXPECT_EQ(SliderMapping::Value(SliderMapping::Position(-5)), -5);
    EXPECT_EQ(SliderMapping::Position(INT_MAX), -INT_MAX);
    EXPECT_EQ(SliderMapping::Position(INT_MIN), INT_MAX);
    EXPECT_EQ(SliderMapping::Value(INT_MIN), INT_MAX);
}

}  // namespace
}  // namespace ferrow::panels

#include "panels/ColumnLayout.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace ferrow::panels {
namespace {

TEST(ColumnLayoutTest, EveryColumnGetsItsNeedAndTheSpareWidthByItsShare) {
    const std::vector<int> needs{20, 40, 40, 40, 60};
    const std::vector<int> fitted = ColumnLayout::Fit(ColumnLayout::Adc(), needs, 300);
    EXPECT_EQ(fitted, (std::vector<int>{28, 55, 55, 55, 107}))
        << "100 spare over shares 8/15/15/15/46 of 99; the rounding goes to the last";

    // The GPIO shares add up to more than 100.
    const std::vector<int> gpio = ColumnLayout::Fit(ColumnLayout::Gpio(), needs, 401);
    EXPECT_EQ(std::accumulate(gpio.begin(), gpio.end(), 0), 401);
    for (size_t i = 0; i < needs.size(); ++i) EXPECT_GE(gpio[i], needs[i]) << i;

    EXPECT_EQ(ColumnLayout::Fit(ColumnLayout::Adc(), needs, 199), needs)
        << "too narrow a list scrolls: nothing is cut below its need";
    EXPECT_EQ(ColumnLayout::Fit(ColumnLayout::Icap(), {30, -5}, -10), (std::vector<int>{30, 0, 0}))
        << "missing and negative needs count as 0";
    EXPECT_TRUE(ColumnLayout::Fit({}, {}, 100).empty());
}

}  // namespace
}  // namespace ferrow::panels

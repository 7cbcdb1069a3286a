// The trend strip's data: which samples a minute keeps and where they land.
#include "panels/model/TrendSeries.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

namespace ferrow::panels {

void PrintTo(TrendSeries::Point p, std::ostream* out) { *out << "(" << p.x << "," << p.y << ")"; }

}  // namespace ferrow::panels

namespace {

using ferrow::panels::TrendSeries;
using Style = TrendSeries::Style;

std::vector<int64_t> Values(const TrendSeries& series) {
    std::vector<int64_t> values;
    for (const TrendSeries::Sample& s : series.InView()) values.push_back(s.value);
    return values;
}

using Points = std::vector<TrendSeries::Point>;

TEST(TrendSeries, KeepsTheNewestMinuteInARingSizedForThePeriod) {
    EXPECT_EQ(TrendSeries(Style::Line, 50).Capacity(), 1201u);
    EXPECT_EQ(TrendSeries(Style::Line, 0).Capacity(), TrendSeries::kMaxSamples);
    EXPECT_EQ(TrendSeries(Style::Line, 1000000).Capacity(), 2u);

    TrendSeries series(Style::Line, 20000);
    ASSERT_EQ(series.Capacity(), 4u);
    EXPECT_TRUE(series.InView().empty());
    EXPECT_FALSE(series.Scale());
    for (int i = 0; i < 6; ++i) series.Add(i * 20000, 100 + i);
    EXPECT_EQ(Values(series), (std::vector<int64_t>{102, 103, 104, 105}))
        << "the ring keeps its newest four, oldest first";
    series.Add(150000, 106);
    EXPECT_EQ(Values(series), (std::vector<int64_t>{105, 106}))
        << "60000 and 80000 lie more than a minute before 150000";
    series.Add(149999, 1);
    EXPECT_EQ(Values(series).back(), 106) << "a sample from the past is dropped";

    series.Clear();
    EXPECT_TRUE(series.InView().empty());
    series.Add(5, -7);
    EXPECT_EQ(Values(series), (std::vector<int64_t>{-7}));
}

TEST(TrendSeries, ALineSpansTheBoxBetweenItsSmallestAndLargestValue) {
    TrendSeries series(Style::Line, 50);
    const TrendSeries::Box box{10, 20, 601, 101};
    series.Add(1000, 0x7FFFFFFF);
    series.Add(31000, -2147483648LL);
    series.Add(61000, 0);
    const auto span = series.Scale();
    ASSERT_TRUE(span);
    EXPECT_EQ(span->minimum, -2147483648LL);
    EXPECT_EQ(span->maximum, 0x7FFFFFFF);
    // x: 600 px over 60000 ms; y: 100 px over the 2^32 - 1 span, larger up.
    EXPECT_EQ(series.Plot(box), (Points{{10, 20}, {310, 120}, {610, 70}}));

    series.Add(121000, 5);
    EXPECT_EQ(series.Plot(box), (Points{{10, 120}, {610, 20}}))
        << "the scale follows what is in view: only 0 and 5 are";

    series.Add(121000, 5);
    series.Add(151000, 5);
    series.Add(181000, 5);
    EXPECT_EQ(series.Plot(box), (Points{{10, 70}, {610, 70}}))
        << "a flat value is one segment through the middle";
    EXPECT_TRUE(series.Plot({0, 0, 0, 10}).empty());
    EXPECT_TRUE(series.Plot({0, 0, 10, 0}).empty());
}

TEST(TrendSeries, ALogicTraceHoldsEachLevelUntilTheNextSample) {
    TrendSeries series(Style::Logic, 50);
    const TrendSeries::Box box{0, 0, 61, 11};
    const int64_t levels[] = {0, 1, 1, 7, 0};
    for (int i = 0; i < 5; ++i) series.Add(i * 15000, levels[i]);
    const auto span = series.Scale();
    ASSERT_TRUE(span);
    EXPECT_EQ(span->minimum, 0);
    EXPECT_EQ(span->maximum, 1);
    EXPECT_EQ(series.Plot(box), (Points{{0, 10}, {15, 10}, {15, 0}, {60, 0}, {60, 10}}))
        << "any level but 0 is high; a steady level is one segment";
}

}  // namespace

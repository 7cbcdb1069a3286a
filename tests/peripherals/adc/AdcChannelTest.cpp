// Window arithmetic of a channel's sample queue, checked against sums
// recomputed from a model of the ring: sliding windows below, at and above
// the queue length, resets that keep the stored samples, and the rounding of
// averages.
#include "peripherals/adc/AdcChannel.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

using ferrow::peripherals::AdcChannel;
using ferrow::peripherals::Repr;
using ferrow::peripherals::SampleFormat;

namespace {

constexpr SampleFormat kU12{12, true};

// The ring as the channel must see it: a reset moves the writer to 0 and
// keeps the slots, and slots never written hold 0.
struct Model {
    struct Sums {
        int32_t sum = 0;
        uint64_t squares = 0;
    };

    explicit Model(uint32_t q) : slots(q) {}

    void Put(int32_t v) {
        slots[w] = v;
        w = (w + 1) % slots.size();
    }

    // Of the n slots before the writer.
    Sums Window(uint32_t n) const {
        Sums e;
        const size_t q = slots.size();
        for (uint32_t back = 1; back <= n; ++back) {
            const int32_t v = slots[(w + q - back) % q];
            e.sum += v;
            e.squares += kU12.DeviationSquare(v);
        }
        return e;
    }

    std::vector<int32_t> slots;
    size_t w = 0;
};

// A reader that keeps up, so the queue never refuses a put.
void PutRead(AdcChannel& c, Model& model, int32_t v) {
    ASSERT_TRUE(c.Put(v));
    c.Skip(INT_MAX);
    model.Put(v);
}

int32_t Sample(int i) { return (i * 733 + 91) % 4096; }

}  // namespace

TEST(AdcChannel, WindowSumsMatchTheStoredWindowAfterSetupAndReset) {
    constexpr uint32_t kQ = 8;
    // 0: no QSetup at all, the window set up at creation.
    for (uint32_t n : {0u, 1u, 3u, 7u, 8u}) {
        SCOPED_TRACE(::testing::Message() << "window " << n);
        AdcChannel c(kU12, kQ);
        Model model(kQ);
        for (int i = 0; i < 11; ++i) PutRead(c, model, Sample(i));
        if (n != 0) {
            ASSERT_TRUE(c.Setup(n));
        }
        const uint32_t window = n != 0 ? n : kQ;
        // 37 puts leave the writer off slot 0, so a reset moves it.
        for (int i = 11; i < 37; ++i) {
            SCOPED_TRACE(i);
            const Model::Sums e = model.Window(window);
            ASSERT_EQ(c.SumAs(Repr::Stored), uint32_t(e.sum));
            ASSERT_EQ(c.SumOfSquares(), e.squares);
            PutRead(c, model, Sample(i));
        }
        c.Reset();
        model.w = 0;
        EXPECT_EQ(c.SumAs(Repr::Stored), 0u);
        EXPECT_EQ(c.SumOfSquares(), 0u);
        ASSERT_TRUE(c.Setup(window));
        for (int i = 0; i < 12; ++i) {
            SCOPED_TRACE(::testing::Message() << "after reset " << i);
            const Model::Sums e = model.Window(window);
            ASSERT_EQ(c.SumAs(Repr::Stored), uint32_t(e.sum)) << "the stored samples stay";
            ASSERT_EQ(c.SumOfSquares(), e.squares);
            PutRead(c, model, Sample(i + 100));
        }
    }
}

TEST(AdcChannel, WindowLongerThanTheQueueReportsTheLastCompleteBlock) {
    AdcChannel c({12, false}, 8);
    ASSERT_TRUE(c.Setup(20));
    Model model(8);
    for (int i = 1; i <= 40; ++i) {
        SCOPED_TRACE(i);
        PutRead(c, model, i);
        const int32_t block = i < 20 ? 0 : i < 40 ? 210 : 610;  // 1..20, 21..40
        EXPECT_EQ(c.SumAs(Repr::Stored), uint32_t(block));
    }
    uint64_t squares = 0;
    for (uint64_t v = 21; v <= 40; ++v) squares += v * v;
    EXPECT_EQ(c.SumOfSquares(), squares);
    ASSERT_EQ(c.AverageAs(Repr::Stored), std::optional<uint32_t>(31));  // 610 / 20 = 30.5
}

TEST(AdcChannel, AveragesRoundHalfAwayFromZero) {
    struct Case { int32_t sum; uint32_t n; int32_t average; };
    const Case cases[] = {
        {12, 8, 2}, {-12, 8, -2}, {11, 8, 1}, {-11, 8, -1}, {4, 8, 1}, {-4, 8, -1}, {-3, 8, 0},
        {-5, 3, -2}, {INT_MIN, 1, INT_MIN}, {INT_MIN, 2, -1073741824}, {INT_MIN, 0xFFFFFFFFu, -1},
        {INT_MAX, 0xFFFFFFFFu, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.sum << " / " << c.n);
        EXPECT_EQ(AdcChannel::RoundedAverage(c.sum, c.n), c.average);
    }
}

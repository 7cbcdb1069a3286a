// The exported ADC as firmware and panel use it: groups and ids, the two
// SetValue forms, the read modes, refused arguments, and one channel shared
// by a writer thread and a reader thread.
#include <ferrow/Ferrow_ADC_c.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

namespace {

// Group 0: four 12-bit unsigned channels, queues of 8 (ids 0-3);
// group 1: two 10-bit signed channels (ids 4, 5).
struct TwoGroups : ::testing::Test {
    void SetUp() override {
        ASSERT_EQ(adc.AddChannel(4, 12, 8, 1, 0), 0);
        ASSERT_EQ(adc.AddChannel(2, 10, 8, 0, 0), 1);
    }
    Ferrow_ADC_c adc{nullptr, 0, 1};
};

}  // namespace

TEST_F(TwoGroups, IdsRunOverTheGroupsInCreationOrderAndUnknownIdsAndNullOutputsAreRefused) {
    EXPECT_EQ(adc.GetTotalChannel(-1), 6);
    EXPECT_EQ(adc.GetTotalChannel(1), 2);
    EXPECT_EQ(adc.GetTotalChannel(2), -1);
    struct Case { int id; int handle; int sub; };
    for (const Case& c : {Case{0, 0, 0}, Case{3, 0, 3}, Case{4, 1, 0}, Case{5, 1, 1}}) {
        SCOPED_TRACE(c.id);
        ASSERT_EQ(adc.SetValue(c.handle, c.sub, 100 + c.id), 0);
        long value = 0;
        EXPECT_EQ(adc.GetValue(c.id, &value), 0);
        EXPECT_EQ(value, 100 + c.id);
    }
    long value = 0;
    uint64_t u64 = 0;
    for (int unknown : {6, -1, INT_MIN}) {
        SCOPED_TRACE(unknown);
        EXPECT_EQ(adc.GetValue(unknown, &value), -1);
        EXPECT_EQ(adc.QReset(unknown), -1);
        EXPECT_EQ(adc.QPut(unknown, 1), -1);
        EXPECT_EQ(adc.QGet(unknown, &value, 1, 1), -1);
        EXPECT_EQ(adc.QSkip(unknown, 1), -1);
        EXPECT_EQ(adc.QGetSum2(unknown, &u64), -1);
    }
    EXPECT_EQ(adc.GetValue(0, 4, &value), -1);
    EXPECT_EQ(adc.GetValue(-1, 0, &value), -1);
    EXPECT_EQ(adc.GetValue(0, 0, nullptr), -1);
    EXPECT_EQ(adc.QGetID(0, nullptr, 1, nullptr, nullptr), -1);
    EXPECT_EQ(adc.QGetAvgI(0, nullptr), -1);
    EXPECT_EQ(adc.QGetSum2(0, nullptr), -1);
    EXPECT_EQ(adc.QSetup(0, 0), -1) << "an empty window";
    EXPECT_EQ(adc.QSetup(0, static_cast<unsigned long>(0x100000000ULL)), -1);
    char name[8];
    ASSERT_EQ(adc.SetName(1, 1, "trim"), 0);
    ASSERT_EQ(adc.GetName(5, name), 0);
    EXPECT_STREQ(name, "trim");
}

TEST_F(TwoGroups, HandleFormRefusesOutOfRangeWhileIdFormClamps) {
    long max = 0, min = 0, value = 0;
    ASSERT_EQ(adc.GetConfig(1, 1, &max, &min), 0);
    EXPECT_EQ(max, 511);
    EXPECT_EQ(min, -512);
    ASSERT_EQ(adc.SetValue(0, 0, 300), 0);
    EXPECT_EQ(adc.SetValue(0, 0, 5000), -1);
    adc.GetValue(0, 0, &value);
    EXPECT_EQ(value, 300);
    struct Case { int id; long set; long stored; };
    for (const Case& c : {Case{0, 5000, 4095}, Case{0, -1, 0}, Case{4, LONG_MAX, 511}, Case{4, LONG_MIN, -512}}) {
        SCOPED_TRACE(c.set);
        ASSERT_EQ(adc.SetValue(c.id, c.set), 0);
        adc.GetValue(c.id, &value);
        EXPECT_EQ(value, c.stored);
    }
    EXPECT_EQ(adc.SetConfig(0, 0, 100, 100), -1);
    EXPECT_EQ(adc.SetConfig(0, 0x80000000L, 0), -1);
    ASSERT_EQ(adc.SetConfig(0, 1, 100, -100), 0);
    ASSERT_EQ(adc.SetValue(1, -1000), 0);
    adc.GetValue(1, &value);
    EXPECT_EQ(value, -100);
}

// Each I and U reader must apply its own conversion: a reader wired to the
// wrong mode shows here.
TEST_F(TwoGroups, EveryReaderReturnsItsRepresentation) {
    long l[2] = {7, 7};
    unsigned long u[2] = {};
    EXPECT_EQ(adc.QGetI(0, l, 2, 1), 0);
    EXPECT_EQ(l[0], 0) << "before any put: the current value, unconverted";
    adc.QPut(0, 8);
    adc.QPut(0, 16);
    adc.QPut(4, -512);
    struct Case { const char* reader; int result; long got; long expected; };  // result: count or 0
    const Case cases[] = {
        {"GetValueI 0", adc.GetValueI(0, l), l[0], 16 - 2048},
        {"GetValueU 4", adc.GetValueU(4, u), long(u[0]), 0},
        {"QGetI 0", adc.QGetI(0, l, 1, 0), l[0], 8 - 2048},
        {"QGetU 4", adc.QGetU(4, u, 1, 0), long(u[0]), 0},
        {"QGetID_I 0", adc.QGetID_I(0, l, 1, nullptr, nullptr), l[0], 8 - 2048},
        {"QGetID_U 4", adc.QGetID_U(4, u, 1, nullptr, nullptr), long(u[0]), 0},
        {"QGetSum 0", adc.QGetSum(0, l), l[0], 24},
        {"QGetSumI 0", adc.QGetSumI(0, l), l[0], 24 - 8 * 2048},
        {"QGetSumU 4", adc.QGetSumU(4, u), long(u[0]), -512 + 8 * 512},
        {"QGetAvg 0", adc.QGetAvg(0, l), l[0], 3},
        {"QGetAvgI 0", adc.QGetAvgI(0, l), l[0], 3 - 2048},
        {"QGetAvgU 4", adc.QGetAvgU(4, u), long(u[0]), 448},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reader);
        EXPECT_GE(c.result, 0);
        EXPECT_EQ(c.got, c.expected);
    }
    uint64_t squares = 0;
    ASSERT_EQ(adc.QGetSum2(4, &squares), 0);
    EXPECT_EQ(squares, 512u * 512u);
}

// Seven samples stored in slots 0 to 6 of ids 0 and 1, the readers on slot 6.
TEST_F(TwoGroups, AResetEmptiesTheQueueButKeepsTheStoredSamplesForTheNextSetup) {
    ASSERT_EQ(adc.QSetup(1, 4), 0);
    for (int id : {0, 1}) {
        for (long v = 10; v <= 70; v += 10) {
            ASSERT_EQ(adc.QPut(id, v), 0);
            adc.QSkip(id, 1);
        }
        ASSERT_EQ(adc.QReset(id), 0);
    }
    long l[4] = {};
    unsigned long wrap = 9, position = 9;
    EXPECT_EQ(adc.QGetID_I(0, l, 4, &wrap, &position), 0);
    EXPECT_EQ(l[0], 70) << "empty again: the current value, unconverted";
    EXPECT_EQ(wrap + position, 0u);
    long sum = -1, average = -1;
    adc.QGetSum(0, &sum);
    adc.QGetAvg(0, &average);
    EXPECT_EQ(sum + average, 0);
    ASSERT_EQ(adc.QSetup(0, 4), 0);
    adc.QGetSum(0, &sum);
    EXPECT_EQ(sum, 180) << "the 4 slots before the writer, now at 0: 0 + 70 + 60 + 50";
    ASSERT_EQ(adc.QPut(0, 100), 0);
    adc.QGetSum(0, &sum);
    EXPECT_EQ(sum, 230) << "50 leaves the window";
    EXPECT_EQ(adc.QGet(0, l, 4, 0), 1) << "nothing from before the reset is read";
    EXPECT_EQ(l[0], 100);

    ASSERT_EQ(adc.QPut(1, 5), 0);
    adc.QGetSum(1, &sum);
    EXPECT_EQ(sum, 5 - 50) << "without a new setup the window restarts 4 slots before 0";
}

TEST(Ferrow_ADC_c, AddChannelRefusesWhatItCannotRepresent) {
    Ferrow_ADC_c adc(nullptr, 0, 1);
    struct Case { unsigned char count; unsigned char bits; unsigned long q; int isUnsigned; int result; };
    const Case cases[] = {
        {0, 12, 8, 1, -1}, {4, 0, 8, 1, -1}, {1, 32, 8, 1, -1}, {1, 33, 8, 0, -1}, {1, 12, 65536, 1, -1},
        {1, 12, ~0UL, 1, -1}, {1, 31, 8, 1, 0}, {1, 32, 65535, 0, 1}, {255, 1, 0, 0, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << int(c.count) << " x " << int(c.bits) << " bits, queue " << c.q);
        EXPECT_EQ(adc.AddChannel(c.count, c.bits, c.q, c.isUnsigned, 0), c.result);
    }
    EXPECT_EQ(adc.GetTotalChannel(-1), 257);
    long l = 0, max = 0, min = 0;
    adc.GetConfig(0, &max, &min);
    EXPECT_EQ(max, INT_MAX) << "31 bits unsigned";
    adc.GetConfig(1, &max, &min);
    EXPECT_EQ(min, INT_MIN) << "32 bits signed";
    EXPECT_EQ(adc.QPut(2, 1), -1) << "a queue of length 0 takes nothing";
    EXPECT_EQ(adc.QGetAvg(2, &l), -1) << "nor has it an average";
}

// The worker puts consecutive samples while the panel's thread reads: every
// read must show consecutive samples, the reader must see each one, and the
// window sum must always be that of consecutive samples.
TEST(Ferrow_ADC_c, WriterAndReaderThreadsSeeConsistentSamplesAndSums) {
    Ferrow_ADC_c adc(nullptr, 0, 1);
    ASSERT_EQ(adc.AddChannel(1, 24, 16, 0, 0), 0);
    constexpr long kN = 4;
    constexpr long kLast = 5000;
    ASSERT_EQ(adc.QSetup(0, kN), 0);

    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (long v = 1; v <= kLast && !stop;) {
            if (adc.QPut(0, v) == 0) {
                ++v;
            } else {
                std::this_thread::yield();
            }
        }
    });
    // The window sum after k puts: k + (k-1) + (k-2) + (k-3), zeros before 1.
    std::vector<long> windowSums{0, 1, 3, 6};
    for (long k = kN; k <= kLast; ++k) windowSums.push_back(4 * k - 6);
    long out[kN];
    long newest = 0;
    long lastSum = 0;
    bool consistent = true;
    // A fault must fail the test, not hang it: the reader gives up in time.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (newest < kLast && consistent && std::chrono::steady_clock::now() < deadline) {
        const int got = adc.QGet(0, out, kN, 1);
        for (int i = 1; i < got; ++i) consistent &= out[i] == out[0] - i;
        if (got > 0) {
            consistent &= out[0] == newest || out[0] == newest + 1;
            newest = out[0];
        }
        long sum = 0;
        adc.QGetSum(0, &sum);
        consistent &= sum >= lastSum && std::binary_search(windowSums.begin(), windowSums.end(), sum);
        lastSum = sum;
    }
    stop = true;
    writer.join();
    EXPECT_TRUE(consistent) << "newest " << newest << ", sum " << lastSum;
    EXPECT_EQ(newest, kLast);
    long sum = 0;
    adc.QGetSum(0, &sum);
    EXPECT_EQ(sum, windowSums.back());
}

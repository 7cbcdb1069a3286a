// Input capture and output compare as firmware uses them: masking to the
// timer's width, capture counts, what the capture queue does differently
// from the ADC's, pin lookups, and refused arguments.
#include <ferrow/Ferrow_ICAP_c.h>
#include <ferrow/Ferrow_OCMP_c.h>

#include <gtest/gtest.h>

TEST(Ferrow_ICAP_c, ValuesAreMaskedToTheTimerWidthAndCounted) {
    Ferrow_ICAP_c icap(nullptr, 0, 1);
    // `in` is wider than unsigned long on Windows, where the call cuts it to 32 bits.
    struct Case { unsigned char bits; unsigned long long in; unsigned long kept; };
    const Case cases[] = {
        {1, 0x3, 0x1}, {16, 0x12345, 0x2345}, {31, 0xFFFFFFFF, 0x7FFFFFFF}, {32, 0xFFFFFFFF, 0xFFFFFFFF},
        {33, 0x87654321, 0x87654321}, {255, 0x80000001, 0x80000001}, {32, 0x100000005, 0x5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << int(c.bits) << " bits, 0x" << std::hex << c.in);
        const int h = icap.AddPin(0x21, 0, c.bits, 4);
        unsigned long value = 0, count = 0, queued = 0;
        ASSERT_EQ(icap.SetValue(h, c.in), 0);
        ASSERT_EQ(icap.QPut(h, c.in), 0);
        ASSERT_EQ(icap.GetValue(h, &value, &count), 0);
        EXPECT_EQ(value, c.kept);
        EXPECT_EQ(count, 2u);
        ASSERT_EQ(icap.QGetID(h, &queued, 1, nullptr, nullptr), 1);
        EXPECT_EQ(queued, c.kept);
    }
}

TEST(Ferrow_ICAP_c, EmptyQueueWritesNothingAndRefusedCapturesAreNotCounted) {
    Ferrow_ICAP_c icap(nullptr, 0, 1);
    ASSERT_EQ(icap.AddPin(0x21, 0, 16, 4), 0);
    unsigned long out[4] = {99, 99}, seq = 99, value = 0, count = 0;
    EXPECT_EQ(icap.QGet(0, out, &seq, 2, 1), 0);
    EXPECT_EQ(out[0] + seq, 198u);
    for (unsigned long v : {10, 20, 30}) ASSERT_EQ(icap.QPut(0, v), 0);
    EXPECT_EQ(icap.QPut(0, 40), -1);
    icap.GetValue(0, &value, &count);
    EXPECT_EQ(value, 30u);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(icap.QGet(0, out, &seq, 2, 1), 1);
    EXPECT_EQ(icap.QGet(0, out, &seq, 2, 1), 2);
    EXPECT_EQ(seq, 1u) << "the reader's sample, before it steps on";
    EXPECT_EQ(out[1], 10u);
    ASSERT_EQ(icap.QReset(0), 0);
    EXPECT_EQ(icap.QGet(0, out, &seq, 4, 1), 0);
    icap.GetValue(0, &value, &count);
    EXPECT_EQ(value + count, 33u) << "the last capture and the count outlive a reset";
}

TEST(Ferrow_ICAP_c, PinsAreFoundByHandleAndByNumber) {
    Ferrow_ICAP_c icap(nullptr, 0, 1);
    EXPECT_EQ(icap.AddPin(0x21, 3, 16, 4), 0);
    EXPECT_EQ(icap.AddPin(0x22, 0, 0, 4), -1);
    EXPECT_EQ(icap.AddPin(0x22, 0, 16, 65536), -1);
    EXPECT_EQ(icap.AddPin(0x22, 0, 16, 0), 1);
    EXPECT_EQ(icap.AddPin(0x22, 0, 16, 1), 2);
    EXPECT_EQ(icap.GetTotalPin(), 3);
    EXPECT_EQ(icap.hndl2PN(1), 0x22u);
    for (int h : {-1, 3}) EXPECT_EQ(icap.hndl2PN(h), ~0UL);
    EXPECT_EQ(icap.PN2hndl(0x22), 1) << "the first pin with that number";
    EXPECT_EQ(icap.PN2hndl(0x99), -1);
    EXPECT_EQ(icap.QPut(1, 5), -1) << "a queue of length 0 takes nothing";
    unsigned char config = 0;
    ASSERT_EQ(icap.GetConfig(0, &config), 0);
    EXPECT_EQ(config, 3);
    unsigned long out = 0;
    EXPECT_EQ(icap.GetValue(0, nullptr, nullptr), -1);
    EXPECT_EQ(icap.QGet(0, nullptr, nullptr, 1, 1), -1);
    EXPECT_EQ(icap.QGet(3, &out, nullptr, 1, 1), -1);
    EXPECT_EQ(icap.SetValue(-1, 1), -1);
}

TEST(Ferrow_OCMP_c, IsAnInputCaptureObject) {
    Ferrow_OCMP_c ocmp(nullptr, 0, 1);
    ASSERT_EQ(ocmp.AddPin(0x30, 0, 8, 4), 0);
    ASSERT_EQ(ocmp.QPut(0, 0x1FF), 0);
    unsigned long out = 0, seq = 1;
    EXPECT_EQ(ocmp.QGet(0, &out, &seq, 1, 1), 1);
    EXPECT_EQ(out, 0xFFu);
}

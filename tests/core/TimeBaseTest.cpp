#include "core/Ferrow_Ctx_c.h"
#include "platform/ProcessClock.h"
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

using ferrow::platform::ProcessClock;
using ferrow::test::Eventually;
using ferrow::test::TestEmulator;
using namespace std::chrono_literals;

namespace {

std::atomic<int> g_plainTicks{0};
void PlainInterrupt() { ++g_plainTicks; }

// Ticks seen per emulator, and whether any tick reached a stranger.
std::mutex g_tickMutex;
std::map<void*, int> g_ticksByEmulator;
void CountingInterrupt(void* obj) {
    std::lock_guard<std::mutex> guard(g_tickMutex);
    ++g_ticksByEmulator[obj];
}
void ResetTicks() {
    std::lock_guard<std::mutex> guard(g_tickMutex);
    g_ticksByEmulator.clear();
}
int TicksOf(void* obj) {
    std::lock_guard<std::mutex> guard(g_tickMutex);
    return g_ticksByEmulator[obj];
}

std::atomic<uint32_t> g_lastTickMs{0};
std::atomic<int> g_tickDeltaErrors{0};
void DeltaInterrupt(void* obj) {
    const uint32_t now = static_cast<Ferrow_c*>(obj)->ctx->tickMs;
    const uint32_t last = g_lastTickMs.exchange(now);
    if (last != 0 && now - last != 1000) ++g_tickDeltaErrors;
}

}  // namespace

TEST(TimeBase, ReadingsFollowTheProcessClockUntilManualTime) {
    TestEmulator emu;
    for (int i = 0; i < 50; ++i) {
        const uint32_t before = ProcessClock::Ms();
        const uint32_t ms = emu->t_get_1ms();
        const uint32_t ns100 = emu->t_get_100ns();
        const uint32_t ms10 = emu->t_get_10ms();
        const uint32_t after = ProcessClock::Ms();
        ASSERT_LE(before, ms);
        ASSERT_LE(ms, after);
        ASSERT_EQ(ns100, static_cast<uint32_t>(uint64_t{ms} * 10000)) << "same millisecond";
        ASSERT_GE(ms10, before / 10);
        ASSERT_LE(ms10, after / 10);
    }
}

TEST(TimeBase, ManualTimeAdvancesOnlyByHandAndCallsTheInterruptEachStep) {
    TestEmulator emu;
    g_plainTicks = 0;
    emu->t_interrupt_set(PlainInterrupt);
    emu->t_init(0, 10);
    emu->t_set_overwrite(1);
    emu->t_interrupt_exec(7);
    EXPECT_EQ(g_plainTicks, 0) << "t_init clears an earlier interrupt function";

    emu->t_interrupt_set(PlainInterrupt);
    emu->t_interrupt_exec(7);
    emu->t_interrupt_exec(7);
    emu->t_interrupt_exec(7);
    const uint32_t expected = 28;
    EXPECT_EQ(emu->t_get_1ms(), expected);
    EXPECT_EQ(emu->t_get_10ms(), expected / 10);
    EXPECT_EQ(emu->t_get_100us(), expected * 10);
    EXPECT_EQ(emu->t_get_100ms(), 0u);
    EXPECT_EQ(emu->t_get_50ms(), 0u);
    EXPECT_EQ(emu->t_get_25ms(), 1u);
    EXPECT_EQ(emu->t_get_5ms(), 5u);
    EXPECT_EQ(g_plainTicks, 3);

    unsigned long seconds = 99, millis = 99;
    emu->t_interrupt_exec(2000);
    emu->t_get_time(&seconds, &millis);
    EXPECT_EQ(seconds, 2u);
    EXPECT_EQ(millis, 28u);
    emu->t_get_time(nullptr, nullptr);
}

TEST(TimeBase, ReadingsWrapAtThirtyTwoBitsLikeTheTargetsCounters) {
    TestEmulator emu;
    emu->t_init(0, 10);
    emu->t_set_overwrite(1);
    emu->t_interrupt_exec(429496);
    EXPECT_EQ(emu->t_get_100ns(), 4294960000ul);
    emu->t_interrupt_exec(1);
    EXPECT_EQ(emu->t_get_100ns(), 2704ul);
    EXPECT_EQ(emu->t_get_100us(), 4294970ul);

    emu->t_interrupt_exec(0xFFFFFFFFul - 429497ul);  // now at 2^32 - 1 ms
    EXPECT_EQ(emu->t_get_1ms(), 0xFFFFFFFFul);
    EXPECT_EQ(emu->t_get_100ms(), 0xFFFFFFFFul / 100);
    emu->t_interrupt_exec(3);
    EXPECT_EQ(emu->t_get_1ms(), 2ul);
    // Elapsed time across the wrap, computed as firmware does, stays right.
    EXPECT_EQ(static_cast<uint32_t>(emu->t_get_1ms() - 0xFFFFFFFFul), 3u);
}

TEST(TimeBase, TimerTicksAddThePeriodAndPauseInManualTime) {
    ResetTicks();
    TestEmulator emu;
    // Ticks before the interrupt is set would not be counted: hold them off.
    emu->t_set_overwrite(1);
    emu->t_init(0, 5);
    emu->t_interrupt_set(CountingInterrupt);
    emu->t_set_overwrite(0);
    void* self = emu.emu.get();
    ASSERT_TRUE(Eventually([&] { return TicksOf(self) >= 3; }));

    emu->t_set_overwrite(1);
    const uint32_t frozen = emu->t_get_1ms();
    const int ticks = TicksOf(self);
    std::this_thread::sleep_for(60ms);
    EXPECT_EQ(emu->t_get_1ms(), frozen);
    EXPECT_EQ(TicksOf(self), ticks);
    emu->t_interrupt_exec(5);
    EXPECT_EQ(TicksOf(self), ticks + 1);
    EXPECT_EQ(emu->t_get_1ms(), frozen + 5);

    emu->t_set_overwrite(0);
    ASSERT_TRUE(Eventually([&] { return TicksOf(self) >= ticks + 3; }));
    // Every tick adds exactly the period, whatever the real interval.
    emu->t_disable_int();
    EXPECT_EQ(emu->ctx->tickMs % 5, 0u);
    EXPECT_EQ(emu->ctx->tickMs / 5, static_cast<uint32_t>(TicksOf(self)));
}

TEST(TimeBase, ASecondInitChangesTheAmountPerTickNotTheTimer) {
    TestEmulator emu;
    emu->t_init(0, 5);
    const uint32_t timerId = emu->ctx->timerId;
    g_lastTickMs = 0;
    g_tickDeltaErrors = 0;
    emu->t_init(0, 1000);
    emu->t_interrupt_set(DeltaInterrupt);
    EXPECT_EQ(emu->ctx->timerId, timerId);
    const uint32_t start = emu->ctx->tickMs;
    ASSERT_TRUE(Eventually([&] { return emu->ctx->tickMs - start >= 5000; }));
    emu->t_disable_int();
    EXPECT_EQ(g_tickDeltaErrors, 0);
}

TEST(TimeBase, TheObjectInterruptWinsAndADisabledTimerStaysOffAndLeavesItsIdToAnother) {
    ResetTicks();
    g_plainTicks = 0;
    auto a = std::make_unique<TestEmulator>();
    void* first = a->emu.get();
    (*a)->t_init(0, 5);
    (*a)->t_interrupt_set(PlainInterrupt);
    (*a)->t_interrupt_set(CountingInterrupt);
    ASSERT_TRUE(Eventually([&] { return TicksOf(first) >= 2; }));
    EXPECT_EQ(g_plainTicks, 0);
    (*a)->t_disable_int();

    TestEmulator b;
    b->t_set_overwrite(1);
    b->t_init(0, 2);
    b->t_interrupt_set(CountingInterrupt);
    b->t_set_overwrite(0);
    EXPECT_EQ(b->ctx->timerId, (*a)->ctx->timerId) << "the killed timer's id is free again";
    (*a)->t_init(0, 5);
    (*a)->t_interrupt_set(CountingInterrupt);
    const int ticks = TicksOf(first);
    const uint32_t stopped = (*a)->ctx->tickMs;
    void* self = b.emu.get();
    ASSERT_TRUE(Eventually([&] { return TicksOf(self) >= 10; }));
    EXPECT_EQ(TicksOf(first), ticks) << "disabled for good, and none of the next one's ticks";
    EXPECT_EQ((*a)->ctx->tickMs, stopped);

    a.reset();
    const int before = TicksOf(self);
    ASSERT_TRUE(Eventually([&] { return TicksOf(self) >= before + 3; }))
        << "destroying the disabled emulator killed another's timer";
}

TEST(TimeBase, EveryEmulatorWithoutAWindowGetsItsOwnTicks) {
    ResetTicks();
    constexpr int kEmulators = 8;
    std::vector<std::unique_ptr<TestEmulator>> emus;
    for (int i = 0; i < kEmulators; ++i) {
        emus.push_back(std::make_unique<TestEmulator>());
        Ferrow_c& emu = *emus.back()->emu;
        emu.t_set_overwrite(1);
        emu.t_init(0, 2 + i);
        emu.t_interrupt_set(CountingInterrupt);
        emu.t_set_overwrite(0);
    }
    for (auto& e : emus) {
        void* self = e->emu.get();
        ASSERT_TRUE(Eventually([&] { return TicksOf(self) >= 5; }));
    }
    // Destroy half while every timer keeps firing; the rest go on.
    for (int i = 0; i < kEmulators; i += 2) emus[i].reset();
    for (int i = 1; i < kEmulators; i += 2) {
        void* self = emus[i]->emu.get();
        const int before = TicksOf(self);
        ASSERT_TRUE(Eventually([&] { return TicksOf(self) >= before + 3; }));
        (*emus[i])->t_disable_int();
        // Each tick of an emulator's own timer added that emulator's period.
        EXPECT_EQ((*emus[i])->ctx->tickMs, static_cast<uint32_t>(TicksOf(self) * (2 + i)));
    }
}

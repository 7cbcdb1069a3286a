#include "platform/ThreadTimerService.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using ferrow::platform::ThreadTimerService;
using ferrow::test::Eventually;
using namespace std::chrono_literals;

namespace {

HWND Window(uintptr_t n) { return reinterpret_cast<HWND>(n); }

std::atomic<int> g_fired[4];
std::atomic<bool> g_inSlowCallback{false};
std::atomic<bool> g_slowCallbackDone{false};
std::atomic<ThreadTimerService*> g_service{nullptr};

void Count(HWND window, unsigned, uintptr_t id, uint32_t) {
    ++g_fired[reinterpret_cast<uintptr_t>(window) + id];
}

void Slow(HWND, unsigned, uintptr_t, uint32_t) {
    g_slowCallbackDone = false;
    g_inSlowCallback = true;
    std::this_thread::sleep_for(80ms);
    g_slowCallbackDone = true;
    g_inSlowCallback = false;
}

void KillsItself(HWND window, unsigned, uintptr_t id, uint32_t) {
    ++g_fired[3];
    g_service.load()->Kill(window, id);
}

}  // namespace

TEST(ThreadTimerService, EachWindowAndIdPairIsOneTimer) {
    ThreadTimerService service;
    for (auto& f : g_fired) f = 0;
    EXPECT_TRUE(service.Set(Window(0), 1, 2, Count));
    EXPECT_FALSE(service.Set(Window(0), 1, 2, Count)) << "taken";
    EXPECT_TRUE(service.Set(Window(1), 1, 3, Count)) << "same id, other window";
    EXPECT_FALSE(service.Set(Window(0), 2, 3, nullptr));
    ASSERT_TRUE(Eventually([] { return g_fired[1] >= 5 && g_fired[2] >= 5; }));
    EXPECT_TRUE(service.Kill(Window(0), 1));
    EXPECT_FALSE(service.Kill(Window(0), 1));
    const int stopped = g_fired[1];
    ASSERT_TRUE(Eventually([&] { return g_fired[2] >= stopped + 5; }));
    EXPECT_EQ(g_fired[1], stopped);
    EXPECT_TRUE(service.Kill(Window(1), 1));
}

TEST(ThreadTimerService, KillWaitsForACallbackInProgressAndMayBeCalledFromIt) {
    ThreadTimerService service;
    g_service = &service;
    ASSERT_TRUE(service.Set(Window(0), 7, 1, Slow));
    ASSERT_TRUE(Eventually([] { return g_inSlowCallback.load(); }));
    EXPECT_TRUE(service.Kill(Window(0), 7));
    EXPECT_TRUE(g_slowCallbackDone) << "Kill returned while the callback still ran";

    g_fired[3] = 0;
    ASSERT_TRUE(service.Set(Window(0), 8, 1, KillsItself));
    ASSERT_TRUE(Eventually([] { return g_fired[3] >= 1; }));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(g_fired[3], 1);
    g_service = nullptr;
}

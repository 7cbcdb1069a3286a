// The timer service used without a GUI: one thread of the library that fires
// every due timer in turn. Ticks missed while a callback overran are dropped,
// not queued, as a windowing system's timers do.
#pragma once

#include "platform/TimerService.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace ferrow::platform {

class ThreadTimerService : public TimerService {
public:
    ThreadTimerService();
    ~ThreadTimerService() override;

    bool Set(HWND window, uintptr_t id, unsigned periodMs, TimerProc proc) override;
    bool Kill(HWND window, uintptr_t id) override;

    // The process-wide instance; it lives until the process ends, so that
    // emulators destroyed during exit can still kill their timers.
    static ThreadTimerService& Instance();

private:
    using Clock = std::chrono::steady_clock;
    struct Timer {
        HWND window;
        uintptr_t id;
        std::chrono::milliseconds period;
        TimerProc proc;
        Clock::time_point due;
    };

    void Run();
    std::vector<Timer>::iterator FindLocked(HWND window, uintptr_t id);

    std::mutex mutex_;  // protects: timers_, firing_, stopping_
    std::condition_variable changed_;
    std::vector<Timer> timers_;
    // The timer whose callback runs now, so that Kill can wait for it.
    bool firing_ = false;
    HWND firingWindow_ = nullptr;
    uintptr_t firingId_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace ferrow::platform

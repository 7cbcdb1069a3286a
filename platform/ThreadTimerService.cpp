#include "platform/ThreadTimerService.h"

#include "platform/ProcessClock.h"

#include <algorithm>
#include <atomic>

namespace ferrow::platform {
namespace {

std::atomic<TimerService*> g_hostService{nullptr};

// Matches the window message number a windowing system would pass.
constexpr unsigned kTimerMessage = 0x0113;

}  // namespace

TimerService& TimerService::For(HWND window) {
    TimerService* host = g_hostService.load();
    if (window != nullptr && host != nullptr) return *host;
    return ThreadTimerService::Instance();
}

void TimerService::InstallHostService(TimerService* service) { g_hostService.store(service); }

ThreadTimerService& ThreadTimerService::Instance() {
    static ThreadTimerService* instance = new ThreadTimerService();
    return *instance;
}

ThreadTimerService::ThreadTimerService() : thread_([this] { Run(); }) {}

ThreadTimerService::~ThreadTimerService() {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

std::vector<ThreadTimerService::Timer>::iterator ThreadTimerService::FindLocked(HWND window,
                                                                                uintptr_t id) {
    return std::find_if(timers_.begin(), timers_.end(),
                        [&](const Timer& t) { return t.window == window && t.id == id; });
}

bool ThreadTimerService::Set(HWND window, uintptr_t id, unsigned periodMs, TimerProc proc) {
    if (proc == nullptr) return false;
    auto period = std::chrono::milliseconds(std::max(1u, periodMs));
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (FindLocked(window, id) != timers_.end()) return false;
        timers_.push_back(Timer{window, id, period, proc, Clock::now() + period});
    }
    changed_.notify_all();
    return true;
}

bool ThreadTimerService::Kill(HWND window, uintptr_t id) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto it = FindLocked(window, id);
    if (it == timers_.end()) return false;
    timers_.erase(it);
    if (std::this_thread::get_id() != thread_.get_id()) {
        changed_.wait(lock, [&] {
            return !firing_ || firingWindow_ != window || firingId_ != id;
        });
    }
    changed_.notify_all();
    return true;
}

void ThreadTimerService::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        auto next = std::min_element(timers_.begin(), timers_.end(),
                                     [](const Timer& a, const Timer& b) { return a.due < b.due; });
        if (next == timers_.end()) {
            changed_.wait(lock);
            continue;
        }
        Clock::time_point now = Clock::now();
        if (next->due > now) {
            // A copy: the table may change while the wait lets go of the lock.
            const Clock::time_point due = next->due;
            changed_.wait_until(lock, due);
            continue;
        }
        next->due += next->period;
        if (next->due <= now) next->due = now + next->period;
        Timer timer = *next;
        firing_ = true;
        firingWindow_ = timer.window;
        firingId_ = timer.id;
        lock.unlock();
        timer.proc(timer.window, kTimerMessage, timer.id, ProcessClock::Ms());
        lock.lock();
        firing_ = false;
        changed_.notify_all();
    }
}

}  // namespace ferrow::platform

#include "panels/GuiTimerService.h"

#include "panels/GuiThread.h"

#include <wx/timer.h>

#include <algorithm>
#include <chrono>

namespace ferrow::panels {
namespace {

// The window message number a windowing system passes with a timer.
constexpr unsigned kTimerMessage = 0x0113;

// The tick count a windowing system passes: milliseconds of a monotonic
// clock, wrapping at 2^32.
uint32_t TickCount() {
    using namespace std::chrono;
    return static_cast<uint32_t>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

}  // namespace

class GuiTimerService::Tick : public wxTimer {
public:
    Tick(GuiTimerService& service, uint64_t serial) : service_(service), serial_(serial) {}
    void Notify() override { service_.Fire(serial_); }

private:
    GuiTimerService& service_;
    uint64_t serial_;
};

GuiTimerService& GuiTimerService::Instance() {
    static GuiTimerService* instance = new GuiTimerService();
    return *instance;
}

std::vector<GuiTimerService::Timer>::iterator GuiTimerService::FindLocked(HWND window,
                                                                          uintptr_t id) {
    return std::find_if(timers_.begin(), timers_.end(),
                        [&](const Timer& t) { return t.window == window && t.id == id; });
}

bool GuiTimerService::Set(HWND window, uintptr_t id, unsigned periodMs, platform::TimerProc proc) {
    if (proc == nullptr) return false;
    Timer timer{window, id, std::max(1u, periodMs), proc, 0};
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (!open_ || FindLocked(window, id) != timers_.end()) return false;
        timer.serial = nextSerial_++;
        timers_.push_back(timer);
    }
    GuiThread::RunOrPost([this, timer] { StartTick(timer); });
    return true;
}

bool GuiTimerService::Kill(HWND window, uintptr_t id) {
    uint64_t serial = 0;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        auto it = FindLocked(window, id);
        if (it == timers_.end()) return false;
        serial = it->serial;
        timers_.erase(it);
        // On the GUI thread a callback of this timer runs only if it is the
        // caller itself.
        if (!GuiThread::IsCurrent()) {
            fired_.wait(lock, [&] { return firingSerial_ != serial; });
        }
    }
    // Posted even on the GUI thread: the caller may be the tick's own
    // callback. Until then Fire finds no timer and calls nothing.
    GuiThread::Post([this, serial] { StopTick(serial); });
    return true;
}

void GuiTimerService::Open() {
    std::lock_guard<std::mutex> guard(mutex_);
    open_ = true;
}

void GuiTimerService::Close() {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        open_ = false;
        timers_.clear();
    }
    ticks_.clear();
}

void GuiTimerService::StartTick(const Timer& timer) {
    {
        // A Kill may have overtaken the Set that posted this.
        std::lock_guard<std::mutex> guard(mutex_);
        if (std::none_of(timers_.begin(), timers_.end(),
                         [&](const Timer& t) { return t.serial == timer.serial; })) {
            return;
        }
    }
    auto tick = std::make_unique<Tick>(*this, timer.serial);
    tick->Start(static_cast<int>(timer.periodMs));
    ticks_[timer.serial] = std::move(tick);
}

void GuiTimerService::StopTick(uint64_t serial) { ticks_.erase(serial); }

void GuiTimerService::Fire(uint64_t serial) {
    Timer timer{};
    {
        std::lock_guard<std::mutex> guard(mutex_);
        auto it = std::find_if(timers_.begin(), timers_.end(),
                               [&](const Timer& t) { return t.serial == serial; });
        if (it == timers_.end()) return;
        timer = *it;
        firingSerial_ = serial;
    }
    timer.proc(timer.window, kTimerMessage, timer.id, TickCount());
    {
        std::lock_guard<std::mutex> guard(mutex_);
        firingSerial_ = 0;
    }
    fired_.notify_all();
}

}  // namespace ferrow::panels

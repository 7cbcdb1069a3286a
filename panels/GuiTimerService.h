// The timer service of a host with a GUI: each timer is a wxTimer, so every
// callback runs on the GUI thread. Set and Kill may come from any thread; a
// Kill from another thread returns only once no callback of that timer runs.
#pragma once

#include "platform/TimerService.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace ferrow::panels {

class GuiTimerService : public platform::TimerService {
public:
    // Process-wide; lives until the process ends, so that a thread that
    // picked the service just before it closed can still call it.
    static GuiTimerService& Instance();

    bool Set(HWND window, uintptr_t id, unsigned periodMs, platform::TimerProc proc) override;
    bool Kill(HWND window, uintptr_t id) override;

    // GUI thread. Open accepts timers; Close ends every timer and refuses
    // new ones.
    void Open();
    void Close();

private:
    class Tick;
    struct Timer {
        HWND window;
        uintptr_t id;
        unsigned periodMs;
        platform::TimerProc proc;
        // Tells a timer apart from a later one on the same (window, id).
        uint64_t serial;
    };

    GuiTimerService() = default;

    std::vector<Timer>::iterator FindLocked(HWND window, uintptr_t id);
    // GUI thread only, as are the ticks.
    void StartTick(const Timer& timer);
    void StopTick(uint64_t serial);
    void Fire(uint64_t serial);

    std::mutex mutex_;  // protects: open_, timers_, nextSerial_, firingSerial_
    std::condition_variable fired_;
    bool open_ = false;
    std::vector<Timer> timers_;
    uint64_t nextSerial_ = 1;
    // The timer whose callback runs now, 0 for none.
    uint64_t firingSerial_ = 0;
    std::map<uint64_t, std::unique_ptr<Tick>> ticks_;
};

}  // namespace ferrow::panels

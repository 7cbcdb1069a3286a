// Periodic timers that call a function with the window and timer id they were
// set on. A host with a GUI installs a service whose callbacks run on its GUI
// thread; without one, the library's own timer thread runs them in order.
#pragma once

#include <ferrow/CWnd.h>
#include <ferrow/FerrowApi.h>

#include <cstdint>

namespace ferrow::platform {

using TimerProc = void (*)(HWND window, unsigned message, uintptr_t id, uint32_t time);

// Exported for the panels library, which installs the host's service.
class FERROW_API TimerService {
public:
    virtual ~TimerService() = default;

    // Starts a periodic timer of periodMs on (window, id). False when that
    // pair is already taken, or the service cannot set a timer on the window.
    virtual bool Set(HWND window, uintptr_t id, unsigned periodMs, TimerProc proc) = 0;
    // Ends the timer. When it returns, no callback of that timer is running,
    // unless Kill is called from that very callback.
    virtual bool Kill(HWND window, uintptr_t id) = 0;

    // The service that owns timers on `window`: the host's for real windows
    // while one is installed, the library's timer thread otherwise.
    static TimerService& For(HWND window);
    // Installs (or, with null, removes) the host's service.
    static void InstallHostService(TimerService* service);
};

}  // namespace ferrow::platform

// The receive callback of a PutRX, left to the caller. While a deferral is
// open on a thread, PutRX on that thread keeps its callback here instead of
// raising it, and the caller raises it once it has let go of its own locks:
// the firmware's callback may then call back into the port, delete it, or
// wait for a thread that does, without anyone waiting on the caller's lock.
// Exported for the panels library, whose serial panel sends with it.
#pragma once

#include <ferrow/FerrowApi.h>

#include <vector>

namespace ferrow::peripherals {

class FERROW_API RxCallbackDeferral {
public:
    // Opens on the calling thread; one opened later on the same thread takes
    // the callbacks until it closes.
    RxCallbackDeferral();
    // Closes; callbacks not raised are dropped.
    ~RxCallbackDeferral();
    RxCallbackDeferral(const RxCallbackDeferral&) = delete;
    RxCallbackDeferral& operator=(const RxCallbackDeferral&) = delete;

    // Closes, then raises the kept callbacks in the order of their PutRX.
    void Raise();

    // PutRX's side: keeps the callback when a deferral is open on this
    // thread; false when none is and the caller raises it itself.
    static bool Keep(void (*plain)(), void (*withHandle)(int), int handle);

private:
    struct Call {
        void (*plain)();
        void (*withHandle)(int);
        int handle;
    };

    void Close();

    RxCallbackDeferral* previous_;
    bool open_ = true;
    std::vector<Call> calls_;
};

}  // namespace ferrow::peripherals

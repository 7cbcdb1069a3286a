// A periodic transmission on the emulator's millisecond time base. It keeps
// its rhythm when the loop runs late, but after a long stall it sends once
// and starts a new rhythm rather than a burst of catching up.
#pragma once

#include <cstdint>

namespace monitor {

class Periodic {
public:
    explicit Periodic(uint32_t intervalMs) : intervalMs_(intervalMs) {}

    // Due at once, then every interval.
    void Restart(uint32_t nowMs) { nextMs_ = nowMs; }

    bool Due(uint32_t nowMs) {
        // Differences, not comparisons: the time base wraps at 2^32.
        const uint32_t late = nowMs - nextMs_;
        if (static_cast<int32_t>(late) < 0) return false;
        nextMs_ = (late >= intervalMs_ ? nowMs : nextMs_) + intervalMs_;
        return true;
    }

private:
    uint32_t intervalMs_;
    uint32_t nextMs_ = 0;
};

}  // namespace monitor

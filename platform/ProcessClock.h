// Wall-clock milliseconds since the process started, taken from a monotonic
// clock captured when the library loads. (The C library's clock() counts CPU
// time here and would stand still while the process sleeps.) A thread that
// runs a simulation binds its virtual clock here, so that whatever it builds
// and records on the way keeps virtual time.
#pragma once

#include <ferrow/FerrowApi.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace ferrow::platform {

// Milliseconds that move only when a simulation moves them.
class VirtualClock {
public:
    uint64_t Ms64() const { return ms_.load(std::memory_order_relaxed); }
    void Set(uint64_t ms) { ms_.store(ms, std::memory_order_relaxed); }

private:
    std::atomic<uint64_t> ms_{0};
};

// Exported for the panels library, whose panels show the same clock.
class FERROW_API ProcessClock {
public:
    // Full-width milliseconds since load, or the virtual milliseconds of the
    // clock bound to the calling thread.
    static uint64_t Ms64();
    // The same reading as the 32-bit quantity the firmware sees: wraps at 2^32.
    static uint32_t Ms() { return static_cast<uint32_t>(Ms64()); }
    // Wall-clock milliseconds since load, whatever the thread has bound.
    static uint64_t WallMs64();
    // The clock bound to the calling thread; null when it keeps wall time.
    static std::shared_ptr<VirtualClock> Bound();

    // Binds `clock` (null: wall time) to the calling thread for its lifetime,
    // then restores what was bound before.
    class Binding {
    public:
        explicit Binding(std::shared_ptr<VirtualClock> clock);
        ~Binding();
        Binding(const Binding&) = delete;
        Binding& operator=(const Binding&) = delete;

    private:
        std::shared_ptr<VirtualClock> previous_;
    };
};

}  // namespace ferrow::platform

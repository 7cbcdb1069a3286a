// A scope guard on a recursive mutex that may be declared without acquiring
// it: such a guard does nothing, but keeps the shape of code that locks.
#pragma once

#include <mutex>

namespace ferrow::platform {

class ScopeLock {
public:
    ScopeLock(std::recursive_mutex& mutex, bool acquire) : mutex_(mutex), held_(acquire) {
        if (held_) mutex_.lock();
    }
    ~ScopeLock() { Unlock(); }
    ScopeLock(const ScopeLock&) = delete;
    ScopeLock& operator=(const ScopeLock&) = delete;

    void Unlock() {
        if (held_) {
            held_ = false;
            mutex_.unlock();
        }
    }

private:
    std::recursive_mutex& mutex_;
    bool held_;
};

}  // namespace ferrow::platform

// The I/O thread of a link that waits on descriptors: it runs a body that
// waits in Wait, any thread may wake it, and Stop ends it cleanly. Wait
// returns early when woken, so a frame queued by the firmware goes out at
// once, and returns false once Stop has been called, which is when the body
// must return.
#pragma once

#include "net/links/Socket.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace ferrow::net {

class PollThread {
public:
    // A socket or descriptor to wait for: always until readable, and until
    // writable when asked; a negative one is skipped. Wait fills in what it
    // found.
    //
    // A device is polled like any descriptor on POSIX. On Windows its handle
    // is a manual-reset event the device signals when it may have data to
    // read or has finished a write; Wait then reports it readable, and
    // writable when asked, and leaves the event as it is: the device knows
    // which it was.
    struct Watch {
        std::intptr_t fd = -1;
        bool write = false;
        bool device = false;
        bool readable = false;
        bool writable = false;
        bool hungUp = false;  // hang-up, error, or a descriptor not open

        Watch() = default;
        Watch(std::intptr_t fd, bool write) : fd(fd), write(write) {}
        static Watch Device(std::intptr_t handle, bool write) {
            Watch watch(handle, write);
            watch.device = true;
            return watch;
        }
        bool Any() const { return readable || writable || hungUp; }
    };

    PollThread();
    // Stops the thread first.
    ~PollThread();
    PollThread(const PollThread&) = delete;
    PollThread& operator=(const PollThread&) = delete;

    // False when the process had no descriptor left for the wake-up.
    bool CanRun() const;
    // Runs `body` on a new thread; the thread must not be running.
    void Start(std::function<void()> body);
    // Makes Wait return false, then joins; nothing when not running.
    void Stop();
    // From any thread: the thread's current or next Wait returns at once.
    void Wake();
    // Waits for `watches` (may be empty) or `timeout` (negative: no limit);
    // false when the thread is being stopped. Also usable on the owner's
    // thread while the I/O thread is not running, for a connection under
    // way.
    bool Wait(std::vector<Watch>& watches, std::chrono::milliseconds timeout);

private:
#ifdef _WIN32
    Socket wake_;
    // What a wait that includes devices selects the sockets onto.
    void* socketEvent_ = nullptr;
#else
    int wakeFd_;  // eventfd
#endif
    std::thread thread_;
    std::atomic<bool> stopping_{false};
};

}  // namespace ferrow::net

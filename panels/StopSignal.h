// What ends a host's run: Raise from any thread, or SIGINT / SIGTERM while
// someone waits. A self-pipe, since a signal handler may only write().
#pragma once

namespace ferrow::panels {

class StopSignal {
public:
    // Throws std::system_error when no pipe can be made.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Any thread. A Raise before Wait is kept for it.
    void Raise();
    // Blocks until Raise or a SIGINT / SIGTERM, which it handles meanwhile
    // and no longer afterwards. One waiter at a time.
    void Wait();
    // Forgets every Raise not yet waited for.
    void Clear();

private:
    int readFd_;
    int writeFd_;
};

}  // namespace ferrow::panels

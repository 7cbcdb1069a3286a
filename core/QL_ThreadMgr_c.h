// Runs one registered function over and over on a worker thread of its own
// until told to stop. The function paces itself; stopping is cooperative (the
// worker notices between calls) and a worker is never ended by force.
#pragma once

#include <ferrow/Exception.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace ferrow::core {

class QL_ThreadMgr_c {
public:
    // Results.
    static constexpr int kOk = 0;
    static constexpr int kNotRegistered = 2;
    // Start: the previous worker has not ended yet (a second worker is never made).
    static constexpr int kStillRunning = 3;
    static constexpr int kStopTimedOut = 4;
    static constexpr int kNotRunning = 5;
    static constexpr int kFailed = -1;

    // States; kStopState is also the exit code of a worker that stopped as asked.
    static constexpr int kIdle = 0;
    static constexpr int kRunning = 1;
    static constexpr int kStopState = 9;
    // The exit code read while the worker still runs.
    static constexpr int kStillActive = 259;
    // Code of the exception a worker ends with when its function threw.
    static constexpr int kWorkerExceptionCode = -22;

    QL_ThreadMgr_c();
    // Asks a running worker to stop and waits for it to end: the worker may be
    // using its owner's state until its current call returns.
    virtual ~QL_ThreadMgr_c();
    QL_ThreadMgr_c(const QL_ThreadMgr_c&) = delete;
    QL_ThreadMgr_c& operator=(const QL_ThreadMgr_c&) = delete;

    // Registers the function the worker runs (with or without an argument);
    // the later registration replaces the earlier one. Returns 0.
    int Register(void (*fn)(void*), void* arg);
    int Register(void (*fn)());

    // Starts the worker; `priority` is accepted for compatibility and not used.
    int Start(int priority);
    // Requests the stop and waits in 20 ms polls, timeoutMs / 20 of them.
    int Stop(int timeoutMs);
    // Parks the worker between two calls of its function until Stop.
    int Suspend();

    int State() const { return state_.load(); }
    // kStillActive while the worker runs; its exit code once it has ended.
    int ExitCode() const { return exitCode_.load(); }
    bool IsActive() const { return ExitCode() == kStillActive; }

    // Asks the worker to end after its current call.
    void RequestStop();
    // Waits until the worker has ended, or until `grace` has passed since the
    // stop was first asked for; true when no worker runs.
    bool WaitEnded(std::chrono::milliseconds grace);
    // Requests the stop and waits, however long, for the worker to end.
    void Shutdown();

    // True on the worker thread itself.
    bool IsWorker();
    // From the worker's own function: nobody joins the worker, which ends
    // after that call returns and, as its very last act, when nothing of
    // this manager is in use any more, runs release(arg) (which may free the
    // manager). False, and nothing done, on any other thread.
    bool EndDetached(void (*release)(void*), void* arg);
    // Worker threads of every manager that have not finished.
    static int LiveWorkers();

    // The worker's pause between calls: returns early when a stop is requested.
    void Sleep(unsigned ms);

    // The exception the worker ended with, if any; taken once.
    std::optional<utility::Exception> TakeException();

    // Shows "Error: <code>" under `title` and returns -1.
    static int ErrorReport(const wchar_t* title, unsigned code);

private:
    void Body();
    void CallOnce();
    void EndWorker(int exitCode);
    void Finish();
    void JoinEnded();

    std::atomic<int> registered_{0};
    std::atomic<int> kind_{1};
    std::atomic<void (*)()> fn_{nullptr};
    std::atomic<void (*)(void*)> fnArg_{nullptr};
    std::atomic<void*> arg_{nullptr};
    std::atomic<int> state_{kIdle};
    std::atomic<int> exitCode_{0};
    std::atomic<bool> parked_{false};

    std::mutex mutex_;  // protects: thread_, exception_, stopAskedAt_; pairs with wake_
    std::condition_variable wake_;
    std::thread thread_;
    std::optional<utility::Exception> exception_;
    std::chrono::steady_clock::time_point stopAskedAt_;
    // Worker thread only: set by EndDetached, run by Finish.
    void (*release_)(void*) = nullptr;
    void* releaseArg_ = nullptr;
};

}  // namespace ferrow::core

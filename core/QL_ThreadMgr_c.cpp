#include "core/QL_ThreadMgr_c.h"

#include "platform/MessageReport.h"
#include "platform/Text.h"

#include <chrono>
#include <string>
#include <system_error>

namespace ferrow::core {
namespace {

constexpr auto kPoll = std::chrono::milliseconds(20);
const char kCausePrefix[] = "QL_ThreadMgr_c::MainThread - Cause: ";

std::atomic<int> g_liveWorkers{0};

}  // namespace

QL_ThreadMgr_c::QL_ThreadMgr_c() = default;

QL_ThreadMgr_c::~QL_ThreadMgr_c() { Shutdown(); }

void QL_ThreadMgr_c::Shutdown() {
    RequestStop();
    std::thread worker;
    {
        std::lock_guard<std::mutex> guard(mutex_);
        worker = std::move(thread_);
    }
    if (worker.joinable()) worker.join();
}

int QL_ThreadMgr_c::Register(void (*fn)(void*), void* arg) {
    arg_ = arg;
    fnArg_ = fn;
    kind_ = 1;
    registered_ = 1;
    return kOk;
}

int QL_ThreadMgr_c::Register(void (*fn)()) {
    fn_ = fn;
    kind_ = 0;
    registered_ = 1;
    return kOk;
}

int QL_ThreadMgr_c::ErrorReport(const wchar_t* title, unsigned code) {
    platform::MessageReport::Show(title, L"Error: " + std::to_wstring(code));
    return kFailed;
}

int QL_ThreadMgr_c::Start(int /*priority*/) {
    if (!registered_) return kNotRegistered;
    try {
        std::lock_guard<std::mutex> guard(mutex_);
        // Checked under the lock: two threads may start at once.
        if (IsActive()) return kStillRunning;
        if (thread_.joinable()) thread_.join();
        exception_.reset();
        parked_ = false;
        exitCode_ = kStillActive;
        state_ = kRunning;
        ++g_liveWorkers;
        thread_ = std::thread([this] {
            Body();
            Finish();
        });
    } catch (const std::system_error& e) {
        --g_liveWorkers;
        exitCode_ = 0;
        state_ = kIdle;
        return ErrorReport(L"QL_ThreadMgr_c::Start", static_cast<unsigned>(e.code().value()));
    }
    return kOk;
}

void QL_ThreadMgr_c::RequestStop() {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (state_.load() != kStopState) stopAskedAt_ = std::chrono::steady_clock::now();
        state_ = kStopState;
    }
    wake_.notify_all();
}

bool QL_ThreadMgr_c::WaitEnded(std::chrono::milliseconds grace) {
    std::unique_lock<std::mutex> lock(mutex_);
    return wake_.wait_until(lock, stopAskedAt_ + grace, [this] { return !IsActive(); });
}

bool QL_ThreadMgr_c::IsWorker() {
    std::lock_guard<std::mutex> guard(mutex_);
    return thread_.get_id() == std::this_thread::get_id();
}

bool QL_ThreadMgr_c::EndDetached(void (*release)(void*), void* arg) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (thread_.get_id() != std::this_thread::get_id()) return false;
        thread_.detach();
    }
    release_ = release;
    releaseArg_ = arg;
    RequestStop();
    return true;
}

int QL_ThreadMgr_c::LiveWorkers() { return g_liveWorkers.load(); }

// The worker's last steps, without the lock: a controller may hold it while
// it joins. After release nothing of this manager is touched.
void QL_ThreadMgr_c::Finish() {
    if (release_ != nullptr) release_(releaseArg_);
    --g_liveWorkers;
}

void QL_ThreadMgr_c::JoinEnded() {
    std::lock_guard<std::mutex> guard(mutex_);
    if (thread_.joinable() && !IsActive()) thread_.join();
}

int QL_ThreadMgr_c::Stop(int timeoutMs) {
    if (!registered_) return kNotRegistered;
    int state = state_.load();
    if (state == kIdle || state == kStopState) {
        JoinEnded();
        return kOk;
    }
    std::this_thread::sleep_for(kPoll);
    RequestStop();
    if (timeoutMs == 0) return kOk;

    const int limit = timeoutMs / 20;
    for (int count = 0; IsActive(); ++count) {
        if (count > limit) return kStopTimedOut;
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait_for(lock, kPoll, [this] { return !IsActive(); });
    }
    JoinEnded();
    return ExitCode() == kStopState ? kOk : kStopTimedOut;
}

int QL_ThreadMgr_c::Suspend() {
    if (!registered_) return kNotRegistered;
    if (!IsActive()) return kNotRunning;
    parked_ = true;
    return kOk;
}

void QL_ThreadMgr_c::Sleep(unsigned ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_for(lock, std::chrono::milliseconds(ms),
                   [this] { return state_.load() == kStopState; });
}

std::optional<utility::Exception> QL_ThreadMgr_c::TakeException() {
    std::lock_guard<std::mutex> guard(mutex_);
    std::optional<utility::Exception> taken = std::move(exception_);
    exception_.reset();
    return taken;
}

void QL_ThreadMgr_c::CallOnce() {
    if (kind_ == 1) {
        if (auto fn = fnArg_.load()) fn(arg_.load());
    } else if (auto fn = fn_.load()) {
        fn();
    }
}

void QL_ThreadMgr_c::EndWorker(int exitCode) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        exitCode_ = exitCode;
    }
    wake_.notify_all();
}

// A firmware fault must not end the process: an exception thrown by the
// function ends the worker, is reported, and is kept for the controlling
// thread. Only a kind-0 worker lets the library's own exception pass and goes
// on, as it always has.
void QL_ThreadMgr_c::Body() {
    std::string cause;
    while (state_.load() != kStopState) {
        if (parked_) {
            std::unique_lock<std::mutex> lock(mutex_);
            wake_.wait(lock, [this] { return state_.load() == kStopState; });
            continue;
        }
        try {
            CallOnce();
            continue;
        } catch (const utility::Exception& e) {
            if (kind_ == 0) continue;
            cause = e.get_what();
        } catch (const std::exception& e) {
            cause = e.what();
        } catch (...) {
            cause = "unknown exception";
        }
        utility::Exception ended(kCausePrefix + cause, kWorkerExceptionCode);
        platform::MessageReport::Show(L"QL_ThreadMgr_c::MainThread",
                                      platform::Text::Widen(ended.get_what()));
        {
            std::lock_guard<std::mutex> guard(mutex_);
            exception_ = ended;
        }
        EndWorker(kWorkerExceptionCode);
        return;
    }
    EndWorker(kStopState);
}

}  // namespace ferrow::core

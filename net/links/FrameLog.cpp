// The recorder writes through a bare descriptor opened for appending, so each
// line is a single write the kernel keeps even if the process dies right
// after, with no user-space buffer to flush.
#include "net/links/FrameLog.h"

#include "net/transport/OperatorMessage.h"
#include "platform/ProcessClock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace ferrow::net {

namespace {

FrameLog::WallClock DefaultClock() {
    if (auto simulated = platform::ProcessClock::Bound()) {
        return [simulated] {
            return std::chrono::system_clock::time_point(std::chrono::milliseconds(simulated->Ms64()));
        };
    }
    return [] { return std::chrono::system_clock::now(); };
}

}  // namespace

FrameLog::FrameLog(std::string path, std::string interfaceName, WallClock clock)
    : path_(std::move(path)),
      format_(std::move(interfaceName)),
      clock_(clock ? std::move(clock) : DefaultClock()) {}

FrameLog::~FrameLog() { Close(); }

int FrameLog::Open(std::string& error) {
    std::lock_guard<std::mutex> lock(mutex_);
    CloseLocked();
    error_.clear();
    fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd_ < 0) {
        error = "Cannot record CAN frames to \"" + path_ + "\": " + std::strerror(errno) + ".";
        ++failures_;
        return -1;
    }
    return 0;
}

void FrameLog::Close() {
    std::lock_guard<std::mutex> lock(mutex_);
    CloseLocked();
}

void FrameLog::CloseLocked() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

void FrameLog::Record(const CanFrame& frame, LineFormat::Direction direction) {
    std::string stopped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (fd_ < 0) return;
        const auto since = std::chrono::duration_cast<std::chrono::microseconds>(
            clock_().time_since_epoch());
        const std::string line = format_.Format(frame, direction, since);
        std::size_t written = 0;
        while (written < line.size()) {
            const ssize_t n = ::write(fd_, line.data() + written, line.size() - written);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                error_ = "Stopped recording CAN frames to \"" + path_ + "\": " +
                         (n < 0 ? std::strerror(errno) : "nothing written") + ".";
                stopped = error_;
                ++failures_;
                CloseLocked();
                break;
            }
            written += static_cast<std::size_t>(n);
        }
    }
    // The descriptor is closed, so this is said once; a note, never a
    // dialog, as it may come from any thread in the middle of traffic.
    if (!stopped.empty()) OperatorMessage::Note(stopped);
}

std::string FrameLog::TakeError() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(error_, std::string());
}

uint64_t FrameLog::Failures() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return failures_;
}

}  // namespace ferrow::net

// The recorder writes through a bare descriptor opened for appending, so each
// line is a single write the kernel keeps even if the process dies right
// after, with no user-space buffer to flush.
#include "net/links/FrameLog.h"

#include "net/transport/OperatorMessage.h"
#include "platform/ProcessClock.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <utility>

#ifdef _WIN32
#include <io.h>
#include <sys/stat.h>
#else
#include <unistd.h>
#endif

namespace ferrow::net {

namespace {

#ifdef _WIN32
// Binary, so that lines end in a bare newline as the CAN tools write them.
int OpenAppending(const char* path) {
    return ::_open(path, _O_WRONLY | _O_CREAT | _O_APPEND | _O_BINARY | _O_NOINHERIT,
                   _S_IREAD | _S_IWRITE);
}
long WriteSome(int fd, const char* data, std::size_t size) {
    return ::_write(fd, data, static_cast<unsigned>(std::min<std::size_t>(size, INT_MAX)));
}
void CloseFile(int fd) { ::_close(fd); }
#else
int OpenAppending(const char* path) {
    return ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
}
long WriteSome(int fd, const char* data, std::size_t size) { return ::write(fd, data, size); }
void CloseFile(int fd) { ::close(fd); }
#endif

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
    fd_ = OpenAppending(path_.c_str());
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
    if (fd_ >= 0) CloseFile(fd_);
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
            const long n = WriteSome(fd_, line.data() + written, line.size() - written);
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

// A recording of the frames a link sends and receives, appended to a file as
// candump -L lines with wall-clock time, so the Linux CAN tools and this
// library's replay can read it. Each line reaches the file in one write as
// it is recorded: a crash loses at most the line being written. Recording
// never stands in the way of traffic: a file that stops taking lines is
// reported once on standard error, one line naming the file and the reason,
// recording stops until the next Open, and the failure is counted.
#pragma once

#include "net/formats/CandumpLineFormat.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace ferrow::net {

class FrameLog {
public:
    using WallClock = std::function<std::chrono::system_clock::time_point()>;

    // `clock` is system_clock when empty, or, built on a thread that runs a
    // simulation, its virtual time since the epoch.
    explicit FrameLog(std::string path, std::string interfaceName = "can0",
                      WallClock clock = {});
    ~FrameLog();
    FrameLog(const FrameLog&) = delete;
    FrameLog& operator=(const FrameLog&) = delete;

    // 0, or negative with a sentence for the operator, counted as a
    // failure; recording then does nothing until the next Open.
    int Open(std::string& error);
    void Close();
    // From any thread; a line per frame, in the order of the calls.
    void Record(const CanFrame& frame, LineFormat::Direction direction);
    // Why recording stopped after a write failed, once; empty otherwise.
    std::string TakeError();
    // Recordings that could not be opened or stopped on a failed write.
    uint64_t Failures() const;

private:
    // Called with mutex_ held.
    void CloseLocked();

    const std::string path_;
    const CandumpLineFormat format_;
    const WallClock clock_;
    mutable std::mutex mutex_;  // protects: fd_, error_, failures_
    int fd_ = -1;
    std::string error_;
    uint64_t failures_ = 0;
};

}  // namespace ferrow::net

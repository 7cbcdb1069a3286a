// A recording of the frames a link sends and receives, appended to a file as
// candump -L lines with wall-clock time, so the Linux CAN tools and this
// library's replay can read it. Each line reaches the file in one write as
// it is recorded: a crash loses at most the line being written. Recording
// never stands in the way of traffic: a file that fails is reported once.
#pragma once

#include "net/formats/CandumpLineFormat.h"

#include <chrono>
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

    // 0, or negative with a sentence for the operator; recording then does
    // nothing until the next Open.
    int Open(std::string& error);
    void Close();
    // From any thread; a line per frame, in the order of the calls.
    void Record(const CanFrame& frame, LineFormat::Direction direction);
    // Why recording stopped after a write failed, once; empty otherwise.
    std::string TakeError();

private:
    // Called with mutex_ held.
    void CloseLocked();

    const std::string path_;
    const CandumpLineFormat format_;
    const WallClock clock_;
    std::mutex mutex_;  // protects: fd_, error_
    int fd_ = -1;
    std::string error_;
};

}  // namespace ferrow::net

// The recording of a network that carries whole messages (a serial gateway,
// the virtual bus): each message is written as the CAN frames that would
// carry it, so that `file:` replays it and the Linux CAN tools read it. A
// recording that fails is reported and counted as FrameLog says. The codec
// is built only for a recording: a gateway that records nothing, one on every
// device of a large virtual network, carries none.
#pragma once

#include "net/can/N2KCanCodec.h"
#include "net/links/FrameLog.h"

#include <ferrow/N2KMsg.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ferrow::net {

class MessageFrameLog {
public:
    // A null log records nothing.
    explicit MessageFrameLog(std::unique_ptr<FrameLog> log);

    // 0, or negative with a sentence for the operator; traffic goes on either way.
    int Open(std::string& error);
    void Close();
    // From any thread.
    void Record(const N2KMsg& msg, LineFormat::Direction direction);
    // Recordings that could not be opened or stopped on a failed write.
    uint64_t Failures() const { return log_ ? log_->Failures() : 0; }

private:
    const std::unique_ptr<FrameLog> log_;
    std::mutex mutex_;  // protects: codec_, frames_
    const std::unique_ptr<N2KCanCodec> codec_;  // null without a log
    std::vector<CanFrame> frames_;
};

}  // namespace ferrow::net

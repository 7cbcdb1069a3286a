#include "net/links/MessageFrameLog.h"

#include "net/can/CanId.h"
#include "net/can/Framing.h"

#include <chrono>

namespace ferrow::net {

MessageFrameLog::MessageFrameLog(std::unique_ptr<FrameLog> log)
    : log_(std::move(log)), codec_(log_ ? std::make_unique<N2KCanCodec>() : nullptr) {}

int MessageFrameLog::Open(std::string& error) { return log_ ? log_->Open(error) : 0; }

void MessageFrameLog::Close() {
    if (log_) log_->Close();
}

void MessageFrameLog::Record(const N2KMsg& msg, LineFormat::Direction direction) {
    if (!log_) return;
    N2KMsg framed = msg;
    // A recording has no receiver to answer a request to send: an addressed
    // transport session is kept as a broadcast, which a replay reassembles.
    if (Framing::For(msg) == Framing::kIsoTransport) framed.addressB = CanId::kGlobal;
    std::lock_guard<std::mutex> lock(mutex_);
    frames_.clear();
    codec_->Send(framed, std::chrono::milliseconds(0), frames_);
    for (const CanFrame& frame : frames_) log_->Record(frame, direction);
}

}  // namespace ferrow::net

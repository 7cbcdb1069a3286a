// The sending side of an ISO transport connection.
#include "net/can/IsoTransmitSession.h"

#include "net/can/IsoTransportFrames.h"

#include <algorithm>

namespace ferrow::net {

IsoTransmitSession::IsoTransmitSession(const CanId& link, const uint8_t* data, uint16_t size,
                                       std::chrono::milliseconds now, std::vector<CanFrame>& out)
    : link_(link),
      data_(data, data + size),
      packets_(IsoTransportFrames::PacketsFor(size)),
      deadline_(now + kResponseTimeout) {
    out.push_back(IsoTransportFrames::Rts(link_, size, kPacketsPerCts));
}

void IsoTransmitSession::OnControl(const CanFrame& frame, std::chrono::milliseconds now,
                                   std::vector<CanFrame>& out) {
    if (state_ != State::kOpen || frame.length < CanFrame::kMaxLength ||
        IsoTransportFrames::PgnOf(frame) != link_.pgn) {
        return;
    }
    switch (frame.data[0]) {
        case IsoTransportFrames::kCts:
            OnCts(frame.data[1], frame.data[2], now, out);
            break;
        case IsoTransportFrames::kEndOfMsgAck:
            state_ = State::kCompleted;
            break;
        case IsoTransportFrames::kAbort:
            state_ = State::kAborted;
            break;
        default:
            break;
    }
}

void IsoTransmitSession::OnCts(uint8_t count, uint8_t next, std::chrono::milliseconds now,
                               std::vector<CanFrame>& out) {
    if (count == 0) {
        deadline_ = now + kHoldTimeout;
        return;
    }
    // A CTS may ask again for packets already sent; one that names no packet
    // of this message is left to time out.
    if (next == 0 || next > packets_) return;
    const unsigned last =
        std::min<unsigned>(packets_, next + std::min(count, kPacketsPerCts) - 1u);
    const auto size = static_cast<uint16_t>(data_.size());
    IsoTransportFrames::AppendData(link_, data_.data(), size, next, last, out);
    deadline_ = now + kResponseTimeout;
}

void IsoTransmitSession::Expire(std::chrono::milliseconds now, std::vector<CanFrame>& out) {
    if (state_ != State::kOpen || now < deadline_) return;
    out.push_back(IsoTransportFrames::Abort(link_, IsoTransportFrames::kTimeout));
    state_ = State::kTimedOut;
}

}  // namespace ferrow::net

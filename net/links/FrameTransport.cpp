#include "net/links/FrameTransport.h"

#include "platform/MessageReport.h"
#include "platform/ProcessClock.h"
#include "platform/Text.h"

namespace ferrow::net {

FrameTransport::FrameTransport(std::unique_ptr<FrameLink> link, Clock clock,
                               std::unique_ptr<FrameLog> log)
    : link_(std::move(link)), clock_(std::move(clock)), log_(std::move(log)) {
    if (!clock_) clock_ = [] { return std::chrono::milliseconds(platform::ProcessClock::Ms64()); };
}

int FrameTransport::Open() {
    std::string error;
    const int opened = link_->Open(error);
    if (opened < 0) {
        platform::MessageReport::Show(L"Gateway", platform::Text::Widen(error));
        return opened;
    }
    // A recording that cannot be made is reported, never in traffic's way.
    if (log_ && log_->Open(error) < 0) platform::MessageReport::Show(L"Gateway", platform::Text::Widen(error));
    return opened;
}

void FrameTransport::Close() {
    link_->Close();
    if (log_) log_->Close();
}

bool FrameTransport::SendFrames(const std::vector<CanFrame>& frames) {
    for (const CanFrame& frame : frames) {
        if (!link_->Send(frame)) return false;
        if (log_) log_->Record(frame, LineFormat::Direction::Transmitted);
    }
    return true;
}

N2KStatus FrameTransport::Send(const N2KMsg& msg) {
    if (!link_->IsUp()) return N2K_NOT_CONNECTED;
    // Our device's address is the source of what it sends: transport
    // sessions addressed to it are answered from then on.
    codec_.SetOwnAddress(msg.addressA);
    outgoing_.clear();
    const N2KStatus status = codec_.Send(msg, clock_(), outgoing_);
    if (status != N2K_OK) return status;
    return SendFrames(outgoing_) ? N2K_OK : N2K_TX_BUSY;
}

void FrameTransport::PumpReceived() {
    const std::chrono::milliseconds now = clock_();
    CanFrame frame;
    N2KMsg msg{};
    while (link_->Receive(frame)) {
        if (log_) log_->Record(frame, LineFormat::Direction::Received);
        outgoing_.clear();
        if (codec_.Receive(frame, now, msg, outgoing_)) received_.Push(msg);
        SendFrames(outgoing_);
    }
    // The firmware polls on every loop pass; stale sessions need looking
    // for only as often as their timeouts can tell.
    if (now - lastExpire_ < kExpireInterval) return;
    lastExpire_ = now;
    outgoing_.clear();
    codec_.Expire(now, outgoing_);
    SendFrames(outgoing_);
}

N2KStatus FrameTransport::Fetch(N2KMsg& msg) {
    PumpReceived();
    return received_.Pop(msg) ? N2K_OK : N2K_NO_MESSAGE;
}

}  // namespace ferrow::net

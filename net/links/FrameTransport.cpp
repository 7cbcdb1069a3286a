#include "net/links/FrameTransport.h"

#include "net/can/Framing.h"
#include "net/transport/OperatorMessage.h"
#include "platform/ProcessClock.h"

namespace ferrow::net {

FrameTransport::FrameTransport(std::unique_ptr<FrameLink> link, Clock clock,
                               std::unique_ptr<FrameLog> log)
    : link_(std::move(link)),
      clock_(std::move(clock)),
      log_(std::move(log)),
      toLink_([this](const CanFrame& frame) {
          if (!link_->Send(frame)) return false;
          ++framesOut_;
          busBits_ += Framing::BitsOf(frame);
          if (log_) log_->Record(frame, LineFormat::Direction::Transmitted);
          return true;
      }) {
    if (!clock_) clock_ = [] { return std::chrono::milliseconds(platform::ProcessClock::Ms64()); };
}

int FrameTransport::Open() {
    std::string error;
    const int opened = link_->Open(error);
    if (opened < 0) {
        OperatorMessage::Show(error);
        return opened;
    }
    // A recording that cannot be made is reported, never in traffic's way.
    if (log_ && log_->Open(error) < 0) OperatorMessage::Show(error);
    return opened;
}

void FrameTransport::Close() {
    link_->Close();
    transmit_.Clear();
    received_.Clear();
    if (log_) log_->Close();
}

bool FrameTransport::LinkUp() {
    if (link_->IsUp()) return true;
    transmit_.Clear();
    return false;
}

N2KStatus FrameTransport::Send(const N2KMsg& msg) {
    const std::size_t frames = N2KCanCodec::FramesAtOnce(msg);
    if (frames == 0) return N2K_BAD_MESSAGE;
    if (!LinkUp()) return N2K_NOT_CONNECTED;
    const std::chrono::milliseconds now = clock_();
    Transmit(now);
    if (!transmit_.Fits(frames)) return N2K_TX_BUSY;
    outgoing_.clear();
    const N2KStatus status = codec_.Send(msg, now, outgoing_);
    if (status != N2K_OK) return status;
    transmit_.Add(outgoing_, now);
    Transmit(now);
    return N2K_OK;
}

void FrameTransport::Transmit(std::chrono::milliseconds now) { transmit_.Drain(now, toLink_); }

void FrameTransport::PumpReceived(std::chrono::milliseconds now) {
    CanFrame frame;
    N2KMsg msg{};
    while (received_.Size() < kReceiveLimit && link_->Receive(frame)) {
        ++framesIn_;
        busBits_ += Framing::BitsOf(frame);
        if (log_) log_->Record(frame, LineFormat::Direction::Received);
        outgoing_.clear();
        if (codec_.Receive(frame, now, msg, outgoing_)) received_.Push(msg);
        if (outgoing_.empty()) continue;
        transmit_.Answer(outgoing_);
        Transmit(now);
    }
    // The firmware polls on every loop pass; stale sessions need looking
    // for only as often as their timeouts can tell.
    if (now - lastExpire_ < kExpireInterval) return;
    lastExpire_ = now;
    outgoing_.clear();
    codec_.Expire(now, outgoing_);
    transmit_.Answer(outgoing_);
}

N2KStatus FrameTransport::Fetch(N2KMsg& msg) {
    const std::chrono::milliseconds now = clock_();
    PumpReceived(now);
    if (LinkUp()) Transmit(now);
    return received_.Pop(msg) ? N2K_OK : N2K_NO_MESSAGE;
}

uint64_t FrameTransport::Dropped() const {
    FerrowGatewayStats link{};
    link_->AddStats(link);
    return received_.Dropped() + link.dropped;
}

void FrameTransport::AddStats(FerrowGatewayStats& stats) const {
    const CanCounters& codec = codec_.Counters();
    stats.framesIn += framesIn_;
    stats.framesOut += framesOut_;
    stats.busBits += busBits_;
    stats.dropped += received_.Dropped();
    stats.badInput += codec.malformed + codec.oversize;
    stats.transportTimeouts += codec.expired + codec.connectionsTimedOut;
    stats.transportAborts += codec.abortedBySender + codec.connectionsAborted;
    // An answer owed and lost is a send lost too: the other side's session
    // fails for it.
    stats.lostSends += transmit_.LostSends() + transmit_.LostAnswers();
    if (log_) stats.recordingFailures += log_->Failures();
    link_->AddStats(stats);
}

}  // namespace ferrow::net

// The receiving side of ISO transport: broadcasts and connections to us.
#include "net/can/IsoTransportAssembler.h"

#include <algorithm>

namespace ferrow::net {

namespace {
constexpr uint8_t kIsoTransport = 3;
using Frames = IsoTransportFrames;
}  // namespace

IsoTransportAssembler::IsoTransportAssembler(CanCounters& counters) : counters_(counters) {}

bool IsoTransportAssembler::Accept(const CanId& id, const CanFrame& frame,
                                   std::chrono::milliseconds now, N2KMsg& msg,
                                   std::vector<CanFrame>& replies) {
    const bool broadcast = id.destination == CanId::kGlobal;
    if (id.pgn == Frames::kDataPgn) {
        if (!broadcast && !ForUs(id)) return false;
        return Data(id, frame, broadcast, now, msg, replies);
    }
    if (!broadcast && !ForUs(id)) return false;
    if (frame.length < CanFrame::kMaxLength) {
        ++counters_.malformed;
        return false;
    }
    const uint8_t code = frame.data[0];
    if (code == Frames::kBam && broadcast) Announce(id, frame, true, now, replies);
    if (code == Frames::kRts && !broadcast) Announce(id, frame, false, now, replies);
    if (code == Frames::kAbort && !broadcast) {
        Session* session = Find(id.source, false, now, replies);
        if (session != nullptr && session->message.Id().pgn == Frames::PgnOf(frame)) {
            session->message.Abandon(counters_.abortedBySender);
        }
    }
    return false;
}

void IsoTransportAssembler::Announce(const CanId& id, const CanFrame& frame, bool broadcast,
                                     std::chrono::milliseconds now,
                                     std::vector<CanFrame>& replies) {
    const uint16_t size = Frames::SizeOf(frame);
    const CanId link{id.priority, Frames::PgnOf(frame), id.source,
                     broadcast ? CanId::kGlobal : own_};
    const auto refuse = [&](uint64_t& counter, Frames::AbortReason reason) {
        ++counter;
        if (!broadcast) replies.push_back(Frames::Abort(ReplyLink(link), reason));
    };
    if (size > Frames::kMaxSize) return refuse(counters_.oversize, Frames::kTooLarge);
    if (size < Frames::kMinSize || frame.data[3] != Frames::PacketsFor(size) || !link.Valid()) {
        return refuse(counters_.malformed, Frames::kOther);
    }
    Session* session = Find(id.source, broadcast, now, replies);
    if (session != nullptr) {
        // The sender gave up on the message it was sending and started this one.
        session->message.Abandon(counters_.incomplete);
    } else {
        session = Free();
    }
    if (session == nullptr) return refuse(counters_.noRoom, Frames::kBusy);
    session->broadcast = broadcast;
    session->message.Begin(link, size, Frames::PacketsFor(size), now + kPacketTimeout);
    if (broadcast) return;
    session->perCts = frame.data[4] == 0 ? Frames::kNoLimit : frame.data[4];
    Grant(*session, 1, now, replies);
}

bool IsoTransportAssembler::Data(const CanId& id, const CanFrame& frame, bool broadcast,
                                 std::chrono::milliseconds now, N2KMsg& msg,
                                 std::vector<CanFrame>& replies) {
    if (frame.length < 1) {
        ++counters_.malformed;
        return false;
    }
    Session* session = Find(id.source, broadcast, now, replies);
    const uint8_t sequence = frame.data[0];
    if (session == nullptr || sequence == 0 || sequence > session->message.Frames().Frames()) {
        ++counters_.orphanFrames;
        return false;
    }
    PartialMessage& message = session->message;
    const std::size_t carried = frame.length - 1u;
    if (message.Frames().Pending() && carried < Frames::BytesIn(sequence, message.Length())) {
        ++counters_.malformed;
        if (broadcast) {
            message.Frames().Discard();
        } else {
            Close(*session, Frames::kOther, replies);
        }
        return false;
    }
    message.SetDeadline(now + kPacketTimeout);
    const FrameAssembly::Step step =
        message.Add(sequence - 1u, Frames::OffsetOf(sequence), frame.data.data() + 1, carried);
    if (!broadcast) return ConnectionData(*session, step, sequence, now, msg, replies);
    PartialMessage::CountDrop(step, counters_);
    if (step != FrameAssembly::Step::kComplete) return false;
    message.Deliver(msg, kIsoTransport, now);
    message.Release();
    return true;
}

bool IsoTransportAssembler::ConnectionData(Session& session, FrameAssembly::Step step,
                                           uint8_t sequence, std::chrono::milliseconds now,
                                           N2KMsg& msg, std::vector<CanFrame>& replies) {
    PartialMessage& message = session.message;
    switch (step) {
        case FrameAssembly::Step::kStored:
            if (sequence == session.windowEnd) Grant(session, sequence + 1, now, replies);
            return false;
        case FrameAssembly::Step::kComplete:
            replies.push_back(Frames::EndOfMsgAck(ReplyLink(message.Id()), message.Length()));
            message.Deliver(msg, kIsoTransport, now);
            message.Release();
            return true;
        case FrameAssembly::Step::kGap:
        case FrameAssembly::Step::kOutOfOrder:
            // Packets of a connection come in order from one sender: a skipped
            // one was lost on the way, and the connection closes on the gap.
            ++counters_.incomplete;
            Close(session, Frames::kBadSequence, replies);
            return false;
        case FrameAssembly::Step::kDuplicate:
            ++counters_.duplicate;
            Close(session, Frames::kDuplicateSequence, replies);
            return false;
        case FrameAssembly::Step::kIgnored:
            return false;
    }
    return false;
}

void IsoTransportAssembler::Grant(Session& session, uint8_t next, std::chrono::milliseconds now,
                                  std::vector<CanFrame>& replies) {
    const unsigned remaining = session.message.Frames().Frames() - (next - 1u);
    const auto count = static_cast<uint8_t>(std::min<unsigned>(remaining, session.perCts));
    session.windowEnd = static_cast<uint8_t>(next + count - 1u);
    replies.push_back(Frames::Cts(ReplyLink(session.message.Id()), count, next));
    session.message.SetDeadline(now + kCtsTimeout);
}

void IsoTransportAssembler::Close(Session& session, Frames::AbortReason reason,
                                  std::vector<CanFrame>& replies) {
    replies.push_back(Frames::Abort(ReplyLink(session.message.Id()), reason));
    session.message.Release();
}

void IsoTransportAssembler::Expire(std::chrono::milliseconds now, std::vector<CanFrame>& replies) {
    for (Session& session : sessions_) {
        if (session.message.StaleAt(now)) Drop(session, replies);
    }
}

IsoTransportAssembler::Session* IsoTransportAssembler::Find(uint8_t source, bool broadcast,
                                                            std::chrono::milliseconds now,
                                                            std::vector<CanFrame>& replies) {
    for (Session& session : sessions_) {
        const PartialMessage& message = session.message;
        if (!message.InUse() || session.broadcast != broadcast || message.Id().source != source) {
            continue;
        }
        if (!message.StaleAt(now)) return &session;
        Drop(session, replies);
        return nullptr;
    }
    return nullptr;
}

void IsoTransportAssembler::Drop(Session& session, std::vector<CanFrame>& replies) {
    if (!session.broadcast) {
        replies.push_back(Frames::Abort(ReplyLink(session.message.Id()), Frames::kTimeout));
    }
    session.message.Abandon(counters_.expired);
}

IsoTransportAssembler::Session* IsoTransportAssembler::Free() {
    for (Session& session : sessions_) {
        if (!session.message.InUse()) return &session;
    }
    if (sessions_.size() == kSessions) return nullptr;
    return &sessions_.emplace_back(Session{PartialMessage(Frames::kMaxSize)});
}

CanId IsoTransportAssembler::ReplyLink(const CanId& link) {
    return CanId{Frames::kPriority, link.pgn, link.destination, link.source};
}

}  // namespace ferrow::net

// Fast-packet reassembly on the receiving side.
#include "net/can/FastPacketAssembler.h"

#include "net/can/FastPacketFrames.h"

namespace ferrow::net {

namespace {
constexpr uint8_t kFastPacketTransport = 2;
}  // namespace

FastPacketAssembler::FastPacketAssembler(CanCounters& counters) : counters_(counters) {}

bool FastPacketAssembler::Accept(const CanId& id, const CanFrame& frame,
                                 std::chrono::milliseconds now, N2KMsg& msg) {
    if (frame.length < 1) {
        ++counters_.malformed;
        return false;
    }
    Slot* slot = Find(id, now);
    if (FastPacketFrames::CounterOf(frame) == 0) return Start(id, frame, slot, now, msg);
    return Continue(frame, slot, now, msg);
}

bool FastPacketAssembler::Start(const CanId& id, const CanFrame& frame, Slot* slot,
                                std::chrono::milliseconds now, N2KMsg& msg) {
    const uint8_t sequence = FastPacketFrames::SequenceOf(frame);
    if (slot != nullptr && slot->message.Frames().Pending() && slot->sequence == sequence) {
        // The sender advances the id with every message, so this frame 0 came
        // before. A sender that never advances it still gets through once its
        // last message was dropped.
        PartialMessage::CountDrop(slot->message.Frames().Add(0), counters_);
        return false;
    }
    if (frame.length < 2) {
        ++counters_.malformed;
        return false;
    }
    const uint16_t length = frame.data[1];
    if (length > FastPacketFrames::kMaxLength) {
        ++counters_.oversize;
        return false;
    }
    const std::size_t carried = frame.length - FastPacketFrames::HeaderOf(0);
    if (carried < FastPacketFrames::BytesIn(0, length)) {
        ++counters_.malformed;
        return false;
    }
    if (slot != nullptr) {
        slot->message.Abandon(counters_.incomplete);
    } else {
        slot = &Claim(now);
    }
    slot->sequence = sequence;
    slot->message.Begin(id, length, FastPacketFrames::FramesFor(length), now + kFrameTimeout);
    return Continue(frame, slot, now, msg);
}

bool FastPacketAssembler::Continue(const CanFrame& frame, Slot* slot,
                                   std::chrono::milliseconds now, N2KMsg& msg) {
    const unsigned counter = FastPacketFrames::CounterOf(frame);
    if (slot == nullptr || slot->sequence != FastPacketFrames::SequenceOf(frame) ||
        counter >= slot->message.Frames().Frames()) {
        ++counters_.orphanFrames;
        return false;
    }
    PartialMessage& message = slot->message;
    message.SetDeadline(now + kFrameTimeout);
    const std::size_t header = FastPacketFrames::HeaderOf(counter);
    const std::size_t carried = frame.length > header ? frame.length - header : 0;
    const std::size_t share = FastPacketFrames::BytesIn(counter, message.Length());
    if (message.Frames().Pending() && carried < share) {
        ++counters_.malformed;
        message.Frames().Discard();
        return false;
    }
    const FrameAssembly::Step step = message.Add(counter, FastPacketFrames::OffsetOf(counter),
                                                 frame.data.data() + header, carried);
    PartialMessage::CountDrop(step, counters_);
    if (step != FrameAssembly::Step::kComplete) return false;
    message.Deliver(msg, kFastPacketTransport, now);
    message.Release();
    return true;
}

void FastPacketAssembler::Expire(std::chrono::milliseconds now) {
    for (Slot& slot : slots_) {
        if (slot.message.StaleAt(now)) slot.message.Abandon(counters_.expired);
    }
}

FastPacketAssembler::Slot* FastPacketAssembler::Find(const CanId& id,
                                                     std::chrono::milliseconds now) {
    for (Slot& slot : slots_) {
        const PartialMessage& message = slot.message;
        if (!message.InUse() || message.Id().source != id.source || message.Id().pgn != id.pgn) {
            continue;
        }
        if (!message.StaleAt(now)) return &slot;
        slot.message.Abandon(counters_.expired);
        return nullptr;
    }
    return nullptr;
}

FastPacketAssembler::Slot& FastPacketAssembler::Claim(std::chrono::milliseconds now) {
    for (Slot& slot : slots_) {
        if (!slot.message.InUse()) return slot;
    }
    if (slots_.size() < kSlots) {
        return slots_.emplace_back(Slot{PartialMessage(FastPacketFrames::kMaxLength), 0});
    }
    Slot* oldest = &slots_.front();
    for (Slot& slot : slots_) {
        if (slot.message.Deadline() < oldest->message.Deadline()) oldest = &slot;
    }
    oldest->message.Abandon(oldest->message.StaleAt(now) ? counters_.expired : counters_.noRoom);
    return *oldest;
}

}  // namespace ferrow::net

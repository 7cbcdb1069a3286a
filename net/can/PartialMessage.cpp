// Keeping the bytes of one message while its frames come in.
#include "net/can/PartialMessage.h"

#include <algorithm>
#include <cstring>

namespace ferrow::net {

PartialMessage::PartialMessage(std::size_t capacity) : capacity_(capacity) {}

void PartialMessage::Begin(const CanId& id, uint16_t length, unsigned frames,
                           std::chrono::milliseconds deadline) {
    id_ = id;
    length_ = static_cast<uint16_t>(std::min<std::size_t>(length, capacity_));
    if (data_.size() < length_) data_.resize(length_);
    frames_.Start(frames);
    deadline_ = deadline;
    inUse_ = true;
}

void PartialMessage::Abandon(uint64_t& counter) {
    if (inUse_ && frames_.Pending()) ++counter;
    inUse_ = false;
}

FrameAssembly::Step PartialMessage::Add(unsigned index, std::size_t offset, const uint8_t* bytes,
                                        std::size_t count) {
    const FrameAssembly::Step step = frames_.Add(index);
    const bool keep =
        step == FrameAssembly::Step::kStored || step == FrameAssembly::Step::kComplete;
    if (keep && offset < length_) {
        std::memcpy(data_.data() + offset, bytes, std::min<std::size_t>(count, length_ - offset));
    }
    return step;
}

void PartialMessage::CountDrop(FrameAssembly::Step step, CanCounters& counters) {
    if (step == FrameAssembly::Step::kDuplicate) ++counters.duplicate;
    if (step == FrameAssembly::Step::kOutOfOrder) ++counters.outOfOrder;
}

void PartialMessage::Deliver(N2KMsg& msg, uint8_t transport, std::chrono::milliseconds now) const {
    msg.pgn = id_.pgn;
    msg.priority = id_.priority;
    msg.addressA = id_.source;
    msg.addressB = id_.destination;
    msg.transport = transport;
    msg.length = length_;
    if (length_ > 0) std::memcpy(msg.data, data_.data(), length_);
    msg.timeStamp = static_cast<uint32_t>(now.count() / 10);
}

}  // namespace ferrow::net

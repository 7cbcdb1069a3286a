#include "net/transport/MessageQueue.h"

#include <algorithm>
#include <cstring>

namespace ferrow::net {
namespace {

// A packed record: the fields before the payload as they lie in N2KMsg
// (pgn to length), the time stamp, then the stored payload.
constexpr std::size_t kLead = offsetof(N2KMsg, data);
constexpr std::size_t kHeader = kLead + sizeof(N2KMsg::timeStamp);

// A corrupt length keeps its value but never reads past the data field.
std::size_t StoredPayload(uint16_t length) { return std::min<std::size_t>(length, N2KMsg::kMaxData); }

}  // namespace

bool MessageQueue::Push(const N2KMsg& msg) {
    unsigned char header[kHeader];
    std::memcpy(header, &msg, kLead);
    std::memcpy(header + kLead, &msg.timeStamp, sizeof msg.timeStamp);
    std::lock_guard<std::mutex> lock(mutex_);
    if (size_ >= capacity_) {
        ++dropped_;
        return false;
    }
    records_.Append(header, kHeader);
    records_.Append(msg.data, StoredPayload(msg.length));
    ++size_;
    return true;
}

bool MessageQueue::Pop(N2KMsg& msg) {
    unsigned char header[kHeader];
    std::lock_guard<std::mutex> lock(mutex_);
    if (size_ == 0) return false;
    records_.Take(header, kHeader);
    std::memcpy(&msg, header, kLead);
    std::memcpy(&msg.timeStamp, header + kLead, sizeof msg.timeStamp);
    records_.Take(msg.data, StoredPayload(msg.length));
    --size_;
    return true;
}

void MessageQueue::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.Clear();
    size_ = 0;
}

std::size_t MessageQueue::Size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return size_;
}

std::size_t MessageQueue::ReservedBytes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return records_.ReservedBytes();
}

uint64_t MessageQueue::Dropped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
}

}  // namespace ferrow::net

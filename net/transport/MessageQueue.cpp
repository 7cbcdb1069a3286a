#include "net/transport/MessageQueue.h"

#include "net/transport/N2KRecord.h"

namespace ferrow::net {

bool MessageQueue::Push(const N2KMsg& msg) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (slots_.size() >= capacity_) {
        ++dropped_;
        return false;
    }
    slots_.emplace_back();
    N2KRecord::Copy(&slots_.back().msg, &msg);
    return true;
}

bool MessageQueue::Pop(N2KMsg& msg) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (slots_.empty()) return false;
    N2KRecord::Copy(&msg, &slots_.front().msg);
    slots_.pop_front();
    return true;
}

void MessageQueue::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    slots_.clear();
}

std::size_t MessageQueue::Size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return slots_.size();
}

uint64_t MessageQueue::Dropped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
}

}  // namespace ferrow::net

#include "net/RecordQueue.h"

#include "net/N2KRecord.h"

#include <algorithm>

namespace ferrow::net {
namespace {

// 64 slots hold a burst of ordinary traffic without growing; growth doubles.
constexpr std::size_t kFirstCapacity = 64;

}  // namespace

RecordQueue::RecordQueue(std::size_t limit) : limit_(limit) {}

bool RecordQueue::Push(const N2KMsg& msg) {
    if (size_ == capacity_) {
        if (capacity_ == limit_) return false;
        Grow();
    }
    std::size_t tail = head_ + size_;
    if (tail >= capacity_) tail -= capacity_;
    net::N2KRecord::Copy(&slots_[tail], &msg);
    ++size_;
    return true;
}

bool RecordQueue::Pop(N2KMsg& msg) {
    if (size_ == 0) return false;
    net::N2KRecord::Copy(&msg, &slots_[head_]);
    if (++head_ == capacity_) head_ = 0;
    --size_;
    return true;
}

void RecordQueue::Clear() {
    slots_.reset();
    capacity_ = 0;
    head_ = 0;
    size_ = 0;
}

void RecordQueue::Grow() {
    const std::size_t capacity = std::min(limit_, std::max(kFirstCapacity, 2 * capacity_));
    // Default-initialised: a slot's bytes past its message's length are never
    // read, so they are never written either.
    std::unique_ptr<N2KMsg[]> slots(new N2KMsg[capacity]);
    for (std::size_t i = 0; i < size_; ++i) {
        net::N2KRecord::Copy(&slots[i], &slots_[(head_ + i) % capacity_]);
    }
    slots_ = std::move(slots);
    capacity_ = capacity;
    head_ = 0;
}

}  // namespace ferrow::net

#include "net/transport/MessageQueue.h"

#include "net/transport/N2KRecord.h"

namespace ferrow::net {

bool MessageQueue::Push(const N2KMsg& msg) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (size_ >= capacity_) {
        ++dropped_;
        return false;
    }
    const std::size_t tail = head_ + size_;
    if (tail == blocks_.size() * kBlock) {
        blocks_.push_back(spare_ ? std::move(spare_) : std::unique_ptr<Block>(new Block));
    }
    N2KRecord::Copy(&blocks_[tail / kBlock]->slots[tail % kBlock], &msg);
    ++size_;
    return true;
}

bool MessageQueue::Pop(N2KMsg& msg) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (size_ == 0) return false;
    N2KRecord::Copy(&msg, &blocks_.front()->slots[head_]);
    --size_;
    // An empty queue gives back its last block too.
    if (++head_ == kBlock || size_ == 0) {
        spare_ = std::move(blocks_.front());
        blocks_.pop_front();
        head_ = 0;
    }
    return true;
}

void MessageQueue::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    blocks_.clear();
    spare_.reset();
    head_ = 0;
    size_ = 0;
}

std::size_t MessageQueue::Size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return size_;
}

uint64_t MessageQueue::Dropped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
}

}  // namespace ferrow::net

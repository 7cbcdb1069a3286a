#include "n2k/MessageStore.h"

#include "net/N2KRecord.h"

#include <algorithm>

namespace ferrow::n2k {
namespace {

// Slots are counted in 32 bits; a larger request is held to 2^20 messages
// (1.8 GB), far beyond what a display or a test needs.
constexpr unsigned long kMaxCapacity = 1ul << 20;

}  // namespace

MessageStore::MessageStore(unsigned long capacity)
    : slots_(std::min(capacity, kMaxCapacity)),
      capacity_(static_cast<int32_t>(slots_.size())),
      free_(capacity_) {}

int MessageStore::Put(const N2KMsg* msg) {
    if (msg == nullptr) return -1;
    ++offered_;
    if (free_ < 1) return 0;
    net::N2KRecord::Copy(&slots_[write_], msg);
    write_ = Next(write_);
    --free_;
    return 1;
}

int MessageStore::Get(N2KMsg* msg) {
    if (free_ == capacity_) return 0;
    net::N2KRecord::Copy(msg, &slots_[read_]);
    read_ = Next(read_);
    ++free_;
    return 1;
}

void MessageStore::Clear() {
    write_ = 0;
    read_ = 0;
    offered_ = 0;
    free_ = capacity_;
}

}  // namespace ferrow::n2k

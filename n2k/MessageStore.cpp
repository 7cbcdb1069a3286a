#include "n2k/MessageStore.h"

#include <algorithm>

namespace ferrow::n2k {
namespace {

// Held to 2^20 messages (23 MB when full of single frames, 1.8 GB of the
// longest messages), far beyond what a display or a test needs.
constexpr unsigned long kMaxCapacity = 1ul << 20;

}  // namespace

// The capacity is a 32-bit quantity on the target: taken modulo 2^32 first.
MessageStore::MessageStore(unsigned long capacity)
    : queue_(std::min<unsigned long>(static_cast<uint32_t>(capacity), kMaxCapacity)) {}

int MessageStore::Put(const N2KMsg* msg) {
    if (msg == nullptr) return -1;
    ++offered_;
    return queue_.Push(*msg) ? 1 : 0;
}

int MessageStore::Get(N2KMsg* msg) {
    N2KMsg discarded;
    return queue_.Pop(msg != nullptr ? *msg : discarded) ? 1 : 0;
}

void MessageStore::Clear() {
    queue_.Clear();
    offered_ = 0;
}

}  // namespace ferrow::n2k

// A fixed-capacity first-in first-out store of message records. A full store
// drops the new message and keeps the oldest; `offered` counts every message
// offered since the last clear, dropped ones included. Not locked itself: its
// owner serialises every call under its own lock.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstdint>
#include <vector>

namespace ferrow::n2k {

class MessageStore {
public:
    // A capacity of 0 gives a store that drops everything.
    explicit MessageStore(unsigned long capacity);

    // 1 stored, 0 dropped because full, -1 for a null message.
    int Put(const N2KMsg* msg);
    // 1 when the oldest message was taken (copied into `msg` unless null),
    // 0 when empty, leaving `msg` untouched.
    int Get(N2KMsg* msg);
    void Clear();

    uint32_t Offered() const { return offered_; }
    int32_t Count() const { return capacity_ - free_; }
    int32_t Capacity() const { return capacity_; }

private:
    int32_t Next(int32_t index) const { return index + 1 == capacity_ ? 0 : index + 1; }

    std::vector<N2KMsg> slots_;
    int32_t capacity_;
    int32_t write_ = 0;
    int32_t read_ = 0;
    int32_t free_;
    uint32_t offered_ = 0;
};

}  // namespace ferrow::n2k

// A bounded first-in first-out queue of message records whose slots are
// allocated as the backlog grows, so an idle receiver costs a few kilobytes
// and a full one at most `limit` records. Not locked itself: its owner
// serialises every call under its own lock.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <memory>

namespace ferrow::net {

class RecordQueue {
public:
    explicit RecordQueue(std::size_t limit);

    // False, keeping the queue as it was, when `limit` records are queued.
    bool Push(const N2KMsg& msg);
    // False, leaving `msg` untouched, when nothing is queued.
    bool Pop(N2KMsg& msg);
    // Empties the queue and returns its slots.
    void Clear();
    std::size_t Size() const { return size_; }

private:
    void Grow();

    std::unique_ptr<N2KMsg[]> slots_;
    std::size_t capacity_ = 0;
    std::size_t head_ = 0;
    std::size_t size_ = 0;
    std::size_t limit_;
};

}  // namespace ferrow::net

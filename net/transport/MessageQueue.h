// The bounded first-in first-out queue of message records behind every
// receive side: a full queue keeps the oldest and counts the new message as
// dropped. Each record is kept packed, its header and only its valid payload,
// in chunks taken as the queue fills and given back as it empties, so memory
// follows the backlog, never the capacity: 4,096 address claims take 90 kB,
// not 7 MB, and an idle queue keeps one chunk at most. Locked itself, so
// that one thread may fill it while another empties it.
#pragma once

#include "buffers/ChunkedBytes.h"

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace ferrow::net {

class MessageQueue {
public:
    // A capacity of 0 gives a queue that drops everything.
    explicit MessageQueue(std::size_t capacity) : capacity_(capacity) {}
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    // False, counting the message as dropped, when `capacity` are queued.
    bool Push(const N2KMsg& msg);
    // False, leaving `msg` untouched, when nothing is queued. Bytes past the
    // message's length keep what they held.
    bool Pop(N2KMsg& msg);
    // Empties the queue and gives back its memory; the drop count stays.
    void Clear();

    std::size_t Size() const;
    // Memory held for records.
    std::size_t ReservedBytes() const;
    std::size_t Capacity() const { return capacity_; }
    // Messages refused because the queue was full, over its life.
    uint64_t Dropped() const;

private:
    const std::size_t capacity_;
    mutable std::mutex mutex_;  // protects: records_, size_, dropped_
    buffers::ChunkedBytes records_;
    std::size_t size_ = 0;
    uint64_t dropped_ = 0;
};

}  // namespace ferrow::net

// The bounded first-in first-out queue of message records behind every
// receive side: a full queue keeps the oldest and counts the new message as
// dropped. Records live in blocks taken as the queue fills and given back as
// it empties, so memory follows the backlog, never the capacity: an idle
// queue of 4,096 records keeps one block of 16 at most, not 7 MB. Locked
// itself, so that one thread may fill it while another empties it.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
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
    // Empties the queue; the drop count stays.
    void Clear();

    std::size_t Size() const;
    std::size_t Capacity() const { return capacity_; }
    // Messages refused because the queue was full, over its life.
    uint64_t Dropped() const;

private:
    static constexpr std::size_t kBlock = 16;
    // Left uninitialised: only the header and the valid payload are written.
    struct Block {
        Block() {}
        N2KMsg slots[kBlock];
    };

    const std::size_t capacity_;
    mutable std::mutex mutex_;  // protects: blocks_, spare_, head_, size_, dropped_
    std::deque<std::unique_ptr<Block>> blocks_;
    // The block emptied last, kept so that a queue going to and fro across a
    // block's end does not allocate each time.
    std::unique_ptr<Block> spare_;
    std::size_t head_ = 0;  // the oldest record's place in the first block
    std::size_t size_ = 0;
    uint64_t dropped_ = 0;
};

}  // namespace ferrow::net

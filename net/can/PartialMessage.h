// One message being put together from its frames: its identifier fields, its
// announced length, which frames came, the bytes so far and when it goes
// stale. Its bytes grow to the longest message it has held, never past its
// capacity, so an assembler's memory stays bounded whatever arrives and is
// small while little does.
#pragma once

#include "net/can/CanCounters.h"
#include "net/can/CanId.h"
#include "net/can/FrameAssembly.h"

#include <ferrow/N2KMsg.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class PartialMessage {
public:
    explicit PartialMessage(std::size_t capacity);

    // `length` is at most the capacity: callers refuse longer ones first.
    void Begin(const CanId& id, uint16_t length, unsigned frames,
               std::chrono::milliseconds deadline);
    void Release() { inUse_ = false; }
    // Releases the message, adding one to `counter` when that loses it.
    void Abandon(uint64_t& counter);

    bool InUse() const { return inUse_; }
    bool StaleAt(std::chrono::milliseconds now) const { return inUse_ && now >= deadline_; }
    const CanId& Id() const { return id_; }
    uint16_t Length() const { return length_; }
    FrameAssembly& Frames() { return frames_; }
    std::chrono::milliseconds Deadline() const { return deadline_; }
    void SetDeadline(std::chrono::milliseconds deadline) { deadline_ = deadline; }

    // Records frame `index` and, while the message can still complete, copies
    // `count` bytes to `offset`, never past the announced length.
    FrameAssembly::Step Add(unsigned index, std::size_t offset, const uint8_t* bytes,
                            std::size_t count);
    // Counts the drop that a step of Add revealed, if any.
    static void CountDrop(FrameAssembly::Step step, CanCounters& counters);

    // Writes the whole message into `msg`, stamped with `now` in the record's
    // 10 ms units.
    void Deliver(N2KMsg& msg, uint8_t transport, std::chrono::milliseconds now) const;

private:
    std::size_t capacity_;
    std::vector<uint8_t> data_;
    CanId id_;
    uint16_t length_ = 0;
    FrameAssembly frames_;
    std::chrono::milliseconds deadline_{0};
    bool inUse_ = false;
};

}  // namespace ferrow::net

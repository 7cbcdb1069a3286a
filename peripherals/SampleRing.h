// The ring under every sample queue: the ADC's per-channel sample queue and
// the input-capture queue. One writer position, one reader position that
// never reaches it, and the oldest slot that still holds a readable sample.
// Not locked itself: its owner serialises every call under its own lock.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace ferrow::peripherals {

template <typename Slot>
class SampleRing {
public:
    // The firmware's fill counter is 16 bits; owners refuse longer queues.
    static constexpr unsigned long kMaxLength = 65535;

    // A length of 0 gives a ring that refuses every put.
    explicit SampleRing(uint32_t length) : slots_(length) {}

    uint32_t Length() const { return static_cast<uint32_t>(slots_.size()); }
    // Nothing put since creation or the last reset.
    bool Empty() const { return fill_ == 0; }
    uint32_t WritePosition() const { return write_; }
    uint32_t ReadPosition() const { return read_; }
    uint32_t ReadWraps() const { return wraps_; }
    // Sequence number of the sample at the reader, counted since creation or
    // reset; wraps at 2^32 like the target's counter.
    uint32_t Sequence() const { return wraps_ * Length() + read_; }

    Slot At(uint32_t slot) const { return slots_[slot]; }
    // The slot `back` places before the writer (1: the newest), modulo the length.
    Slot Before(uint32_t back) const {
        const uint32_t q = Length();
        return slots_[(write_ + q - back % q) % q];
    }

    // One slot always stays free before the reader, so a put never overwrites
    // the sample being read. A one-slot ring has no room for that rule: its
    // slot is always overwritten.
    bool Full() const {
        const uint32_t q = Length();
        return q == 0 || (q != 1 && Next(write_) == read_);
    }

    // Only when !Full().
    void Put(Slot sample) {
        slots_[write_] = sample;
        write_ = Next(write_);
        if (fill_ < Length()) ++fill_;
        if (fill_ == Length()) oldest_ = write_;
    }

    // Only when !Empty(). Copies up to n samples, newest first: the reader's,
    // then backwards down to the oldest readable one, each through `convert`.
    // With `advance` the reader then steps on, unless the next slot is the
    // writer's: it stays on the newest sample and reads it again.
    template <class Out, class Convert>
    int Read(Out* out, int n, bool advance, Convert convert) {
        const uint32_t available = Distance(oldest_, read_) + 1;
        const uint32_t k = n > 0 ? std::min(static_cast<uint32_t>(n), available) : 0;
        uint32_t slot = read_;
        for (uint32_t i = 0; i < k; ++i) {
            out[i] = convert(slots_[slot]);
            slot = slot == 0 ? Length() - 1 : slot - 1;
        }
        if (advance && Next(read_) != write_) StepReader(1);
        return static_cast<int>(k);
    }

    // Moves the reader on by up to n of the samples stored after it; returns
    // how many. A negative n skips nothing.
    int Skip(int n) {
        if (write_ == read_ || n <= 0) return 0;
        const uint32_t newer = Distance(read_, write_) - 1;
        const uint32_t k = std::min(static_cast<uint32_t>(n), newer);
        StepReader(k);
        return static_cast<int>(k);
    }

    // Empties the ring but keeps the stored samples, as the device's queue
    // does: a reader never goes back past the oldest readable slot, so none
    // of them is read again, while a window set up afterwards sums them.
    void Reset() { write_ = read_ = oldest_ = wraps_ = fill_ = 0; }

private:
    uint32_t Next(uint32_t slot) const { return slot + 1 == Length() ? 0 : slot + 1; }
    // (to - from) modulo the length.
    uint32_t Distance(uint32_t from, uint32_t to) const {
        return to >= from ? to - from : to + Length() - from;
    }
    // k is below the length, so the reader wraps at most once.
    void StepReader(uint32_t k) {
        read_ += k;
        if (read_ >= Length()) {
            read_ -= Length();
            ++wraps_;
        }
    }

    std::vector<Slot> slots_;
    uint32_t write_ = 0;
    uint32_t read_ = 0;
    uint32_t oldest_ = 0;  // 0 until the ring has been filled once, then the writer's slot
    uint32_t wraps_ = 0;   // times the reader went from the last slot to 0
    uint32_t fill_ = 0;    // samples put, counting up to the length and staying there
};

}  // namespace ferrow::peripherals

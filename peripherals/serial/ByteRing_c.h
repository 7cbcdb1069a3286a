// A fixed-capacity byte queue guarded by its own mutex: one direction of an
// emulated serial line. Appends are all or nothing, so a message the firmware
// writes is never cut in two by a full ring.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

namespace ferrow::peripherals {

class ByteRing_c {
public:
    explicit ByteRing_c(uint32_t size);
    ByteRing_c(const ByteRing_c&) = delete;
    ByteRing_c& operator=(const ByteRing_c&) = delete;

    // All `len` bytes, or none: `len`, or -1 when they do not fit, `len` is
    // negative or `data` is null.
    int Put(const unsigned char* data, int len);

    // Take, Peek and Skip move up to `len` bytes (a negative `len` moves
    // none) and return how many; -1 for a null buffer.
    int Take(unsigned char* buffer, int len);
    int Peek(unsigned char* buffer, int len);
    int Skip(int len);

    // Takes one line ending in CR or LF, terminator included, and writes it
    // zero-terminated: its length, 0 when no whole line is there (an
    // unterminated line waits unless it fills `size` - 1 bytes), -1 for a
    // null buffer.
    int TakeLine(char* buffer, int size);

    void Empty();
    uint32_t Count();
    uint32_t Size() const { return size_; }

private:
    // The position `n` bytes after `index`, wrapping at the end of storage.
    uint32_t Advance(uint32_t index, uint32_t n) const {
        return n < size_ - index ? index + n : n - (size_ - index);
    }
    uint32_t Limit(int len) const { return len > 0 ? uint32_t(len) : 0; }
    // Copies the oldest `n` bytes (n <= count_) without taking them.
    void CopyOutLocked(unsigned char* out, uint32_t n) const;
    void DropLocked(uint32_t n);

    const uint32_t size_;
    const std::unique_ptr<unsigned char[]> bytes_;
    std::mutex mutex_;  // protects: read_, write_, count_ and the bytes they delimit
    uint32_t read_ = 0;
    uint32_t write_ = 0;
    uint32_t count_ = 0;
};

}  // namespace ferrow::peripherals

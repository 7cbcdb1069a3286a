// A bounded byte queue guarded by its own mutex: one direction of an emulated
// serial line. Appends are all or nothing, so a message the firmware writes
// is never cut in two by a full ring. Its bytes live in chunks taken and
// given back as it fills and empties: a quiet port costs a chunk at most,
// not its whole size.
#pragma once

#include "buffers/ChunkedBytes.h"

#include <cstdint>
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
    // Memory held for bytes.
    std::size_t ReservedBytes();

private:
    uint32_t Limit(int len) const { return len > 0 ? uint32_t(len) : 0; }
    uint32_t CountLocked() const { return uint32_t(bytes_.Size()); }

    const uint32_t size_;
    std::mutex mutex_;  // protects: bytes_
    buffers::ChunkedBytes bytes_;
};

}  // namespace ferrow::peripherals

// The serial byte ring: every operation holds the ring's mutex from start to
// end, so a writer and a reader on different threads each see whole updates.
#include "peripherals/serial/ByteRing_c.h"

#include <algorithm>

namespace ferrow::peripherals {
namespace {

bool IsLineEnd(unsigned char byte) { return byte == '\n' || byte == '\r'; }

}  // namespace

ByteRing_c::ByteRing_c(uint32_t size) : size_(size) {}

int ByteRing_c::Put(const unsigned char* data, int len) {
    if (data == nullptr || len < 0) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    if (uint32_t(len) > size_ - CountLocked()) return -1;
    bytes_.Append(data, uint32_t(len));
    return len;
}

int ByteRing_c::Take(unsigned char* buffer, int len) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = std::min(CountLocked(), Limit(len));
    bytes_.Take(buffer, n);
    return int(n);
}

int ByteRing_c::Peek(unsigned char* buffer, int len) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = std::min(CountLocked(), Limit(len));
    bytes_.CopyOut(buffer, n);
    return int(n);
}

int ByteRing_c::Skip(int len) {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = std::min(CountLocked(), Limit(len));
    bytes_.Take(nullptr, n);
    return int(n);
}

int ByteRing_c::TakeLine(char* buffer, int size) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    if (CountLocked() == 0 || size < 2) return 0;
    const uint32_t room = uint32_t(size) - 1;
    const uint32_t limit = std::min(CountLocked(), room);
    const std::optional<std::size_t> end = bytes_.Find(limit, IsLineEnd);
    // The caller's buffer is only written when a line is taken.
    if (!end && limit < room) return 0;
    const uint32_t n = end ? uint32_t(*end + 1) : limit;
    bytes_.Take(buffer, n);
    buffer[n] = '\0';
    return int(n);
}

void ByteRing_c::Empty() {
    std::lock_guard<std::mutex> lock(mutex_);
    bytes_.Clear();
}

uint32_t ByteRing_c::Count() {
    std::lock_guard<std::mutex> lock(mutex_);
    return CountLocked();
}

std::size_t ByteRing_c::ReservedBytes() {
    std::lock_guard<std::mutex> lock(mutex_);
    return bytes_.ReservedBytes();
}

}  // namespace ferrow::peripherals

// The serial byte ring: every operation holds the ring's mutex from start to
// end, so a writer and a reader on different threads each see whole updates.
#include "peripherals/serial/ByteRing_c.h"

#include <algorithm>
#include <cstring>

namespace ferrow::peripherals {
namespace {

bool IsLineEnd(unsigned char byte) { return byte == '\n' || byte == '\r'; }

}  // namespace

ByteRing_c::ByteRing_c(uint32_t size) : size_(size), bytes_(new unsigned char[size]) {}

int ByteRing_c::Put(const unsigned char* data, int len) {
    if (data == nullptr || len < 0) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = uint32_t(len);
    if (n > size_ - count_) return -1;
    const uint32_t first = std::min(n, size_ - write_);
    std::memcpy(&bytes_[write_], data, first);
    std::memcpy(&bytes_[0], data + first, n - first);
    write_ = Advance(write_, n);
    count_ += n;
    return len;
}

int ByteRing_c::Take(unsigned char* buffer, int len) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = std::min(count_, Limit(len));
    CopyOutLocked(buffer, n);
    DropLocked(n);
    return int(n);
}

int ByteRing_c::Peek(unsigned char* buffer, int len) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = std::min(count_, Limit(len));
    CopyOutLocked(buffer, n);
    return int(n);
}

int ByteRing_c::Skip(int len) {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint32_t n = std::min(count_, Limit(len));
    DropLocked(n);
    return int(n);
}

int ByteRing_c::TakeLine(char* buffer, int size) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(mutex_);
    if (count_ == 0 || size < 2) return 0;
    const uint32_t room = uint32_t(size) - 1;
    const uint32_t limit = std::min(count_, room);
    uint32_t n = 0;
    bool ended = false;
    for (uint32_t at = read_; n < limit && !ended; at = Advance(at, 1)) {
        ended = IsLineEnd(bytes_[at]);
        ++n;
    }
    // The caller's buffer is only written when a line is taken.
    if (!ended && n < room) return 0;
    CopyOutLocked(reinterpret_cast<unsigned char*>(buffer), n);
    DropLocked(n);
    buffer[n] = '\0';
    return int(n);
}

void ByteRing_c::Empty() {
    std::lock_guard<std::mutex> lock(mutex_);
    read_ = write_ = count_ = 0;
}

uint32_t ByteRing_c::Count() {
    std::lock_guard<std::mutex> lock(mutex_);
    return count_;
}

void ByteRing_c::CopyOutLocked(unsigned char* out, uint32_t n) const {
    const uint32_t first = std::min(n, size_ - read_);
    std::memcpy(out, &bytes_[read_], first);
    std::memcpy(out + first, &bytes_[0], n - first);
}

void ByteRing_c::DropLocked(uint32_t n) {
    read_ = Advance(read_, n);
    count_ -= n;
}

}  // namespace ferrow::peripherals

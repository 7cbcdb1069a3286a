// Reads a received payload field by field, little-endian. Every read checks
// what is left, so a short or lying message is refused, never overrun.
#pragma once

#include <cstddef>
#include <cstdint>

namespace monitor {

class N2kReader {
public:
    N2kReader(const uint8_t* data, std::size_t length) : data_(data), length_(length) {}

    std::size_t Remaining() const { return length_ - at_; }

    // An unsigned value of `bytes` (1 to 4) bytes; false, reading nothing,
    // when fewer are left.
    bool Unsigned(std::size_t bytes, uint32_t& out) {
        if (bytes == 0 || bytes > 4 || Remaining() < bytes) return false;
        out = 0;
        for (std::size_t i = 0; i < bytes; ++i) out |= uint32_t{data_[at_ + i]} << (8 * i);
        at_ += bytes;
        return true;
    }
    bool U8(uint8_t& out) {
        uint32_t value = 0;
        if (!Unsigned(1, value)) return false;
        out = static_cast<uint8_t>(value);
        return true;
    }
    bool U24(uint32_t& out) { return Unsigned(3, out); }
    bool U64(uint64_t& out) {
        uint32_t low = 0;
        uint32_t high = 0;
        if (Remaining() < 8) return false;
        Unsigned(4, low);
        Unsigned(4, high);
        out = uint64_t{high} << 32 | low;
        return true;
    }
    bool Skip(std::size_t bytes) {
        if (Remaining() < bytes) return false;
        at_ += bytes;
        return true;
    }

private:
    const uint8_t* data_;
    std::size_t length_;
    std::size_t at_ = 0;
};

}  // namespace monitor

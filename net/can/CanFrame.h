// One CAN frame with a 29-bit identifier, as the codec hands it to a
// transport and takes it back: the identifier, the data length code and up to
// eight data bytes. Only the first `length` bytes belong to the frame.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace ferrow::net {

struct CanFrame {
    static constexpr uint32_t kIdMask = 0x1FFFFFFF;
    static constexpr uint8_t kMaxLength = 8;

    uint32_t id = 0;
    uint8_t length = 0;
    std::array<uint8_t, kMaxLength> data{};

    // Equal as seen on the bus: the bytes past `length` do not count.
    friend bool operator==(const CanFrame& a, const CanFrame& b) {
        if (a.id != b.id || a.length != b.length) return false;
        const uint8_t n = std::min(a.length, kMaxLength);
        return std::equal(a.data.begin(), a.data.begin() + n, b.data.begin());
    }
    friend bool operator!=(const CanFrame& a, const CanFrame& b) { return !(a == b); }
};

}  // namespace ferrow::net

#include "net/can/CanBitTiming.h"

#include "net/can/Framing.h"

#include <algorithm>
#include <array>

namespace ferrow::net {
namespace {

// Start of frame to the end of the CRC: what stuffing covers.
constexpr unsigned kMostStuffedBits = 54 + 8 * CanFrame::kMaxLength;
constexpr uint16_t kCrcPolynomial = 0x4599;
constexpr unsigned kCrcBits = 15;

class BitString {
public:
    // The low `count` bits of `value`, most significant first.
    void Put(uint32_t value, unsigned count) {
        while (count-- > 0) bits_[size_++] = (value >> count) & 1u;
    }
    uint16_t Crc() const {
        uint16_t crc = 0;
        for (unsigned i = 0; i < size_; ++i) {
            const bool feedback = ((crc >> (kCrcBits - 1)) & 1u) != bits_[i];
            crc = static_cast<uint16_t>((crc << 1) & 0x7FFF);
            if (feedback) crc ^= kCrcPolynomial;
        }
        return crc;
    }
    unsigned StuffBits() const {
        unsigned stuffed = 0;
        unsigned run = 0;
        uint8_t level = 2;
        for (unsigned i = 0; i < size_; ++i) {
            run = bits_[i] == level ? run + 1 : 1;
            level = bits_[i];
            if (run == 5) {
                ++stuffed;
                level ^= 1u;
                run = 1;
            }
        }
        return stuffed;
    }

private:
    std::array<uint8_t, kMostStuffedBits> bits_{};
    unsigned size_ = 0;
};

CanFrame AsSent(const CanFrame& frame) {
    CanFrame sent = frame;
    sent.id &= CanFrame::kIdMask;
    sent.length = std::min(frame.length, CanFrame::kMaxLength);
    return sent;
}

}  // namespace

unsigned CanBitTiming::StuffBits(const CanFrame& frame) {
    const CanFrame sent = AsSent(frame);
    BitString bits;
    bits.Put(0, 1);             // start of frame
    bits.Put(sent.id >> 18, 11);
    bits.Put(0b11, 2);          // substitute remote request, identifier extension
    bits.Put(sent.id, 18);
    bits.Put(0, 3);             // data frame, two reserved bits
    bits.Put(sent.length, 4);
    for (uint8_t i = 0; i < sent.length; ++i) bits.Put(sent.data[i], 8);
    bits.Put(bits.Crc(), kCrcBits);
    return bits.StuffBits();
}

unsigned CanBitTiming::WireBits(const CanFrame& frame) {
    return static_cast<unsigned>(Framing::BitsOf(AsSent(frame))) + StuffBits(frame);
}

}  // namespace ferrow::net

// The fast-packet frame layout.
#include "net/can/FastPacketFrames.h"

namespace ferrow::net {

namespace {
constexpr unsigned kFirstBytes = 6;
constexpr unsigned kLaterBytes = 7;
}  // namespace

unsigned FastPacketFrames::FramesFor(uint16_t length) {
    if (length <= kFirstBytes) return 1;
    return 1 + (length - kFirstBytes + kLaterBytes - 1) / kLaterBytes;
}

std::size_t FastPacketFrames::OffsetOf(unsigned counter) {
    return counter == 0 ? 0 : kFirstBytes + (counter - 1) * kLaterBytes;
}

std::size_t FastPacketFrames::BytesIn(unsigned counter, uint16_t length) {
    const std::size_t offset = OffsetOf(counter);
    if (offset >= length) return 0;
    const std::size_t room = counter == 0 ? kFirstBytes : kLaterBytes;
    return length - offset < room ? length - offset : room;
}

}  // namespace ferrow::net

// Writes the frames a serial NMEA 2000 gateway reads, as DleFrameDecoder
// takes them apart: DLE STX, command, length, payload and checksum with
// every DLE doubled, DLE ETX.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class DleFrameEncoder {
public:
    // The most bytes one frame takes on the wire.
    static constexpr std::size_t kMaxFrameSize = 2 + 2 * (255 + 3) + 2;

    // Appends the frame to `out`; `length` is at most 255.
    static void Append(uint8_t command, const uint8_t* payload, std::size_t length,
                       std::vector<uint8_t>& out);
};

}  // namespace ferrow::net

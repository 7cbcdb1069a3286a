// Fast-packet framing on the sending side.
#include "net/can/FastPacketEncoder.h"

#include "net/can/FastPacketFrames.h"

#include <cstring>

namespace ferrow::net {

void FastPacketEncoder::Encode(const CanId& id, const uint8_t* data, uint16_t length,
                               std::vector<CanFrame>& out) {
    const uint8_t sequence = NextSequence(id);
    const uint32_t identifier = id.Encode();
    const unsigned frames = FastPacketFrames::FramesFor(length);
    for (unsigned counter = 0; counter < frames; ++counter) {
        CanFrame frame;
        frame.id = identifier;
        frame.length = CanFrame::kMaxLength;
        frame.data.fill(FastPacketFrames::kPadding);
        frame.data[0] = static_cast<uint8_t>(sequence << 5 | counter);
        if (counter == 0) frame.data[1] = static_cast<uint8_t>(length);
        std::memcpy(frame.data.data() + FastPacketFrames::HeaderOf(counter),
                    data + FastPacketFrames::OffsetOf(counter),
                    FastPacketFrames::BytesIn(counter, length));
        out.push_back(frame);
    }
}

uint8_t FastPacketEncoder::NextSequence(const CanId& id) {
    const uint32_t key = uint32_t{id.source} << 24 | id.pgn;
    auto found = next_.find(key);
    if (found == next_.end()) {
        if (next_.size() >= kMaxTracked) next_.clear();
        found = next_.emplace(key, 0).first;
    }
    const uint8_t sequence = found->second;
    found->second = static_cast<uint8_t>((sequence + 1) & 7);
    return sequence;
}

}  // namespace ferrow::net

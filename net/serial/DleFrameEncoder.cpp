#include "net/serial/DleFrameEncoder.h"

#include "net/serial/DleFrameDecoder.h"

namespace ferrow::net {
namespace {

void Stuffed(uint8_t byte, std::vector<uint8_t>& out) {
    if (byte == DleFrameDecoder::kDle) out.push_back(byte);
    out.push_back(byte);
}

}  // namespace

void DleFrameEncoder::Append(uint8_t command, const uint8_t* payload, std::size_t length,
                             std::vector<uint8_t>& out) {
    const auto size = static_cast<uint8_t>(length);
    out.push_back(DleFrameDecoder::kDle);
    out.push_back(DleFrameDecoder::kStx);
    Stuffed(command, out);
    Stuffed(size, out);
    uint8_t sum = static_cast<uint8_t>(command + size);
    for (std::size_t i = 0; i < length; ++i) {
        Stuffed(payload[i], out);
        sum = static_cast<uint8_t>(sum + payload[i]);
    }
    Stuffed(static_cast<uint8_t>(0x100 - sum), out);
    out.push_back(DleFrameDecoder::kDle);
    out.push_back(DleFrameDecoder::kEtx);
}

}  // namespace ferrow::net

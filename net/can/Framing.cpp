#include "net/can/Framing.h"

#include "net/can/CanId.h"
#include "net/can/FastPacketFrames.h"
#include "net/can/FastPacketPgns.h"
#include "net/can/IsoTransportFrames.h"

namespace ferrow::net {

std::optional<uint8_t> Framing::For(const N2KMsg& msg) {
    const CanId id{msg.priority, msg.pgn, msg.addressA, msg.addressB};
    if (!id.Valid() || msg.length > IsoTransportFrames::kMaxSize) return std::nullopt;
    return Choose(msg.pgn, msg.length, msg.transport);
}

uint8_t Framing::Choose(uint32_t pgn, unsigned length, uint8_t transport) {
    bool fast = transport == kFastPacket;
    if (FastPacketPgns::Contains(pgn)) fast = true;
    if (FastPacketPgns::IsSingleFrame(pgn)) fast = false;
    if (fast) return length <= FastPacketFrames::kMaxLength ? kFastPacket : kIsoTransport;
    return length <= CanFrame::kMaxLength ? kSingleFrame : kIsoTransport;
}

unsigned Framing::FramesOf(uint8_t transport, uint16_t length) {
    switch (transport) {
        case kFastPacket:
            return FastPacketFrames::FramesFor(length);
        case kIsoTransport:
            return 1u + IsoTransportFrames::PacketsFor(length);
        default:
            return 1;
    }
}

uint64_t Framing::BitsOf(uint8_t transport, uint16_t length) {
    CanFrame frame;
    frame.length = transport == kSingleFrame ? static_cast<uint8_t>(length) : CanFrame::kMaxLength;
    return FramesOf(transport, length) * BitsOf(frame);
}

}  // namespace ferrow::net

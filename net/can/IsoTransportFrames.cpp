// Building and reading ISO transport frames.
#include "net/can/IsoTransportFrames.h"

#include <cstring>

namespace ferrow::net {

namespace {

constexpr uint8_t kPadding = 0xFF;

CanFrame Frame(uint32_t pgn, const CanId& link) {
    CanFrame frame;
    frame.id = CanId{IsoTransportFrames::kPriority, pgn, link.source, link.destination}.Encode();
    frame.length = CanFrame::kMaxLength;
    frame.data.fill(kPadding);
    return frame;
}

CanFrame ControlFrame(const CanId& link, uint8_t code) {
    CanFrame frame = Frame(IsoTransportFrames::kControlPgn, link);
    frame.data[0] = code;
    frame.data[5] = static_cast<uint8_t>(link.pgn);
    frame.data[6] = static_cast<uint8_t>(link.pgn >> 8);
    frame.data[7] = static_cast<uint8_t>(link.pgn >> 16);
    return frame;
}

CanFrame Announce(const CanId& link, uint8_t code, uint16_t size, uint8_t fourth) {
    CanFrame frame = ControlFrame(link, code);
    frame.data[1] = static_cast<uint8_t>(size);
    frame.data[2] = static_cast<uint8_t>(size >> 8);
    frame.data[3] = IsoTransportFrames::PacketsFor(size);
    frame.data[4] = fourth;
    return frame;
}

}  // namespace

uint8_t IsoTransportFrames::PacketsFor(uint16_t size) {
    return static_cast<uint8_t>((size + 6u) / 7u);
}

std::size_t IsoTransportFrames::BytesIn(unsigned sequence, uint16_t size) {
    const std::size_t offset = OffsetOf(sequence);
    if (offset >= size) return 0;
    return size - offset < 7u ? size - offset : 7u;
}

CanFrame IsoTransportFrames::Rts(const CanId& link, uint16_t size, uint8_t perCts) {
    return Announce(link, kRts, size, perCts);
}

CanFrame IsoTransportFrames::Bam(const CanId& link, uint16_t size) {
    return Announce(link, kBam, size, kPadding);
}

CanFrame IsoTransportFrames::EndOfMsgAck(const CanId& link, uint16_t size) {
    return Announce(link, kEndOfMsgAck, size, kPadding);
}

CanFrame IsoTransportFrames::Cts(const CanId& link, uint8_t count, uint8_t next) {
    CanFrame frame = ControlFrame(link, kCts);
    frame.data[1] = count;
    frame.data[2] = next;
    return frame;
}

CanFrame IsoTransportFrames::Abort(const CanId& link, AbortReason reason) {
    CanFrame frame = ControlFrame(link, kAbort);
    frame.data[1] = reason;
    return frame;
}

void IsoTransportFrames::AppendData(const CanId& link, const uint8_t* data, uint16_t size,
                                    unsigned first, unsigned last, std::vector<CanFrame>& out) {
    for (unsigned sequence = first; sequence <= last; ++sequence) {
        CanFrame frame = Frame(kDataPgn, link);
        frame.data[0] = static_cast<uint8_t>(sequence);
        std::memcpy(frame.data.data() + 1, data + OffsetOf(sequence), BytesIn(sequence, size));
        out.push_back(frame);
    }
}

uint16_t IsoTransportFrames::SizeOf(const CanFrame& control) {
    return static_cast<uint16_t>(control.data[1] | control.data[2] << 8);
}

uint32_t IsoTransportFrames::PgnOf(const CanFrame& control) {
    return control.data[5] | uint32_t{control.data[6]} << 8 | uint32_t{control.data[7]} << 16;
}

}  // namespace ferrow::net

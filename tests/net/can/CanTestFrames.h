// Literal frames and messages for the codec's tests: a frame from its bytes,
// a message whose payload counts 1, 2, 3, ..., the fast-packet frames of such
// a message at the boundary lengths written out byte by byte, and a listener
// that feeds frames to a codec and keeps what comes out.
#pragma once

#include "net/can/CanFrame.h"
#include "net/can/N2KCanCodec.h"

#include <ferrow/N2KMsg.h>

#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <ostream>
#include <utility>
#include <vector>

namespace ferrow::net {

// How gtest shows a frame that differs: identifier, length and bytes.
inline void PrintTo(const CanFrame& frame, std::ostream* os) {
    char text[64];
    int used = std::snprintf(text, sizeof text, "%08X [%u]", frame.id, unsigned{frame.length});
    for (uint8_t i = 0; i < frame.length && i < CanFrame::kMaxLength; ++i) {
        used += std::snprintf(text + used, sizeof text - used, " %02X", frame.data[i]);
    }
    *os << text;
}

}  // namespace ferrow::net

namespace ferrow::test {

using net::CanFrame;
using net::CanId;
using net::N2KCanCodec;
using namespace std::chrono_literals;

inline CanFrame Frame(uint32_t id, std::initializer_list<uint8_t> bytes) {
    CanFrame frame;
    frame.id = id;
    for (uint8_t byte : bytes) frame.data[frame.length++] = byte;
    return frame;
}

// A message whose byte i is i + 1 (wrapping), so every byte has its place.
inline N2KMsg Counting(uint32_t pgn, uint8_t priority, uint8_t source, uint8_t destination,
                       uint8_t transport, uint16_t length) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = priority;
    msg.addressA = source;
    msg.addressB = destination;
    msg.transport = transport;
    msg.length = length;
    for (uint16_t i = 0; i < length && i < N2KMsg::kMaxData; ++i) msg.data[i] = uint8_t(i + 1);
    return msg;
}

inline std::vector<uint8_t> CountingBytes(uint16_t length) {
    std::vector<uint8_t> bytes(length);
    for (uint16_t i = 0; i < length; ++i) bytes[i] = uint8_t(i + 1);
    return bytes;
}

inline std::vector<uint8_t> PayloadOf(const N2KMsg& msg) {
    return std::vector<uint8_t>(msg.data, msg.data + msg.length);
}

// GNSS position data (PGN 129029, a fast packet) at priority 3 from 0x23.
constexpr uint32_t kGnssPgn = 129029;
constexpr uint32_t kGnssId = 0x0DF80523;

struct FastPacketCase {
    uint16_t length;
    std::vector<CanFrame> frames;  // sequence id 0
};

// Frame 0: sequence id and counter, length, six bytes; then the counter and
// seven bytes a frame; the last one padded with 0xFF.
inline const std::vector<FastPacketCase>& FastPacketBoundaries() {
    static const std::vector<FastPacketCase> cases = {
        {0,
            {Frame(kGnssId, {0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}},
        {6,
            {Frame(kGnssId, {0x00, 0x06, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06})}},
        {7,
            {Frame(kGnssId, {0x00, 0x07, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
             Frame(kGnssId, {0x01, 0x07, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}},
        {8,
            {Frame(kGnssId, {0x00, 0x08, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
             Frame(kGnssId, {0x01, 0x07, 0x08, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}},
        {13,
            {Frame(kGnssId, {0x00, 0x0D, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
             Frame(kGnssId, {0x01, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D})}},
        {14,
            {Frame(kGnssId, {0x00, 0x0E, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
             Frame(kGnssId, {0x01, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D}),
             Frame(kGnssId, {0x02, 0x0E, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}},
        {223,
            {Frame(kGnssId, {0x00, 0xDF, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}),
             Frame(kGnssId, {0x01, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D}),
             Frame(kGnssId, {0x02, 0x0E, 0x0F, 0x10, 0x11, 0x12, 0x13, 0x14}),
             Frame(kGnssId, {0x03, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B}),
             Frame(kGnssId, {0x04, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21, 0x22}),
             Frame(kGnssId, {0x05, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29}),
             Frame(kGnssId, {0x06, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F, 0x30}),
             Frame(kGnssId, {0x07, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37}),
             Frame(kGnssId, {0x08, 0x38, 0x39, 0x3A, 0x3B, 0x3C, 0x3D, 0x3E}),
             Frame(kGnssId, {0x09, 0x3F, 0x40, 0x41, 0x42, 0x43, 0x44, 0x45}),
             Frame(kGnssId, {0x0A, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C}),
             Frame(kGnssId, {0x0B, 0x4D, 0x4E, 0x4F, 0x50, 0x51, 0x52, 0x53}),
             Frame(kGnssId, {0x0C, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A}),
             Frame(kGnssId, {0x0D, 0x5B, 0x5C, 0x5D, 0x5E, 0x5F, 0x60, 0x61}),
             Frame(kGnssId, {0x0E, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68}),
             Frame(kGnssId, {0x0F, 0x69, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F}),
             Frame(kGnssId, {0x10, 0x70, 0x71, 0x72, 0x73, 0x74, 0x75, 0x76}),
             Frame(kGnssId, {0x11, 0x77, 0x78, 0x79, 0x7A, 0x7B, 0x7C, 0x7D}),
             Frame(kGnssId, {0x12, 0x7E, 0x7F, 0x80, 0x81, 0x82, 0x83, 0x84}),
             Frame(kGnssId, {0x13, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x8B}),
             Frame(kGnssId, {0x14, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x91, 0x92}),
             Frame(kGnssId, {0x15, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99}),
             Frame(kGnssId, {0x16, 0x9A, 0x9B, 0x9C, 0x9D, 0x9E, 0x9F, 0xA0}),
             Frame(kGnssId, {0x17, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7}),
             Frame(kGnssId, {0x18, 0xA8, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE}),
             Frame(kGnssId, {0x19, 0xAF, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5}),
             Frame(kGnssId, {0x1A, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xBB, 0xBC}),
             Frame(kGnssId, {0x1B, 0xBD, 0xBE, 0xBF, 0xC0, 0xC1, 0xC2, 0xC3}),
             Frame(kGnssId, {0x1C, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA}),
             Frame(kGnssId, {0x1D, 0xCB, 0xCC, 0xCD, 0xCE, 0xCF, 0xD0, 0xD1}),
             Frame(kGnssId, {0x1E, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8}),
             Frame(kGnssId, {0x1F, 0xD9, 0xDA, 0xDB, 0xDC, 0xDD, 0xDE, 0xDF})}},
    };
    return cases;
}

// GNSS position data as an encoder nobody here wrote (canboatjs, of the
// canboat project) frames it: its payload and its frames, sequence id 2.
inline const std::vector<uint8_t>& PeerGnssPayload() {
    static const std::vector<uint8_t> payload = {
        0x07, 0x00, 0x00, 0x58, 0xBA, 0xFF, 0x1A, 0x00, 0x30, 0xB5, 0x74, 0x0D, 0xAA, 0x59, 0x08,
        0x20, 0x80, 0xAA, 0x3C, 0x6D, 0xFD, 0x75, 0x03, 0x20, 0xBC, 0xBE, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x12, 0xFC, 0x0B, 0x5A, 0x00, 0xA0, 0x00, 0xC2, 0x06, 0x00, 0x00, 0x00};
    return payload;
}

inline const std::vector<CanFrame>& PeerGnssFrames() {
    static const std::vector<CanFrame> frames = {
        Frame(kGnssId, {0x40, 0x2B, 0x07, 0x00, 0x00, 0x58, 0xBA, 0xFF}),
        Frame(kGnssId, {0x41, 0x1A, 0x00, 0x30, 0xB5, 0x74, 0x0D, 0xAA}),
        Frame(kGnssId, {0x42, 0x59, 0x08, 0x20, 0x80, 0xAA, 0x3C, 0x6D}),
        Frame(kGnssId, {0x43, 0xFD, 0x75, 0x03, 0x20, 0xBC, 0xBE, 0x00}),
        Frame(kGnssId, {0x44, 0x00, 0x00, 0x00, 0x00, 0x12, 0xFC, 0x0B}),
        Frame(kGnssId, {0x45, 0x5A, 0x00, 0xA0, 0x00, 0xC2, 0x06, 0x00}),
        Frame(kGnssId, {0x46, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
    };
    return frames;
}

// A connection carrying group function (126208) from 0x23 to 0x42 at
// priority 3: the sender's control and data identifiers, and the receiver's
// answers at the default priority 7.
constexpr uint32_t kGroupPgn = 126208;
constexpr uint32_t kRtsId = 0x0CEC4223;
constexpr uint32_t kConnectionDataId = 0x0CEB4223;
constexpr uint32_t kAnswerId = 0x1CEC2342;

inline CanFrame Rts(uint16_t size, uint8_t perCts = 0xFF, uint32_t id = kRtsId) {
    return Frame(id, {0x10, uint8_t(size), uint8_t(size >> 8), uint8_t((size + 6) / 7), perCts,
                      0x00, 0xED, 0x01});
}

inline CanFrame Cts(uint8_t count, uint8_t next) {
    return Frame(kAnswerId, {0x11, count, next, 0xFF, 0xFF, 0x00, 0xED, 0x01});
}

inline CanFrame EndOfMsgAck(uint16_t size) {
    return Frame(kAnswerId, {0x13, uint8_t(size), uint8_t(size >> 8), uint8_t((size + 6) / 7), 0xFF,
                             0x00, 0xED, 0x01});
}

inline CanFrame Abort(uint32_t id, uint8_t reason) {
    return Frame(id, {0xFF, reason, 0xFF, 0xFF, 0xFF, 0x00, 0xED, 0x01});
}

// ISO transport data packet `sequence` of a counting payload of `size` bytes.
inline CanFrame CountingPacket(uint32_t id, uint8_t sequence, uint16_t size) {
    CanFrame frame = Frame(id, {sequence, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    for (unsigned i = 0; i < 7; ++i) {
        const unsigned offset = (sequence - 1u) * 7u + i;
        if (offset < size) frame.data[1 + i] = uint8_t(offset + 1);
    }
    return frame;
}

// A codec on the bus that keeps every message it delivers and every frame it
// answers with.
struct Listener {
    explicit Listener(uint8_t ownAddress = CanId::kNullAddress) : codec(ownAddress) {}

    // True when this frame completed a message.
    bool Feed(const CanFrame& frame, std::chrono::milliseconds now = 0ms) {
        N2KMsg msg{};
        if (!codec.Receive(frame, now, msg, replies)) return false;
        delivered.push_back(msg);
        return true;
    }
    void FeedAll(const std::vector<CanFrame>& frames, std::chrono::milliseconds now = 0ms) {
        for (const CanFrame& frame : frames) Feed(frame, now);
    }
    std::vector<CanFrame> TakeReplies() { return std::exchange(replies, {}); }

    N2KCanCodec codec;
    std::vector<N2KMsg> delivered;
    std::vector<CanFrame> replies;
};

}  // namespace ferrow::test

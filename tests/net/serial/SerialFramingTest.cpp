// The serial gateway's framing, messages and commands against literal
// bytes: DLE doubling in every field, the checksum, resynchronising after
// every kind of fault without losing the good frame that follows, whatever
// the chunking; the message payloads both ways; the set-up commands and the
// replies that refuse them.
#include "net/serial/DleFrameDecoder.h"
#include "net/serial/DleFrameEncoder.h"
#include "net/serial/SerialGatewayCommands.h"
#include "net/serial/SerialMessageCodec.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using ferrow::net::DleFrameDecoder;
using ferrow::net::DleFrameEncoder;
using ferrow::net::SerialGatewayCommands;
using ferrow::net::SerialMessageCodec;
using Bytes = std::vector<uint8_t>;

Bytes Hex(const std::string& text) {
    Bytes bytes;
    std::istringstream in(text);
    std::string byte;
    while (in >> byte) bytes.push_back(static_cast<uint8_t>(std::strtoul(byte.c_str(), nullptr, 16)));
    return bytes;
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes Framed(uint8_t command, const Bytes& payload) {
    Bytes out;
    DleFrameEncoder::Append(command, payload.data(), payload.size(), out);
    return out;
}

struct Decoded {
    std::vector<std::pair<uint8_t, Bytes>> frames;
    DleFrameDecoder::Counters counters;
};

// Decodes `stream` cut into chunks at `cuts` (ascending offsets).
Decoded Decode(const Bytes& stream, const std::vector<std::size_t>& cuts = {}) {
    DleFrameDecoder decoder;
    Decoded out;
    std::size_t begin = 0;
    std::vector<std::size_t> ends = cuts;
    ends.push_back(stream.size());
    for (std::size_t end : ends) {
        const uint8_t* cursor = stream.data() + begin;
        while (const auto frame = decoder.Next(cursor, stream.data() + end)) {
            out.frames.emplace_back(frame->command, Bytes(frame->payload, frame->payload + frame->length));
        }
        EXPECT_EQ(cursor, stream.data() + end);
        begin = end;
    }
    out.counters = decoder.GetCounters();
    return out;
}

// Vessel Heading from 127250, as sent: priority 2, global.
const Bytes kHeadingPayload = Hex("02 12 F1 01 FF 08 00 39 30 FF 7F D4 FE FD");
const Bytes kHeadingFrame = Hex("10 02 94 0E 02 12 F1 01 FF 08 00 39 30 FF 7F D4 FE FD 9B 10 03");
// A payload whose frame doubles a DLE in every field: length 16, the
// payload, and the checksum that the 0x5C makes 0x10.
const Bytes kDles = Bytes(15, 0x10) + Bytes{0x5C};

TEST(DleFraming, WritesFramesByteForByteAndReadsBackEveryLengthAndByteValue) {
    EXPECT_EQ(Framed(0x94, kHeadingPayload), kHeadingFrame);
    EXPECT_EQ(Framed(0xA0, {}), Hex("10 02 A0 00 60 10 03"));
    EXPECT_EQ(Framed(0x94, kDles), Hex("10 02 94 10 10") + Bytes(30, 0x10) + Hex("5C 10 10 10 03"));
    EXPECT_EQ(Framed(0x10, {}), Hex("10 02 10 10 00 F0 10 03"));
    // Command and payload doubled; the length 0xFF and checksum 0x01 not.
    const Bytes longest = Framed(0x10, Bytes(255, 0x10));
    EXPECT_EQ(longest.size(), 2 + 2 + 1 + 2 * 255u + 1 + 2);
    EXPECT_EQ(longest[longest.size() - 3], 0x01);
    EXPECT_LE(longest.size(), DleFrameEncoder::kMaxFrameSize);

    Bytes stream;
    std::vector<std::pair<uint8_t, Bytes>> sent;
    for (unsigned length = 0; length <= 255; ++length) {
        Bytes payload(length);
        for (unsigned i = 0; i < length; ++i) payload[i] = static_cast<uint8_t>(i * 7 + length);
        sent.emplace_back(static_cast<uint8_t>(length), payload);
        stream = stream + Framed(static_cast<uint8_t>(length), payload);
    }
    const Decoded got = Decode(stream);
    EXPECT_EQ(got.frames, sent);
    EXPECT_EQ(got.counters.frames, 256u);
    EXPECT_EQ(got.counters.discardedFrames + got.counters.discardedBytes, 0u);
}

// Each fault, followed by good frames: they are found, and every byte of the
// fault is counted as discarded.
struct Fault {
    const char* what;
    Bytes bytes;
    uint64_t discardedFrames;
};

std::vector<Fault> Faults() {
    Bytes badChecksum = kHeadingFrame;
    badChecksum[18] = 0x9C;
    Bytes shortLength = kHeadingFrame;
    shortLength[3] = 0x0D;
    shortLength[18] = 0x9C;  // the sum still 0: only the length is wrong
    return {
        {"garbage", Hex("01 02 03 FF 7E"), 0},
        {"garbage ending in a DLE", Hex("AA 10"), 0},
        {"the end of a frame whose start was missed", Hex("05 06 10 03"), 0},
        {"a DLE before the DLE STX", Hex("10 10"), 0},
        {"a bad checksum", badChecksum, 1},
        {"a length one short of the payload", shortLength, 1},
        {"a truncated frame", Hex("10 02 94 0E 02 12"), 1},
        {"a frame cut after the first DLE of a pair", Hex("10 02 94 0E 03 10"), 1},
        {"a lone DLE", Hex("10 02 94 0E 10 41"), 1},
        // Read wrongly as an end, the bytes before would make a good frame.
        {"a doubled DLE then ETX, which is data", Hex("10 02 94 00 6C 10 10 03"), 1},
        {"no command or length", Hex("10 02 10 03"), 1},
        {"more bytes than a frame holds", Hex("10 02") + Bytes(300, 0x41), 1},
        {"an overlong frame of doubled DLEs", Hex("10 02") + Bytes(600, 0x10), 1},
    };
}

TEST(DleFraming, FindsTheGoodFramesAfterEachFaultHoweverTheBytesAreCut) {
    const std::vector<std::pair<uint8_t, Bytes>> good = {{0x94, kHeadingPayload}, {0x94, kDles}};
    for (const Fault& fault : Faults()) {
        SCOPED_TRACE(fault.what);
        const Bytes stream = fault.bytes + kHeadingFrame + Framed(0x94, kDles);
        // Whole, in two at every offset, and a byte at a time.
        std::vector<std::vector<std::size_t>> cuttings = {{}, {}};
        for (std::size_t i = 1; i < stream.size(); ++i) {
            cuttings.push_back({i});
            cuttings[1].push_back(i);
        }
        for (const auto& cuts : cuttings) {
            const Decoded got = Decode(stream, cuts);
            ASSERT_EQ(got.frames, good) << cuts.size() << " cuts from " << (cuts.empty() ? 0 : cuts[0]);
            ASSERT_EQ(got.counters.discardedFrames, fault.discardedFrames);
            ASSERT_EQ(got.counters.discardedBytes, fault.bytes.size());
        }
    }
}

TEST(DleFraming, ResetDiscardsAHalfReceivedFrame) {
    DleFrameDecoder decoder;
    const Bytes start = Hex("10 02 94 0E 02");
    const uint8_t* cursor = start.data();
    EXPECT_FALSE(decoder.Next(cursor, start.data() + start.size()));
    decoder.Reset();
    EXPECT_EQ(decoder.GetCounters().discardedFrames, 1u);
    EXPECT_EQ(decoder.GetCounters().discardedBytes, start.size());
    // The rest of that frame, then a whole one: the rest is garbage.
    const Bytes rest = Bytes(kHeadingFrame.begin() + 5, kHeadingFrame.end()) + kHeadingFrame;
    cursor = rest.data();
    const auto frame = decoder.Next(cursor, rest.data() + rest.size());
    ASSERT_TRUE(frame);
    EXPECT_EQ(Bytes(frame->payload, frame->payload + frame->length), kHeadingPayload);
    EXPECT_EQ(cursor, rest.data() + rest.size());
    EXPECT_EQ(decoder.GetCounters().discardedBytes, start.size() + kHeadingFrame.size() - 5);
}

TEST(SerialGatewayCommands, WritesTheSetUpByteForByteAndReadsRefusals) {
    Bytes out;
    SerialGatewayCommands::AppendStartup(out);
    SerialGatewayCommands::AppendEnables(nullptr, 0, out);
    EXPECT_EQ(out, Hex("10 02 A1 03 11 02 00 49 10 03")) << "no commit for no PGN";
    out.clear();
    // 126992 holds a DLE.
    const uint32_t pgns[] = {126992, 127250};
    SerialGatewayCommands::AppendEnables(pgns, 2, out);
    EXPECT_EQ(out, Hex("10 02 A1 0E 47 10 10 F0 01 00 01 FE FF FF FF FE FF FF FF 12 10 03"
                       " 10 02 A1 0E 47 12 F1 01 00 01 FE FF FF FF FE FF FF FF 0F 10 03"
                       " 10 02 A1 01 01 5D 10 03  10 02 A1 01 4B 13 10 03"));

    const auto refused = [](const Bytes& reply) {
        return SerialGatewayCommands::RefusedEnable(reply.data(), reply.size());
    };
    EXPECT_FALSE(refused(Hex("47 01 12 F1 01 00")));
    EXPECT_FALSE(refused(Hex("47 01")));
    EXPECT_TRUE(refused(Hex("47 00")));
    EXPECT_TRUE(refused(Hex("47 02 12 F1 01 00")));
    EXPECT_TRUE(refused(Hex("47")));
    EXPECT_FALSE(refused(Hex("11 00")));
    EXPECT_FALSE(refused({}));
}

N2KMsg Message(uint32_t pgn, uint8_t priority, uint8_t source, uint8_t destination, const Bytes& data) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = priority;
    msg.addressA = source;
    msg.addressB = destination;
    msg.length = static_cast<uint16_t>(data.size());
    std::copy(data.begin(), data.end(), msg.data);
    return msg;
}

Bytes SendPayload(const N2KMsg& msg) {
    Bytes payload;
    EXPECT_EQ(SerialMessageCodec::EncodeSend(msg, payload), N2K_OK);
    return payload;
}

TEST(SerialMessageCodec, WritesSentMessagesByteForByte) {
    EXPECT_EQ(SendPayload(Message(127250, 2, 0x23, 255, Hex("00 39 30 FF 7F D4 FE FD"))),
              kHeadingPayload);
    // An ISO request, addressed: the destination stands apart from the PGN.
    EXPECT_EQ(SendPayload(Message(59904, 6, 0x23, 0x42, Hex("14 F0 01"))),
              Hex("06 00 EA 00 42 03 14 F0 01"));
    // A PDU2 PGN has no destination, whatever the record says.
    EXPECT_EQ(SendPayload(Message(126992, 3, 0x23, 0x42, {})), Hex("03 10 F0 01 FF 00"));
    // The longest message fills the frame's 255 payload bytes.
    EXPECT_EQ(SendPayload(Message(130816, 7, 0, 255, Bytes(249, 0xAB))).size(), 255u);

    Bytes payload = {0xEE};
    EXPECT_EQ(SerialMessageCodec::EncodeSend(Message(130816, 7, 0, 255, Bytes(250, 1)), payload),
              N2K_TOO_LONG);
    EXPECT_EQ(SerialMessageCodec::EncodeReceived(Message(130816, 7, 0, 255, Bytes(245, 1)), 0, payload),
              N2K_TOO_LONG);
    EXPECT_EQ(payload, Bytes{0xEE});
    ASSERT_EQ(SerialMessageCodec::EncodeReceived(Message(130816, 7, 0, 255, Bytes(244, 1)), 0, payload),
              N2K_OK);
    EXPECT_EQ(payload.size(), 1u + 255);
    payload = {0xEE};
    N2KMsg pastRecord = Message(130816, 7, 0, 255, {});
    pastRecord.length = N2KMsg::kMaxData + 1;
    EXPECT_EQ(SerialMessageCodec::EncodeSend(pastRecord, payload), N2K_BAD_MESSAGE);
    EXPECT_EQ(SerialMessageCodec::EncodeSend(Message(127250, 8, 0, 255, {}), payload), N2K_BAD_MESSAGE);
    EXPECT_EQ(SerialMessageCodec::EncodeSend(Message(0x40000, 3, 0, 255, {}), payload), N2K_BAD_MESSAGE);
    EXPECT_EQ(SerialMessageCodec::EncodeSend(Message(59905, 3, 0, 255, {}), payload), N2K_BAD_MESSAGE);
    EXPECT_EQ(payload, Bytes{0xEE}) << "nothing appended for a refused message";
}

TEST(SerialMessageCodec, ReadsReceivedMessagesAndRefusesMalformedOnes) {
    const Bytes received = Hex("02 12 F1 01 FF 23 78 56 34 12 08 00 39 30 FF 7F D4 FE FD");
    N2KMsg msg{};
    uint32_t gatewayMs = 0;
    ASSERT_TRUE(SerialMessageCodec::DecodeReceived(received.data(), received.size(), msg, gatewayMs));
    EXPECT_EQ(msg.pgn, 127250u);
    EXPECT_EQ(msg.priority, 2);
    EXPECT_EQ(msg.addressA, 0x23);
    EXPECT_EQ(msg.addressB, 255);
    EXPECT_EQ(msg.transport, 1);
    EXPECT_EQ(gatewayMs, 0x12345678u);
    EXPECT_EQ(Bytes(msg.data, msg.data + msg.length), Hex("00 39 30 FF 7F D4 FE FD"));

    Bytes shortData = received;
    shortData.pop_back();
    Bytes longData = received + Bytes{0};
    Bytes priority = received;
    priority[0] = 8;
    Bytes pgn = received;
    pgn[3] = 0x04;
    Bytes pdu1 = received;
    pdu1[1] = 0x01;
    pdu1[2] = 0xEA;
    for (const Bytes& bad : {shortData, longData, priority, pgn, pdu1, Bytes(received.begin(), received.begin() + 10)}) {
        EXPECT_FALSE(SerialMessageCodec::DecodeReceived(bad.data(), bad.size(), msg, gatewayMs))
            << ::testing::PrintToString(bad);
    }
    // A sent payload read back as the gateway reads it.
    ASSERT_TRUE(SerialMessageCodec::DecodeSend(kHeadingPayload.data(), kHeadingPayload.size(), msg));
    EXPECT_EQ(msg.pgn, 127250u);
    EXPECT_EQ(msg.length, 8);
    EXPECT_FALSE(SerialMessageCodec::DecodeSend(kHeadingPayload.data(), kHeadingPayload.size() - 1, msg));
}

}  // namespace

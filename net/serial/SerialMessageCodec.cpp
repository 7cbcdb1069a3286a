#include "net/serial/SerialMessageCodec.h"

#include "net/can/CanId.h"
#include "net/can/FastPacketPgns.h"
#include "net/serial/DleFrameDecoder.h"

#include <cstring>

namespace ferrow::net {
namespace {

constexpr std::size_t kSendHeader = 6;
constexpr std::size_t kReceivedHeader = 11;
static_assert(SerialMessageCodec::kMaxSendData + kSendHeader == DleFrameDecoder::kMaxPayload &&
                  SerialMessageCodec::kMaxReceivedData + kReceivedHeader == DleFrameDecoder::kMaxPayload,
              "the longest messages fill a frame");

bool Carried(const N2KMsg& msg) {
    return msg.length <= N2KMsg::kMaxData &&
           CanId{msg.priority, msg.pgn, msg.addressA, msg.addressB}.Valid();
}

// The destination as the identifier carries it: none for a PDU2 PGN.
uint8_t Destination(uint32_t pgn, uint8_t destination) {
    return CanId::IsPdu1(pgn) ? destination : CanId::kGlobal;
}

void AppendLe(uint32_t value, int bytes, std::vector<uint8_t>& out) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

uint32_t ReadLe(const uint8_t* bytes, int count) {
    uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) value = value << 8 | bytes[i];
    return value;
}

N2KStatus Check(const N2KMsg& msg, unsigned maxData) {
    if (!Carried(msg)) return N2K_BAD_MESSAGE;
    return msg.length > maxData ? N2K_TOO_LONG : N2K_OK;
}

// The header fields both payloads share, up to the destination.
void AppendAddressing(const N2KMsg& msg, std::vector<uint8_t>& out) {
    out.push_back(msg.priority);
    AppendLe(msg.pgn, 3, out);
    out.push_back(Destination(msg.pgn, msg.addressB));
}

// Reads the shared header and the data that follows `header` bytes.
bool Decode(const uint8_t* payload, std::size_t size, std::size_t header, uint8_t source,
            N2KMsg& msg) {
    if (size < header || payload[header - 1] != size - header) return false;
    msg.priority = payload[0];
    msg.pgn = ReadLe(payload + 1, 3);
    msg.addressB = Destination(msg.pgn, payload[4]);
    msg.addressA = source;
    msg.length = static_cast<uint16_t>(size - header);
    std::memcpy(msg.data, payload + header, msg.length);
    msg.transport = FastPacketPgns::TransportFor(msg.pgn, msg.length);
    return Carried(msg);
}

}  // namespace

N2KStatus SerialMessageCodec::EncodeSend(const N2KMsg& msg, std::vector<uint8_t>& payload) {
    const N2KStatus status = Check(msg, kMaxSendData);
    if (status != N2K_OK) return status;
    AppendAddressing(msg, payload);
    payload.push_back(static_cast<uint8_t>(msg.length));
    payload.insert(payload.end(), msg.data, msg.data + msg.length);
    return N2K_OK;
}

N2KStatus SerialMessageCodec::EncodeReceived(const N2KMsg& msg, uint32_t gatewayMs,
                                             std::vector<uint8_t>& payload) {
    const N2KStatus status = Check(msg, kMaxReceivedData);
    if (status != N2K_OK) return status;
    AppendAddressing(msg, payload);
    payload.push_back(msg.addressA);
    AppendLe(gatewayMs, 4, payload);
    payload.push_back(static_cast<uint8_t>(msg.length));
    payload.insert(payload.end(), msg.data, msg.data + msg.length);
    return N2K_OK;
}

bool SerialMessageCodec::DecodeSend(const uint8_t* payload, std::size_t size, N2KMsg& msg) {
    return Decode(payload, size, kSendHeader, 0, msg);
}

bool SerialMessageCodec::DecodeReceived(const uint8_t* payload, std::size_t size, N2KMsg& msg,
                                        uint32_t& gatewayMs) {
    if (size < kReceivedHeader) return false;
    gatewayMs = ReadLe(payload + 6, 4);
    return Decode(payload, size, kReceivedHeader, payload[5], msg);
}

}  // namespace ferrow::net

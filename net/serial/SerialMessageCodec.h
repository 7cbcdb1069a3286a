// The messages a serial NMEA 2000 gateway carries whole in its frames; the
// gateway does the CAN framing itself. Payloads, integers little-endian:
//   sent (command 0x94):     priority, PGN (3 bytes), destination,
//                            length, data
//   received (command 0x93): priority, PGN (3 bytes), destination, source,
//                            gateway time in ms (4 bytes), length, data
// A frame's one-byte length holds the whole payload, so a sent message
// carries at most 249 data bytes and a received one 244. A sent message has
// no source: the gateway sends from its own address. Pure.
#pragma once

#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class SerialMessageCodec {
public:
    static constexpr uint8_t kSendCommand = 0x94;
    static constexpr uint8_t kReceivedCommand = 0x93;
    static constexpr unsigned kMaxSendData = 255 - 6;
    static constexpr unsigned kMaxReceivedData = 255 - 11;

    // Append the payload for `msg`: N2K_OK; N2K_TOO_LONG past the most data
    // bytes its frame holds;
    // N2K_BAD_MESSAGE for a priority, PGN or length no identifier or record
    // carries. Nothing is appended unless N2K_OK.
    static N2KStatus EncodeSend(const N2KMsg& msg, std::vector<uint8_t>& payload);
    static N2KStatus EncodeReceived(const N2KMsg& msg, uint32_t gatewayMs,
                                    std::vector<uint8_t>& payload);

    // Fill `msg` (all but timeStamp) from a payload; false, with `msg` partly
    // written, when its length byte disagrees with its size or its priority
    // or PGN is one no identifier carries. A sent message gets source 0 (the
    // gateway's own); a PDU2 message destination 255 whatever the bytes say.
    static bool DecodeSend(const uint8_t* payload, std::size_t size, N2KMsg& msg);
    static bool DecodeReceived(const uint8_t* payload, std::size_t size, N2KMsg& msg,
                               uint32_t& gatewayMs);
};

}  // namespace ferrow::net

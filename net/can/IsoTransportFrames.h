// The frames of ISO 11783-3 transport (the SAE J1939 transport protocol),
// which NMEA 2000 uses for messages of up to 1,785 bytes. A connection
// management frame (TP.CM) is eight bytes: a control byte, then for RTS, BAM
// and EndOfMsgAck the size (two bytes), the packet count and one more byte,
// for CTS the packets granted and the next packet, for Abort the reason; the
// carried PGN fills bytes 5-7. A data frame (TP.DT) holds a sequence number
// counted from 1 and seven bytes, the last one padded with 0xFF. Both go at
// priority 7 whatever the message's own (SAE J1939-21), so the message's
// priority does not cross the bus.
#pragma once

#include "net/can/CanFrame.h"
#include "net/can/CanId.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class IsoTransportFrames {
public:
    static constexpr uint32_t kControlPgn = 60416;
    static constexpr uint32_t kDataPgn = 60160;
    // Shorter messages fit a single frame.
    static constexpr uint16_t kMinSize = 9;
    static constexpr uint16_t kMaxSize = 1785;
    // The priority of every TP.CM and TP.DT frame.
    static constexpr uint8_t kPriority = 7;
    // RTS byte 4 from a sender that takes as many packets per CTS as the
    // receiver grants.
    static constexpr uint8_t kNoLimit = 0xFF;

    enum Control : uint8_t { kRts = 16, kCts = 17, kEndOfMsgAck = 19, kBam = 32, kAbort = 255 };
    enum AbortReason : uint8_t {
        kBusy = 1,
        kTimeout = 3,
        kBadSequence = 7,
        kDuplicateSequence = 8,
        kTooLarge = 9,
        kOther = 250,
    };

    static uint8_t PacketsFor(uint16_t size);
    // Where packet `sequence` (from 1) sits in the message, and how many of
    // the message's bytes it carries.
    static std::size_t OffsetOf(unsigned sequence) { return (sequence - 1) * 7u; }
    static std::size_t BytesIn(unsigned sequence, uint16_t size);

    // `link` names the carried PGN, the frame's source and its destination;
    // its priority is not used. `perCts` is the most packets the sender
    // sends for one CTS.
    static CanFrame Rts(const CanId& link, uint16_t size, uint8_t perCts);
    static CanFrame Bam(const CanId& link, uint16_t size);
    static CanFrame Cts(const CanId& link, uint8_t count, uint8_t next);
    static CanFrame EndOfMsgAck(const CanId& link, uint16_t size);
    static CanFrame Abort(const CanId& link, AbortReason reason);
    // Appends data packets `first` to `last` of a `size`-byte message.
    static void AppendData(const CanId& link, const uint8_t* data, uint16_t size, unsigned first,
                           unsigned last, std::vector<CanFrame>& out);

    // Fields of an eight-byte TP.CM frame.
    static uint16_t SizeOf(const CanFrame& control);
    static uint32_t PgnOf(const CanFrame& control);
};

}  // namespace ferrow::net

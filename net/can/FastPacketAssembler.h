// Puts NMEA 2000 fast packets back together, one message per source and PGN
// at a time, in a bounded set of slots made as senders need them. A message
// whose frames come twice, out of order or not at all is dropped and counted;
// a half-built one goes stale when its next frame is later than kFrameTimeout.
#pragma once

#include "net/can/CanCounters.h"
#include "net/can/CanFrame.h"
#include "net/can/CanId.h"
#include "net/can/PartialMessage.h"

#include <ferrow/N2KMsg.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class FastPacketAssembler {
public:
    static constexpr std::size_t kSlots = 64;
    // A sender puts the frames of one message on the bus back to back; this
    // is the gap ISO transport allows between two of its data packets.
    static constexpr std::chrono::milliseconds kFrameTimeout{750};

    explicit FastPacketAssembler(CanCounters& counters);

    // A frame of a fast-packet PGN. True with the finished message in `msg`.
    bool Accept(const CanId& id, const CanFrame& frame, std::chrono::milliseconds now, N2KMsg& msg);
    // Drops every half-built message gone stale by `now`.
    void Expire(std::chrono::milliseconds now);

private:
    struct Slot {
        PartialMessage message{0};
        uint8_t sequence = 0;
    };

    bool Start(const CanId& id, const CanFrame& frame, Slot* slot, std::chrono::milliseconds now,
               N2KMsg& msg);
    bool Continue(const CanFrame& frame, Slot* slot, std::chrono::milliseconds now, N2KMsg& msg);
    // The slot of `id`'s source and PGN, or null; a stale one is dropped first.
    Slot* Find(const CanId& id, std::chrono::milliseconds now);
    // A free slot, a new one while fewer than kSlots exist, or the one whose
    // message was touched longest ago.
    Slot& Claim(std::chrono::milliseconds now);

    CanCounters& counters_;
    std::vector<Slot> slots_;
};

}  // namespace ferrow::net

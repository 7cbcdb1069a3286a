// What the codec has dropped on receiving, and how its outgoing connections
// ended, since it was made. A dropped message is counted once, under the
// first cause seen; a stray frame is counted on its own.
#pragma once

#include <cstdint>

namespace ferrow::net {

struct CanCounters {
    // Frames that belong to no message being put together.
    uint64_t orphanFrames = 0;
    // Messages dropped because one of their frames came twice,
    uint64_t duplicate = 0;
    // because a frame came after a later one,
    uint64_t outOfOrder = 0;
    // because the sender started again, or skipped a packet of a connection,
    // before the message was whole,
    uint64_t incomplete = 0;
    // or because their next frame did not come in time.
    uint64_t expired = 0;
    // Announced lengths past what the transport carries (223 bytes for a
    // fast packet, 1,785 for ISO transport).
    uint64_t oversize = 0;
    // Frames too short for their place in a message, or announcements whose
    // figures do not add up.
    uint64_t malformed = 0;
    // Messages dropped, or connections refused, because every slot was taken.
    uint64_t noRoom = 0;
    // Incoming connections that their sender aborted.
    uint64_t abortedBySender = 0;

    // Outgoing connections that the receiver acknowledged whole, that it
    // aborted, and that it left unanswered past the timeout.
    uint64_t connectionsCompleted = 0;
    uint64_t connectionsAborted = 0;
    uint64_t connectionsTimedOut = 0;
};

}  // namespace ferrow::net

// What the emulator's gateway connection has carried and lost, over all its
// connections since the emulator was made: the figures a user looks at when
// traffic does not arrive. Counts only grow. Links that carry whole messages
// (a serial gateway, the virtual bus) count the CAN frames that carry them.
#pragma once

#include <cstdint>

struct FerrowGatewayStats {
    uint64_t framesIn;           // CAN frames received from the network
    uint64_t framesOut;          // CAN frames handed to the network
    uint64_t messagesIn;         // messages GetMsg handed to the firmware from the gateway
    uint64_t messagesOut;        // messages PutMsg's gateway took
    uint64_t refused;            // messages the connected gateway refused (busy, too long, bad)
    uint64_t dropped;            // received, lost to a full receive queue
    uint64_t lostSends;          // taken, then lost: a peer gone or not reading
    uint64_t badInput;           // lines, frames or bytes from the network that held nothing usable
    uint64_t transportTimeouts;  // fast-packet and ISO transport sessions that timed out
    uint64_t transportAborts;    // ISO transport sessions aborted, by either side
    uint64_t busErrors;          // CAN controller problems: bus-off, error-passive, overflow,
                                 // collisions lost on a CAN-like virtual bus...
    uint64_t recordingFailures;  // recordings to GW_LOG_FILE that failed
    uint64_t peerLosses;         // times the network was lost: a connection dropped, a device unplugged
    uint64_t busBits;            // nominal bits of the frames both ways, without stuff bits;
                                 // on a CAN-like virtual bus the exact bits, stuff bits too
    double busLoad;              // per cent of 250 kbit/s, averaged since the reading before that
                                 // measured it; readings less than a second apart repeat it
    int connected;               // what IsConnected says
};

// How a gateway reaches one NMEA 2000 network. The gateway gets a transport
// from its factory when it connects, opens it, moves whole messages through
// it and closes it when it disconnects. The gateway serialises its calls and
// makes them only between Open and Close.
#pragma once

#include <ferrow/FerrowGatewayStats.h>
#include <ferrow/N2KMsg.h>
#include <ferrow/N2KStatus.h>

#include <cstdint>

namespace ferrow::net {

class GatewayTransport {
public:
    virtual ~GatewayTransport() = default;

    // 0, or negative when the network cannot be reached.
    virtual int Open() = 0;
    virtual void Close() = 0;
    // N2K_OK once the network has the message, or why it was refused.
    virtual N2KStatus Send(const N2KMsg& msg) = 0;
    // N2K_OK with the oldest received message copied into `msg`, or
    // N2K_NO_MESSAGE leaving `msg` untouched.
    virtual N2KStatus Fetch(N2KMsg& msg) = 0;
    // Received messages lost because the receive side was full.
    virtual uint64_t Dropped() const = 0;
    // Whether the network is reachable now: a link that dropped and is being
    // made again, or a replayed log that has ended, says false.
    virtual bool IsUp() const { return true; }
    // Adds what this transport has counted since it was made to `stats`:
    // every counter but messagesIn, messagesOut, refused, busLoad and
    // connected, which the gateway keeps.
    virtual void AddStats(FerrowGatewayStats& stats) const { stats.dropped += Dropped(); }
    // The address our device sends from, told by the gateway before each of
    // the device's own messages (never for one sent on behalf of another
    // node): incoming transport sessions addressed to it are answered.
    virtual void SetDeviceAddress(uint8_t) {}
};

}  // namespace ferrow::net
